#include "uKwActionLog.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <typeinfo>
#include <utility>

#include "uKwLogSubs.h"
#include "uKwStream.h"

namespace {

constexpr char kErrors[] = "Errors";
constexpr char kMessageStatusList[] = "MessageStatusList";
constexpr double kMillisecondsPerDay = 86400000.0;
// Deeper blocks are indented no further, so that every line keeps room for its text.
constexpr int kMaxLevelIndent = 40;
constexpr size_t kEntryRuleLength = 50;

std::string DottedName(const std::string& prefix, std::string_view name) {
  return prefix.empty() ? std::string(name) : prefix + "." + std::string(name);
}

// The lines of one block of the run report: every line but the full-width rules starts
// with the block's indent.
class TReportBlock {
 public:
  TReportBlock(TStringList& lines, int level)
      : FLines(lines), FIndent(static_cast<size_t>(std::clamp(level, 0, kMaxLevelIndent)), ' ') {}

  void Rule() { FLines.push_back(std::string(kReportWidth, '=')); }
  void Empty() { FLines.emplace_back(); }
  void Text(std::string_view text) { WrapLabelledText(FLines, FIndent, "", text); }
  void Labelled(std::string_view label, std::string_view value) {
    WrapLabelledText(FLines, FIndent, label, value);
  }
  void FieldIfAny(std::string_view label, std::string_view value) {
    if (!value.empty()) Labelled(label, value);
  }
  void EntryRule() { FLines.push_back(FIndent + "   " + std::string(kEntryRuleLength, '-')); }
  // A "Name=Value" entry of a folders list as "<before>Name: Value".
  void Folder(std::string_view before, std::string_view entry) {
    size_t equals = entry.find('=');
    std::string_view name = entry.substr(0, equals);
    std::string_view value = equals == std::string_view::npos ? std::string_view() : entry.substr(equals + 1);
    Labelled(std::string(before) + std::string(name) + ": ", value);
  }

 private:
  TStringList& FLines;
  std::string FIndent;
};

std::string Counts(std::initializer_list<std::pair<std::string_view, int>> counts) {
  std::string text;
  for (const auto& [label, count] : counts) {
    if (!text.empty()) text += " - ";
    text.append(label).append(": ").append(std::to_string(count));
  }
  return text;
}

std::string RoleName(TActionRol role) { return EnumToString(role).substr(2); }  // "arSource" -> "Source"

void ReportRoleCounters(TReportBlock& block, const TKwActionLog& log) {
  TActionRol role = GetItemActionRol(log.ItemType);
  if (role != arSource && role != arPass && role != arTarget) return;
  block.Text(Counts({{"Processed", log.Processed}, {"Errors", log.ErrorsCount()}}));
  if (role == arSource) {
    block.Text("   Source Folders:");
    for (const std::string& folder : log.FoldersList) block.Folder("   ", folder);
  } else if (role == arPass) {
    if (log.ItemType == stiMailPasImagesDownloader)
      block.Text(Counts({{"Downloaded", log.Downloaded}}));
    else
      block.Text(Counts({{"FilteredTrue", log.FilteredTrue}, {"FilteredFalse", log.FilteredFalse}}));
  } else {
    block.Text(Counts({{"Saved", log.Saved}, {"Overwritten", log.Overwritten}, {"Renamed", log.Renamed},
                       {"Skipped", log.Skipped}, {"Pages", log.Pages}}));
    block.Text("   Target Folders:");
    for (const std::string& folder : log.FoldersList) block.Folder("   + ", folder);
  }
}

void ReportErrors(TReportBlock& block, const TKwActionLog& log) {
  if (log.ErrorsCount() == 0) return;
  block.Empty();
  block.Text("   Message Save Errors:");
  for (int i = 0; i < log.ErrorsCount(); ++i) {
    const TKwActionError& e = log.GetError(i);
    block.EntryRule();
    block.FieldIfAny("* Description:  ", e.Description);
    block.FieldIfAny("* Error:        ", e.Error);
    block.FieldIfAny("* Foldername:   ", e.FolderName);
    block.FieldIfAny("* Filename:   ", e.SourceFilename);
    block.Labelled("* SubmitDate:   ", DateTimeToLocaleText(e.SubmitDate));
    block.FieldIfAny("* From:         ", e.From);
    block.FieldIfAny("* Subject:      ", e.Subject);
    block.FieldIfAny("* Target:       ", e.TargetName);
  }
}

void ReportMessageStatuses(TReportBlock& block, const TKwActionLog& log) {
  if (log.MessageStatusCount() == 0) return;
  block.Empty();
  block.Text("   Detailed Log - Message Save Status:");
  for (int i = 0; i < log.MessageStatusCount(); ++i) {
    const TKwActionMessageSaveStatus& s = log.GetMessageStatusList(i);
    block.EntryRule();
    block.Labelled("* Status:       ", SaveStatusToStringFormated(s.SaveStatus));
    block.Labelled("* SubmitDate:   ", DateTimeToLocaleText(s.SubmitDate));
    block.FieldIfAny("* From:         ", s.From);
    block.FieldIfAny("* Subject:      ", s.Subject);
  }
}

void ReportActionLog(TStringList& lines, const TKwActionLog& log) {
  TReportBlock block(lines, log.Level);
  block.Rule();
  block.Labelled("Action: ", log.ActionName + " (" + RoleName(GetItemActionRol(log.ItemType)) + ")");
  block.Rule();
  ReportRoleCounters(block, log);
  if (!log.Notes.empty()) {
    block.Text("Notes:");
    for (const std::string& note : log.Notes) block.Labelled("   + ", note);
  }
  ReportErrors(block, log);
  ReportMessageStatuses(block, log);
}

}  // namespace

