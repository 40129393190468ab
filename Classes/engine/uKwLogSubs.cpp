#include "uKwLogSubs.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>

#include "uKwDateTime.h"
#include "uKwJobInfo.h"
#include "uKwMessageName.h"
#include "uKwRegFolders.h"

namespace fs = std::filesystem;

namespace {

constexpr int kSaveAttempts = 3;
constexpr auto kSaveRetryPause = std::chrono::milliseconds(100);

// Between the date and the time of a report name (the message-name date text).
constexpr char kLogDateSeparator[] = "_";

// The date of a report name: "YYYYMMDD", any separator, "HHMMSS". -1 unless the text is
// exactly that, so that foreign files are never taken for reports (and never pruned).
TDateTime LogNameDateTime(std::string_view text) {
  if (text.size() < 14) return -1;
  TDateTime date = StringToMessageDateTime(text);
  bool exact = MessageDateToString(date) == text.substr(0, 8) &&
               MessageTimeToString(date) == text.substr(text.size() - 6);
  return exact ? date : -1;
}

bool SameTextAscii(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
  });
}

bool IsTxtFile(const fs::directory_entry& entry) {
  std::error_code ec;
  return entry.is_regular_file(ec) && SameTextAscii(entry.path().extension().string(), ".txt");
}

bool IsUtf8Continuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

size_t TextWidth(std::string_view text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return !IsUtf8Continuation(c); }));
}

// Byte length of the first `width` code points of text.
size_t PrefixBytes(std::string_view text, size_t width) {
  size_t count = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (!IsUtf8Continuation(text[i]) && count++ == width) return i;
  }
  return text.size();
}

std::string RightTrimmed(std::string text) {
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.pop_back();
  return text;
}

std::vector<std::string_view> SplitParagraphs(std::string_view text) {
  std::vector<std::string_view> paragraphs;
  size_t start = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r' && text[i] != '\n') continue;
    paragraphs.push_back(text.substr(start, i - start));
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
    start = i + 1;
  }
  paragraphs.push_back(text.substr(start));
  return paragraphs;
}

std::vector<std::string_view> SplitWords(std::string_view text) {
  std::vector<std::string_view> words;
  size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
    size_t start = i;
    while (i < text.size() && text[i] != ' ' && text[i] != '\t') ++i;
    if (i > start) words.push_back(text.substr(start, i - start));
  }
  return words;
}

// Greedy filling of lines of at most `width` code points; words longer than that are cut.
class TLineFiller {
 public:
  TLineFiller(TStringList& lines, std::string first, std::string hang, size_t width)
      : FLines(lines), FPrefix(std::move(first)), FHang(std::move(hang)), FWidth(width) {}

  void AddWord(std::string_view word) {
    while (TextWidth(word) > FWidth) {
      if (!FCurrent.empty()) Flush();
      size_t cut = PrefixBytes(word, FWidth);
      FCurrent = word.substr(0, cut);
      Flush();
      word.remove_prefix(cut);
    }
    if (word.empty()) return;
    if (FCurrent.empty()) {
      FCurrent = word;
    } else if (TextWidth(FCurrent) + 1 + TextWidth(word) <= FWidth) {
      FCurrent.append(" ").append(word);
    } else {
      Flush();
      FCurrent = word;
    }
  }
  // Ends a paragraph: its last line is written even when empty.
  void Flush() {
    FLines.push_back(RightTrimmed(FPrefix + FCurrent));
    FPrefix = FHang;
    FCurrent.clear();
  }

 private:
  TStringList& FLines;
  std::string FPrefix;
  std::string FHang;
  size_t FWidth;
  std::string FCurrent;
};

}  // namespace

// ---------------------------------------------------------------- report files

std::string GetLogFileName(const std::string& jobId, TDateTime date) {
  return GetExtractLogsFolder() + jobId + MessageDateTimeToString(date, kLogDateSeparator) + ".txt";
}

