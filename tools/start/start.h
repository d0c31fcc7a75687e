// What a program does before all else.
#pragma once

#include <vector>

namespace kx {

// The words of the command line as main() has them, in UTF-8 and for the whole run. On Windows, too: wildcards become
// the files that they stand for; modules are looked for beside the program and among the system's own, not in the
// current folder nor along PATH; and the console is told that what the program prints is UTF-8.
std::vector<char*> start_program(int count, char** words);

} // namespace kx
