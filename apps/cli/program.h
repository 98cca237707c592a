#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace kelvaris::cli {

/// The command line as a function.
/// @return 0 done, 1 failed with one line on `errors`, 2 wrong usage.
int runProgram(const std::vector<std::string>& words, std::istream& input, std::ostream& output,
               std::ostream& errors);

}  // namespace kelvaris::cli
