#pragma once
// The commands of the `quillon` program. Each takes its parsed options and returns the
// process exit status: 0 done, 1 done with errors in the run's logs, 2 bad usage or a
// file that cannot be loaded (or, for check and run, a job with problems), 130 aborted
// by Ctrl-C.

#include <string>

#include <CLI/CLI.hpp>

constexpr int kExitOk = 0;
constexpr int kExitRunErrors = 1;
constexpr int kExitUsage = 2;
constexpr int kExitAborted = 130;

// Registers a command on the application; the callback stores the exit status in `status`.
void AddKindsCommand(CLI::App& app, int& status);
void AddDescribeCommand(CLI::App& app, int& status);
void AddTemplateCommand(CLI::App& app, int& status);
void AddShowCommand(CLI::App& app, int& status);
void AddCheckCommand(CLI::App& app, int& status);
void AddConvertCommand(CLI::App& app, int& status);
void AddRunCommand(CLI::App& app, int& status);
void AddJobsCommand(CLI::App& app, int& status);
void AddLogsCommand(CLI::App& app, int& status);

// One-line diagnostic on stderr: "quillon: <message>".
void PrintError(const std::string& message);
