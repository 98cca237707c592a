#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "platform/console.h"

namespace kelvaris::cli {

/// The command line as a function. An answer is printed when what it tells of is on the disk.
/// @return 0 done, 1 failed with a line for each reason on `errors`, 2 wrong usage, 128 + n when the signal
/// of that number asked the program to end.
int runProgram(const std::vector<std::string>& words, Console& console, std::ostream& output,
               std::ostream& errors);

}  // namespace kelvaris::cli