bool GetJobIdAndDateFromLogName(const std::string& fileName, std::string& jobId, TDateTime& date) {
  jobId.clear();
  date = 0;
  std::error_code ec;
  if (fileName.empty() || !fs::exists(fs::path(fileName), ec)) return false;
  std::string name = fs::path(fileName).filename().string();
  size_t brace = name.find('}');
  if (brace == std::string::npos || brace == 0 || name.size() < brace + 1 + 4) return false;
  TDateTime parsed = LogNameDateTime(std::string_view(name).substr(brace + 1, name.size() - brace - 1 - 4));
  if (parsed < 0) return false;
  jobId = name.substr(0, brace + 1);
  date = parsed;
  return true;
}

void FillLogsList(TStringList& list, const std::string& jobId) {
  list.clear();
  std::error_code ec;
  for (const fs::directory_entry& entry : fs::directory_iterator(GetExtractLogsFolder(), ec)) {
    if (!IsTxtFile(entry)) continue;
    std::string id;
    TDateTime date;
    if (GetJobIdAndDateFromLogName(entry.path().string(), id, date) && SameTextAscii(id, jobId))
      list.push_back(entry.path().string());
  }
  std::sort(list.begin(), list.end());
  while (list.size() > static_cast<size_t>(kMaxLogsPerJob)) {
    fs::remove(list.front(), ec);
    list.erase(list.begin());
  }
}

std::string GetLatestLog(const std::string& jobId) {
  TStringList list;
  FillLogsList(list, jobId);
  return list.empty() ? std::string() : list.back();
}

void LoadJobLogs(const std::string& jobId, TStringList& strings) {
  strings.clear();
  TStringList list;
  FillLogsList(list, jobId);
  for (const std::string& fileName : list) {
    std::string id;
    TDateTime date;
    if (GetJobIdAndDateFromLogName(fileName, id, date))
      strings.push_back(DateTimeToLocaleText(date) + "=" + fileName);
  }
}

std::string ReadJobIdFromExtractJobFile(const std::string& fileName) {
  std::string tail, error;
  size_t size = 0;
  if (!ReadJobFileTail(fileName, tail, size, error)) return {};
  TJobInfo info;
  if (size > kJobInfoSize && DecodeJobInfo(tail, info)) return info.JobId;
  return OldFormJobId(tail);
}

// ---------------------------------------------------------------- report text

std::string DateTimeToLocaleText(TDateTime value) {
  const std::tm tm = DateTimeToTm(value);
  char buffer[128];
  size_t length = std::strftime(buffer, sizeof buffer, "%x %X", &tm);
  return std::string(buffer, length);
}

void WrapLabelledText(TStringList& lines, std::string_view indent, std::string_view label,
                      std::string_view value, size_t width) {
  while (!value.empty() && (value.back() == '\n' || value.back() == '\r')) value.remove_suffix(1);
  size_t prefixWidth = TextWidth(indent) + TextWidth(label);
  std::string text;
  if (prefixWidth + kMinWrapWidth > width) {
    // No room for a hanging label: it becomes the first words of the text.
    text.append(label).append(value);
    label = {};
    prefixWidth = TextWidth(indent);
  } else {
    text.append(value);
  }
  size_t textWidth = width > prefixWidth ? width - prefixWidth : 1;
  TLineFiller filler(lines, std::string(indent) + std::string(label),
                     std::string(indent) + std::string(TextWidth(label), ' '), textWidth);
  for (std::string_view paragraph : SplitParagraphs(text)) {
    for (std::string_view word : SplitWords(paragraph)) filler.AddWord(word);
    filler.Flush();
  }
}

bool SaveListRetry(const TStringList& lines, const std::string& fileName, std::string& error) {
  std::string text;
  for (const std::string& line : lines) text.append(line).append("\n");
  for (int attempt = 1; attempt <= kSaveAttempts; ++attempt) {
    std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
    if (out && out.write(text.data(), static_cast<std::streamsize>(text.size())) && (out.close(), !out.fail()))
      return true;
    if (attempt < kSaveAttempts) std::this_thread::sleep_for(kSaveRetryPause);
  }
  error = "Cannot write file \"" + fileName + "\"";
  return false;
}
