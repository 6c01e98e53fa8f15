// RunShell: the program after the processor check, from the command line
// to the end of the standard input.
#pragma once

// Never returns: the process ends through ExitProcess with its status.
[[noreturn]] void RunShell(int argc, char** argv);
