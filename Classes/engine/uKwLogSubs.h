#pragma once
// Run reports on disk, and the text helpers the report is rendered with.
//
// A run report is one text file per job run in the extraction-logs folder
// (GetExtractLogsFolder), named "<JobId><YYYYMMDD>_<HHMMSS>.txt": the braced job id, then
// the local date-time of the run. Names sort in run order within a job, and at most
// kMaxLogsPerJob reports are kept per job. Nothing here throws. Functions that touch the
// logs folder must not run concurrently for the same job (pruning deletes files).

#include <string>
#include <string_view>

#include "uKwPersistent.h"
#include "uKwTypes.h"

constexpr int kMaxLogsPerJob = 15;
constexpr size_t kReportWidth = 80;

// ---- Report files ----
// Full path of the report of a run of jobId that ended at the local time `date`.
std::string GetLogFileName(const std::string& jobId, TDateTime date);
// Splits an existing report's name (its directory part is ignored) into the job id (up to
// and including the first "}") and the date between it and the 4-character extension.
// False when the file does not exist, the name has no "}" after its first character, or
// the date part is not "YYYYMMDD", any separator, "HHMMSS" of a date from 1899-12-30 on.
bool GetJobIdAndDateFromLogName(const std::string& fileName, std::string& jobId, TDateTime& date);
// Full paths of the reports of jobId (job ids compared without regard to ASCII case),
// sorted by name, i.e. oldest first. When there are more than kMaxLogsPerJob, the oldest
// files are deleted until that many remain. Files whose names do not parse are neither
// listed nor deleted.
void FillLogsList(TStringList& list, const std::string& jobId);
// Full path of the newest report of jobId; "" when there is none.
std::string GetLatestLog(const std::string& jobId);
// One "<date-time text>=<full path>" item per report of jobId, oldest first: the name is
// the run's date as DateTimeToLocaleText gives it, the value the report file.
void LoadJobLogs(const std::string& jobId, TStringList& strings);
// The JobId of a job file: from its 808-byte trailer when it has one (the trailer's
// second byte is "{"), else from the older form, where the braced id directly follows the
// base64 text at the end of the file. "" when the file cannot be read or holds no id.
std::string ReadJobIdFromExtractJobFile(const std::string& fileName);

// ---- Report text ----
// "%x %X" of the process locale (strftime); under the C locale "01/31/24 23:59:59".
// The engine never calls setlocale, so this is the C form unless the host program sets
// LC_TIME.
std::string DateTimeToLocaleText(TDateTime value);
// Appends indent + label + value word-wrapped so that no line is longer than width
// characters (UTF-8 code points); continuation lines start with indent and as many spaces
// as label is long. Words are split at blanks; a word longer than a line is cut; CR, LF
// and CR LF in value start a new line (those ending it are ignored). Trailing blanks are
// dropped. A label that leaves
// fewer than kMinWrapWidth columns is wrapped as part of the text (no hanging indent).
constexpr size_t kMinWrapWidth = 20;
void WrapLabelledText(TStringList& lines, std::string_view indent, std::string_view label,
                      std::string_view value, size_t width = kReportWidth);
// Writes lines, each followed by "\n", to fileName (created anew), trying up to three times
// a short while apart when the file cannot be written (a viewer may hold it open).
bool SaveListRetry(const TStringList& lines, const std::string& fileName, std::string& error);
