#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Harmotrack::Examples {

/// Reads columns of numbers from a file of comma-separated values.
///
/// The first line names the columns; names are compared without the blanks round them. Fields may
/// be quoted. The columns asked for must hold a finite number in every row; what the other columns
/// hold does not matter. Empty lines are passed over. Tabs or semicolons separate if the first line
/// holds no comma.
///
/// @return  one vector a name, in the order of the names, all of equal length
/// @throws Host::HostError  no such file, a name that is missing or stands twice, a row that is too
///                          short, a field that is no finite number; with the line's number
std::vector<std::vector<double>> readCsvColumns(const std::filesystem::path& file,
                                                const std::vector<std::string>& names);

} // namespace Harmotrack::Examples
