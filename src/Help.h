// What the program tells a person who asks it.
#pragma once

#include <span>

// Prints the help or the version on standard output if one of the arguments asks for it; false when
// none does. The first of the arguments is the program's name. All others mean nothing.
bool answersPerson(std::span<char* const> arguments);
