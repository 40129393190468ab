#pragma once
// Progress of a run on stderr: a bar redrawn in place on a terminal, plain lines at most
// every few seconds otherwise (logs, pipes, CI). Each shows the time elapsed and, when the
// count of the current folder (or file) is known, the percentage and the time left.

#include <chrono>
#include <string>

class TProgressPrinter {
 public:
  explicit TProgressPrinter(bool quiet);
  ~TProgressPrinter();

  // position of total items of the named folder; total 0 when unknown.
  void Update(const std::string& folder, long position, long total);
  // A status line (an action starts, an error); keeps the bar below it.
  void Status(const std::string& text);
  // Ends the bar's line.
  void Finish();

 private:
  void Draw(bool force);
  bool FQuiet;
  bool FTerminal;
  std::string FFolder;
  long FPosition = 0, FTotal = 0, FDone = 0;
  std::chrono::steady_clock::time_point FStart, FFolderStart, FLastDraw;
  bool FBarShown = false;
  bool FAnyProgress = false;
};
