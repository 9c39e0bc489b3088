// Writes a recording as tables: one CSV file per stream, which pandas and a spreadsheet open as
// they are.
#pragma once

#include <string>
#include <vector>

namespace scope {

// Makes the folder if need be and writes NAME.csv there for each stream that has a value, over what
// there was. Returns the files written, with the number of their rows, for people. Throws
// std::system_error, or std::runtime_error where the file is no recording.
std::vector<std::string> exportTables(const std::string& recording, const std::string& folder);

}  // namespace scope