void TKwActionError::Publish(TKwPublisher& p) {
  p.String("Description", Description);
  p.String("Error", Error);
  p.String("FolderName", FolderName);
  p.String("From", From);
  p.String("SourceFilename", SourceFilename);
  p.DateTime("SubmitDate", SubmitDate);
  p.String("Subject", Subject);
  p.String("TargetName", TargetName);
}

void TKwActionMessageSaveStatus::Publish(TKwPublisher& p) {
  p.Enum("SaveStatus", SaveStatus);
  p.String("From", From);
  p.DateTime("SubmitDate", SubmitDate);
  p.String("Subject", Subject);
}

void TKwActionLog::Publish(TKwPublisher& p) {
  p.String("ActionName", ActionName);
  p.Integer("Downloaded", Downloaded);
  p.Integer("FilteredFalse", FilteredFalse);
  p.Integer("FilteredTrue", FilteredTrue);
  p.Integer("Overwritten", Overwritten);
  p.Integer("Pages", Pages);
  p.Integer("Processed", Processed);
  p.Integer("Renamed", Renamed);
  p.Integer("Saved", Saved);
  p.Integer("Skipped", Skipped);
  p.Strings("FoldersList", FoldersList);
  p.Enum("ItemType", ItemType);
  p.Integer("Level", Level);
  p.Strings("Notes", Notes);
}

void TKwActionLog::Assign(const TKwPersistent& source) {
  if (typeid(source) != typeid(*this)) AssignError(source);
  if (&source == this) return;
  TKwPersistent::Assign(source);
  const auto& log = static_cast<const TKwActionLog&>(source);
  FErrors.clear();
  for (const auto& e : log.FErrors) {
    FErrors.push_back(std::make_unique<TKwActionError>());
    FErrors.back()->Assign(*e);
  }
  FMessageStatusList.clear();
  for (const auto& s : log.FMessageStatusList) {
    FMessageStatusList.push_back(std::make_unique<TKwActionMessageSaveStatus>());
    FMessageStatusList.back()->Assign(*s);
  }
}

void TKwActionLog::Clear() {
  FErrors.clear();
  FMessageStatusList.clear();
  FoldersList.clear();
  Notes.clear();
  ActionName.clear();
  Downloaded = FilteredFalse = FilteredTrue = Overwritten = Pages = 0;
  Processed = Renamed = Saved = Skipped = 0;
}

int TKwActionLog::AddError() {
  FErrors.push_back(std::make_unique<TKwActionError>());
  return ErrorsCount() - 1;
}

int TKwActionLog::AddErrorFull(const std::string& error, const std::string& description,
                               const std::string& targetName, const std::string& folderName,
                               const std::string& from, const std::string& subject,
                               TDateTime submitDate) {
  int index = AddError();
  TKwActionError& e = GetError(index);
  e.Error = error;
  e.Description = description;
  e.TargetName = targetName;
  e.FolderName = folderName;
  e.From = from;
  e.Subject = subject;
  e.SubmitDate = submitDate;
  return index;
}

int TKwActionLog::AddMessageStatus() {
  FMessageStatusList.push_back(std::make_unique<TKwActionMessageSaveStatus>());
  return MessageStatusCount() - 1;
}

int TKwActionLog::AddMessageStatusFull(TSaveStatus status, const std::string& from,
                                       const std::string& subject, TDateTime submitDate) {
  int index = AddMessageStatus();
  TKwActionMessageSaveStatus& s = GetMessageStatusList(index);
  s.SaveStatus = status;
  s.From = from;
  s.Subject = subject;
  s.SubmitDate = submitDate;
  return index;
}

// ---------------------------------------------------------------- streaming

