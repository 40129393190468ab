#pragma once
// Runs a program without a shell (posix_spawnp and an argument vector, so no text from
// mail or options is ever parsed as a command line), feeds it input on stdin and collects
// what it writes to stdout and stderr. Secrets go through stdin, never the arguments,
// which other users can read in the process table. Any thread.

#include <string>
#include <string_view>
#include <vector>

struct TKwProgramResult {
  bool Started = false;  // false: the program could not be run at all (Output says why)
  int ExitCode = -1;     // -1 when it was ended by a signal
  std::string Output;    // stdout and stderr together, at most the last 64 KiB
};

// REQUIRES: arguments is not empty; arguments[0] is looked up on PATH.
TKwProgramResult RunProgram(const std::vector<std::string>& arguments, std::string_view input = {});
