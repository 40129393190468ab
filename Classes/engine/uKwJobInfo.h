#pragma once
// The job information trailer of a job file, and the two forms a job file takes.
//
// Current form: the base64 action text, then the 808-byte trailer below, so that a job
// list reads a job's name and schedule from the file's end without loading its tree.
// Older form: the base64 action text directly followed by the braced JobId (no length,
// no terminator); only letters, digits and "-" are taken for an id between the braces. Neither brace nor the trailer's length byte belongs to the base64
// alphabet, so the action text always ends where either tail begins.
//
// Trailer layout; each text is a length byte and a fixed character area (unused bytes
// zero when we write, undefined in general). Texts are bytes: UTF-8 here, the system code
// page in files written on Windows.
//   offset   0, 39 bytes: JobId (up to 38)
//   offset  39, 256 bytes: Caption (up to 255)
//   offset 295, 256 bytes: Description (up to 255)
//   offset 551, 256 bytes: schedule status text (up to 255)
//   offset 807,   1 byte : schedule enabled, 0 or 1
// Nothing here throws.

#include <cstddef>
#include <string>
#include <string_view>

constexpr size_t kJobInfoSize = 808;
constexpr size_t kJobInfoIdLength = 38;
constexpr size_t kJobInfoTextLength = 255;

struct TJobInfo {
  std::string JobId;
  std::string Caption;
  std::string Description;
  std::string ScheduleText;
  bool ScheduleEnabled = false;
};

// The 808 trailer bytes. Longer texts are cut to their field (at a UTF-8 character
// boundary, so that no character is split).
std::string EncodeJobInfo(const TJobInfo& info);
// Reads the last kJobInfoSize bytes of `tail` into info. True only when the second byte
// (the JobId's first character) is "{"; a length byte larger than its area is taken as
// the whole area.
bool DecodeJobInfo(std::string_view tail, TJobInfo& info);

// The last kJobInfoSize bytes of a file (all of a shorter one), where a job file keeps
// its trailer or its older-form id, and the file's size. False with a reason when the
// file cannot be read.
bool ReadJobFileTail(const std::string& fileName, std::string& tail, size_t& fileSize, std::string& error);
// The trailer of a job file. False with a reason when the file cannot be read, is not
// longer than the trailer, or does not end in one (a plain action file, a job file of the
// older form, a file cut short).
bool ReadJobInfoFromFile(const std::string& fileName, TJobInfo& info, std::string& error);

// The action text of a job file of either form: `text` without its trailer or older-form
// JobId. Any other text comes back unchanged (so that its own problems get reported).
std::string_view JobFileActionText(std::string_view text);
// The JobId of the older form's tail, "" when text does not end in one.
std::string OldFormJobId(std::string_view text);
