#pragma once
// What a run knows of the folders and files it writes into, so that a run over a million
// messages asks the file system once per name instead of once per message and per
// numbered name ("report_1.pdf", "report_2.pdf", ...) tried.
//
// Knowledge is kept only while a TKwRunFileScope is open and is dropped when the last one
// closes. Within it the run takes it that nobody else removes or rewrites files in its
// target folders; files that others add are still found, since a name the run does not
// know is looked up, and every new file is created exclusively. Without an open scope
// every query answers "unknown" and every note is dropped. Thread-safe.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class TKwRunFileScope {
 public:
  TKwRunFileScope();
  ~TKwRunFileScope();
  TKwRunFileScope(const TKwRunFileScope&) = delete;
  TKwRunFileScope& operator=(const TKwRunFileScope&) = delete;
};

// ---- Folders ----
bool RunKnowsFolder(const std::string& folder);  // made or seen in this run
void RunNoteFolder(const std::string& folder);
// Makes folder and its parents unless the run made or saw it already. False with the
// reason in error (the system's, or "a file of that name is in the way").
bool EnsureRunFolder(const std::string& folder, std::string& error);

// ---- Files ----
struct TKwRunFile {
  uint64_t Size = 0;
  std::optional<size_t> Hash;  // of the content, when the run wrote or read it
};
size_t RunContentHash(std::string_view content);
std::optional<TKwRunFile> RunKnownFile(const std::string& path);
void RunNoteFile(const std::string& path, uint64_t size, std::optional<size_t> hash = std::nullopt);

// ---- Numbered names of one file name ----
// Every number below the returned one is known to be taken (1 when nothing is known).
int RunFirstUnknownNumber(const std::string& fileName);
// Notes that `number` of fileName is taken by a file of `size` bytes.
void RunNoteNumberTaken(const std::string& fileName, int number, uint64_t size);
// The known taken numbers whose files have `size` bytes, ascending.
std::vector<int> RunNumbersOfSize(const std::string& fileName, uint64_t size);
