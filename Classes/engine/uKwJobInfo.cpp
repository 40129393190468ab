#include "uKwJobInfo.h"

#include <algorithm>
#include <fstream>

namespace {

struct TJobInfoField {
  size_t Offset;
  size_t Length;  // characters after the length byte
};

constexpr TJobInfoField kIdField{0, kJobInfoIdLength};
constexpr TJobInfoField kCaptionField{39, kJobInfoTextLength};
constexpr TJobInfoField kDescriptionField{295, kJobInfoTextLength};
constexpr TJobInfoField kScheduleField{551, kJobInfoTextLength};
constexpr size_t kEnabledOffset = 807;
static_assert(kEnabledOffset + 1 == kJobInfoSize);

// The longest prefix of text that fits `length` bytes without splitting a UTF-8 character.
std::string_view CutToField(std::string_view text, size_t length) {
  if (text.size() <= length) return text;
  size_t cut = length;
  while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) --cut;
  return text.substr(0, cut);
}

void PutField(std::string& record, TJobInfoField field, std::string_view text) {
  std::string_view cut = CutToField(text, field.Length);
  record[field.Offset] = static_cast<char>(cut.size());
  std::copy(cut.begin(), cut.end(), record.begin() + static_cast<std::ptrdiff_t>(field.Offset + 1));
}

std::string GetField(std::string_view record, TJobInfoField field) {
  size_t length = std::min<size_t>(static_cast<unsigned char>(record[field.Offset]), field.Length);
  return std::string(record.substr(field.Offset + 1, length));
}

// The characters an action file's base64 text may hold (the decoder skips the blanks).
bool IsActionTextChar(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
         c == '/' || c == '=' || c == '\r' || c == '\n' || c == ' ' || c == '\t';
}

bool IsActionText(std::string_view text) { return std::all_of(text.begin(), text.end(), IsActionTextChar); }

bool IsIdChar(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
}

// Where the braced id of the older form starts, or npos. The id is a GUID text, so
// that no other text ending in "}" (a JSON file, say) is taken for one.
size_t OldFormIdStart(std::string_view text) {
  if (text.size() < 2 || text.back() != '}') return std::string_view::npos;
  size_t open = text.rfind('{');
  if (open == std::string_view::npos || open + 2 == text.size()) return std::string_view::npos;
  std::string_view inner = text.substr(open + 1, text.size() - open - 2);
  return std::all_of(inner.begin(), inner.end(), IsIdChar) ? open : std::string_view::npos;
}

std::string MissingTrailerReason(const std::string& fileName, std::string_view tail) {
  if (OldFormIdStart(tail) != std::string_view::npos)
    return "\"" + fileName + "\" is a job file of the older form, without job information";
  // A trailer starts with the id's length byte and the id's "{".
  const std::string start{static_cast<char>(kJobInfoIdLength), '{'};
  if (tail.find(start) != std::string_view::npos)
    return "The job information at the end of \"" + fileName + "\" is cut short";
  return "\"" + fileName + "\" has no job information: it is not a job file";
}

}  // namespace

std::string EncodeJobInfo(const TJobInfo& info) {
  std::string record(kJobInfoSize, '\0');
  PutField(record, kIdField, info.JobId);
  PutField(record, kCaptionField, info.Caption);
  PutField(record, kDescriptionField, info.Description);
  PutField(record, kScheduleField, info.ScheduleText);
  record[kEnabledOffset] = info.ScheduleEnabled ? 1 : 0;
  return record;
}

bool DecodeJobInfo(std::string_view tail, TJobInfo& info) {
  info = TJobInfo();
  if (tail.size() < kJobInfoSize) return false;
  std::string_view record = tail.substr(tail.size() - kJobInfoSize);
  if (record[1] != '{') return false;
  info.JobId = GetField(record, kIdField);
  info.Caption = GetField(record, kCaptionField);
  info.Description = GetField(record, kDescriptionField);
  info.ScheduleText = GetField(record, kScheduleField);
  info.ScheduleEnabled = record[kEnabledOffset] != 0;
  return true;
}

bool ReadJobFileTail(const std::string& fileName, std::string& tail, size_t& fileSize, std::string& error) {
  tail.clear();
  fileSize = 0;
  std::ifstream in(fileName, std::ios::binary | std::ios::ate);
  if (!in) {
    error = "Cannot open file \"" + fileName + "\"";
    return false;
  }
  std::streamoff size = in.tellg();
  if (size < 0) {
    error = "Cannot read file \"" + fileName + "\"";
    return false;
  }
  tail.resize(static_cast<size_t>(std::min<std::streamoff>(size, kJobInfoSize)));
  in.seekg(size - static_cast<std::streamoff>(tail.size()));
  if (!in.read(tail.data(), static_cast<std::streamsize>(tail.size()))) {
    error = "Cannot read file \"" + fileName + "\"";
    return false;
  }
  fileSize = static_cast<size_t>(size);
  return true;
}

bool ReadJobInfoFromFile(const std::string& fileName, TJobInfo& info, std::string& error) {
  info = TJobInfo();
  std::string tail;
  size_t size = 0;
  if (!ReadJobFileTail(fileName, tail, size, error)) return false;
  // A file of only the trailer holds no action: not a job file either.
  if (size > kJobInfoSize && DecodeJobInfo(tail, info)) return true;
  error = MissingTrailerReason(fileName, tail);
  return false;
}

std::string_view JobFileActionText(std::string_view text) {
  // The older form first: a trailer never ends in "}" (its last byte is 0 or 1).
  size_t idStart = OldFormIdStart(text);
  if (idStart != std::string_view::npos && IsActionText(text.substr(0, idStart))) return text.substr(0, idStart);
  if (text.size() <= kJobInfoSize) return text;
  std::string_view head = text.substr(0, text.size() - kJobInfoSize);
  std::string_view tail = text.substr(head.size());
  if (!IsActionText(tail) && IsActionText(head)) return head;
  return text;
}

std::string OldFormJobId(std::string_view text) {
  size_t idStart = OldFormIdStart(text);
  return idStart == std::string_view::npos ? std::string() : std::string(text.substr(idStart));
}
