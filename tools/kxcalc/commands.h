// The commands of the kxcalc program. Each takes the program's arguments, argv[1] being the
// command's own name, and returns the exit status; errors are thrown as Failure or UsageError.
#pragma once

namespace kxtool {

int statsCommand(int argc, char** argv);
int resampleCommand(int argc, char** argv);
int plotCommand(int argc, char** argv);
int filterCommand(int argc, char** argv);

}  // namespace kxtool
