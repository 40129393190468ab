#pragma once
// Runs a command line through the shell for the suites that check our files with other
// programs (7z, msgconvert, python3, pdftotext), collecting exit status and output.

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

struct TShellRun {
  int Status = -1;
  std::string Out;  // stdout and stderr
};

// text as one shell word.
inline std::string Quoted(const std::string& text) {
  std::string out = "'";
  for (char c : text) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

inline TShellRun Shell(const std::string& command) {
  TShellRun run;
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe) return run;
  std::array<char, 4096> buffer;
  while (size_t n = fread(buffer.data(), 1, buffer.size(), pipe)) run.Out.append(buffer.data(), n);
  const int status = pclose(pipe);
  run.Status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}
