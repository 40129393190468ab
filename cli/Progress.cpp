#include "Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>

namespace {
constexpr int kBarWidth = 30;
constexpr auto kTerminalInterval = std::chrono::milliseconds(100);
constexpr auto kPlainInterval = std::chrono::seconds(5);

std::string Duration(double seconds) {
  const long whole = static_cast<long>(seconds + 0.5);
  if (whole < 60) return fmt::format("{}s", whole);
  if (whole < 3600) return fmt::format("{}m{:02}s", whole / 60, whole % 60);
  return fmt::format("{}h{:02}m", whole / 3600, whole / 60 % 60);
}

}  // namespace

TProgressPrinter::TProgressPrinter(bool quiet)
    : FQuiet(quiet), FTerminal(isatty(STDERR_FILENO) != 0), FStart(std::chrono::steady_clock::now()) {}

TProgressPrinter::~TProgressPrinter() { Finish(); }

void TProgressPrinter::Update(const std::string& folder, long position, long total) {
  if (folder != FFolder || position < FPosition) FDone += FPosition;  // a new folder began
  if (folder != FFolder || position < FPosition) FFolderStart = std::chrono::steady_clock::now();
  if (folder != FFolder) FPosition = 0;
  FFolder = folder;
  FPosition = position;
  FTotal = total;
  FAnyProgress = true;
  Draw(false);
}

void TProgressPrinter::Status(const std::string& text) {
  if (FQuiet) return;
  if (FBarShown) std::fputs("\r\033[K", stderr);
  std::fprintf(stderr, "%s\n", text.c_str());
  if (FBarShown) Draw(true);
}

void TProgressPrinter::Draw(bool force) {
  if (FQuiet) return;
  auto now = std::chrono::steady_clock::now();
  if (!force && now - FLastDraw < (FTerminal ? kTerminalInterval : kPlainInterval)) return;
  FLastDraw = now;
  double seconds = std::chrono::duration<double>(now - FStart).count();
  double rate = seconds > 0 ? (FDone + FPosition) / seconds : 0;
  std::string counts = FTotal > 0 ? fmt::format("{}/{}", FPosition, FTotal) : std::to_string(FPosition);
  std::string timing = Duration(seconds);
  if (FTotal > 0 && FPosition > 0) {
    const double folderSeconds = std::chrono::duration<double>(now - FFolderStart).count();
    const double left = folderSeconds * static_cast<double>(FTotal - FPosition) / static_cast<double>(FPosition);
    timing += fmt::format(", {}%, ETA {}", std::min<long>(100, 100 * FPosition / FTotal), Duration(left));
  }
  if (!FTerminal) {
    std::fprintf(stderr, "%s: %s messages, %.0f msg/s, %s\n", FFolder.c_str(), counts.c_str(), rate, timing.c_str());
    return;
  }
  int filled = FTotal > 0 ? static_cast<int>(kBarWidth * std::min(1.0, double(FPosition) / FTotal)) : 0;
  std::string bar = std::string(filled, '#') + std::string(kBarWidth - filled, '-');
  std::string folder = FFolder.size() > 24 ? "..." + FFolder.substr(FFolder.size() - 21) : FFolder;
  std::fprintf(stderr, "\r\033[K[%s] %s %s %.0f msg/s %s", bar.c_str(), folder.c_str(), counts.c_str(), rate,
               timing.c_str());
  std::fflush(stderr);
  FBarShown = true;
}

void TProgressPrinter::Finish() {
  if (FBarShown) {
    Draw(true);
    std::fputs("\n", stderr);
    FBarShown = false;
  } else if (FAnyProgress && !FTerminal) {
    Draw(true);  // the last plain line tells where the run ended
  }
  FAnyProgress = false;
}
