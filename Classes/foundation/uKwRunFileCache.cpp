#include "uKwRunFileCache.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <unordered_map>
#include <unordered_set>

namespace {

struct TNumberedNames {
  int FirstUnknown = 1;
  std::unordered_multimap<uint64_t, int> BySize;
};

struct TRunFiles {
  std::mutex Mutex;
  int OpenScopes = 0;
  std::unordered_set<std::string> Folders;
  std::unordered_map<std::string, TKwRunFile> Files;
  std::unordered_map<std::string, TNumberedNames> Numbered;

  void Forget() {
    Folders.clear();
    Files.clear();
    Numbered.clear();
  }
};

TRunFiles& State() {
  static TRunFiles state;
  return state;
}

}  // namespace

TKwRunFileScope::TKwRunFileScope() {
  std::lock_guard lock(State().Mutex);
  ++State().OpenScopes;
}

TKwRunFileScope::~TKwRunFileScope() {
  std::lock_guard lock(State().Mutex);
  if (--State().OpenScopes == 0) State().Forget();
}

bool RunKnowsFolder(const std::string& folder) {
  std::lock_guard lock(State().Mutex);
  return State().Folders.count(folder) > 0;
}

void RunNoteFolder(const std::string& folder) {
  std::lock_guard lock(State().Mutex);
  if (State().OpenScopes > 0) State().Folders.insert(folder);
}

bool EnsureRunFolder(const std::string& folder, std::string& error) {
  if (RunKnowsFolder(folder)) return true;
  std::error_code code;
  std::filesystem::create_directories(folder, code);
  if (code || !std::filesystem::is_directory(folder, code)) {
    error = code ? code.message() : "a file of that name is in the way";
    return false;
  }
  RunNoteFolder(folder);
  return true;
}

size_t RunContentHash(std::string_view content) { return std::hash<std::string_view>{}(content); }

std::optional<TKwRunFile> RunKnownFile(const std::string& path) {
  std::lock_guard lock(State().Mutex);
  const auto found = State().Files.find(path);
  if (found == State().Files.end()) return std::nullopt;
  return found->second;
}

void RunNoteFile(const std::string& path, uint64_t size, std::optional<size_t> hash) {
  std::lock_guard lock(State().Mutex);
  if (State().OpenScopes > 0) State().Files[path] = TKwRunFile{size, hash};
}

int RunFirstUnknownNumber(const std::string& fileName) {
  std::lock_guard lock(State().Mutex);
  const auto found = State().Numbered.find(fileName);
  return found == State().Numbered.end() ? 1 : found->second.FirstUnknown;
}

void RunNoteNumberTaken(const std::string& fileName, int number, uint64_t size) {
  std::lock_guard lock(State().Mutex);
  if (State().OpenScopes == 0) return;
  TNumberedNames& names = State().Numbered[fileName];
  // Only an unbroken run of taken numbers from 1 lets a later save start past them.
  if (number != names.FirstUnknown) return;
  names.BySize.emplace(size, number);
  ++names.FirstUnknown;
}

std::vector<int> RunNumbersOfSize(const std::string& fileName, uint64_t size) {
  std::lock_guard lock(State().Mutex);
  std::vector<int> numbers;
  const auto found = State().Numbered.find(fileName);
  if (found == State().Numbered.end()) return numbers;
  const auto [first, last] = found->second.BySize.equal_range(size);
  for (auto it = first; it != last; ++it) numbers.push_back(it->second);
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}