void TKwActionLog::WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) {
  if (ErrorsCount() > 0) {
    writer.WritePropName(DottedName(prefix, kErrors));
    writer.WriteListBegin();
    for (const auto& e : FErrors) {
      writer.WriteDate(e->SubmitDate);
      writer.WriteString(e->Description);
      writer.WriteString(e->Error);
      writer.WriteString(e->FolderName);
      writer.WriteString(e->From);
      writer.WriteString(e->Subject);
      writer.WriteString(e->TargetName);
    }
    writer.WriteListEnd();
  }
  if (MessageStatusCount() > 0) {
    writer.WritePropName(DottedName(prefix, kMessageStatusList));
    writer.WriteListBegin();
    for (const auto& s : FMessageStatusList) {
      writer.WriteString(SaveStatusToString(s->SaveStatus));
      writer.WriteString(s->From);
      writer.WriteString(s->Subject);
      writer.WriteDate(s->SubmitDate);
    }
    writer.WriteListEnd();
  }
}

bool TKwActionLog::ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) {
  if (name == kErrors) {
    ReadErrors(reader);
    return true;
  }
  if (name == kMessageStatusList) {
    ReadMessageStatusList(reader);
    return true;
  }
  return false;
}

void TKwActionLog::ReadErrors(TKwPropertyReader& reader) {
  Clear();
  reader.ReadListBegin();
  while (!reader.EndOfList()) {
    TKwActionError& e = GetError(AddError());
    e.SubmitDate = reader.ReadFloat();
    e.Description = reader.ReadString();
    e.Error = reader.ReadString();
    e.FolderName = reader.ReadString();
    e.From = reader.ReadString();
    e.Subject = reader.ReadString();
    e.TargetName = reader.ReadString();
  }
  reader.ReadListEnd();
}

// Each entry is added to the error list and then written into the status entry of the
// same index, which the Clear has just removed: the first entry fails. Kept as the format
// has always behaved (docs/quirks.md); a log with statuses is saved but never read back.
void TKwActionLog::ReadMessageStatusList(TKwPropertyReader& reader) {
  Clear();
  reader.ReadListBegin();
  while (!reader.EndOfList()) {
    int index = AddError();
    if (index >= MessageStatusCount())
      throw EReadError("List index out of bounds (" + std::to_string(index) + ")");
    TKwActionMessageSaveStatus& s = GetMessageStatusList(index);
    int status = StringToSaveStatus(reader.ReadString());
    if (status >= 0) s.SaveStatus = static_cast<TSaveStatus>(status);
    s.From = reader.ReadString();
    s.Subject = reader.ReadString();
    s.SubmitDate = reader.ReadFloat();
  }
  reader.ReadListEnd();
}

void TKwActionLog::SaveToStream(std::string& stream) { stream = SaveObjectToBytes(*this); }

bool TKwActionLog::LoadFromStream(std::string_view stream, std::string& error) {
  FLoadWarnings.clear();
  return LoadObjectFromBytes(stream, *this, FLoadWarnings, error);
}

// ---------------------------------------------------------------- main log

int TKwMainLog::Add() {
  FItems.push_back(std::make_unique<TKwActionLog>());
  return GetCount() - 1;
}

void TKwMainLog::Clear() {
  FItems.clear();
  JobName.clear();
  JobDescription.clear();
  StartTime = EndTime = 0;
}

int TKwMainLog::Total(int32_t TKwActionLog::*counter) const {
  int total = 0;
  for (const auto& item : FItems) total += (*item).*counter;
  return total;
}

int TKwMainLog::TotalErrors() const {
  int total = 0;
  for (const auto& item : FItems) total += item->ErrorsCount();
  return total;
}

std::string TKwMainLog::GetRunTime() const {
  // Each end rounded to the millisecond first, as the dates were taken.
  int64_t ms = std::llabs(std::llround(EndTime * kMillisecondsPerDay) - std::llround(StartTime * kMillisecondsPerDay));
  long long seconds = ms / 1000;
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%02lld:%02lld:%02lld", seconds / 3600, seconds / 60 % 60, seconds % 60);
  return buffer;
}

void TKwMainLog::GenerateReport(TStringList& strings) const {
  strings.clear();
  TReportBlock job(strings, 0);
  job.Rule();
  job.Labelled("Job: ", JobName);
  job.Labelled("Description:", JobDescription);
  job.Rule();
  job.Empty();
  job.Text("Start Time: " + DateTimeToLocaleText(StartTime) + "; End Time: " + DateTimeToLocaleText(EndTime) +
           "; Duration: " + GetRunTime());
  job.Text("Totals: " + Counts({{"Processed", TotalProcessed()}, {"Saved", TotalSaved()},
                                {"Images Downloaded", TotalDownloaded()}, {"Errors", TotalErrors()},
                                {"Pages", TotalPages()}}));
  job.Empty();
  for (const auto& item : FItems)
    if (!item->ActionName.empty()) ReportActionLog(strings, *item);
}

bool TKwMainLog::SaveToFile(const std::string& fileName, std::string& error) const {
  TStringList lines;
  GenerateReport(lines);
  return SaveListRetry(lines, fileName, error);
}
