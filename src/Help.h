// The program's answers to --help and --version.
#pragma once

#include <span>

// Prints the help or the version on standard output if one of the arguments asks for it; false when
// none does. The first argument is the program's name; all other arguments are ignored.
bool answersPerson(std::span<char* const> arguments);
