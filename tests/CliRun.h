#pragma once
// Runs the quillon program (QUILLON_CLI_PATH, set by the build for the CLI suites) with
// arguments, as a shell would, and collects its exit status and output.

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

struct TCliRun {
  int Status = -1;
  std::string Out;
};

// Out holds stdout and, unless stderrTo names another place, stderr too.
inline TCliRun Quillon(const std::string& args, const char* stderrTo = "&1") {
  TCliRun run;
  const std::string command = std::string(QUILLON_CLI_PATH) + " " + args + " 2>" + stderrTo;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return run;
  std::array<char, 4096> buffer;
  while (size_t n = fread(buffer.data(), 1, buffer.size(), pipe)) run.Out.append(buffer.data(), n);
  const int status = pclose(pipe);
  run.Status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}
