#pragma once
// The log of one action's run: counters, folders touched, notes, errors and message
// save statuses (TKwActionLog, owned by its action), and the logs of one job run gathered
// into a run report (TKwMainLog, owned by its job). Used from one thread.

#include <memory>
#include <string>
#include <vector>

#include "uKwPersistent.h"
#include "uKwTypes.h"

class TKwActionError : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TKwActionError"; }
  void Publish(TKwPublisher& publisher) override;

  std::string Description;
  std::string Error;
  std::string FolderName;
  std::string From;
  std::string SourceFilename;
  TDateTime SubmitDate = 0;
  std::string Subject;
  std::string TargetName;
};

class TKwActionMessageSaveStatus : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TKwActionMessageSaveStatus"; }
  void Publish(TKwPublisher& publisher) override;

  TSaveStatus SaveStatus = ssSaved;
  std::string From;
  TDateTime SubmitDate = 0;
  std::string Subject;
};

// Streamed as its published properties followed by two defined properties, each only when
// its list is not empty:
//   "Errors":            list of { date SubmitDate, strings Description, Error, FolderName,
//                        From, Subject, TargetName }  (SourceFilename is not stored)
//   "MessageStatusList": list of { string SaveStatusToString(status), From, Subject,
//                        date SubmitDate }
// Reading either first clears the whole log, counters and the published lists included,
// which were read before it. A stored status list cannot be read back: each entry goes to
// the error list and then to the status entry of the same index, which does not exist,
// and the read fails (docs/quirks.md, "Action log").
class TKwActionLog : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TKwActionLog"; }
  void Publish(TKwPublisher& publisher) override;
  void Assign(const TKwPersistent& source) override;
  // Empties both lists, FoldersList and Notes and the action name, and zeroes the counters.
  // ItemType and Level stay.
  void Clear();

  void WriteDefinedProperties(TKwPropertyWriter& writer, const std::string& prefix) override;
  bool ReadDefinedProperty(std::string_view name, TKwPropertyReader& reader) override;
  // The property stream of the log alone (ListBegin, properties, ListEnd).
  void SaveToStream(std::string& stream);
  // False with a reason when the bytes are not a property stream or a defined property is
  // damaged (a stored status list always is); unknown or mistyped published properties
  // only add LoadWarnings.
  bool LoadFromStream(std::string_view stream, std::string& error);
  const std::vector<std::string>& LoadWarnings() const { return FLoadWarnings; }

  int AddError();  // an empty entry for the caller to fill; returns its index
  int AddErrorFull(const std::string& error, const std::string& description,
                   const std::string& targetName, const std::string& folderName,
                   const std::string& from, const std::string& subject, TDateTime submitDate);
  int AddMessageStatus();
  int AddMessageStatusFull(TSaveStatus status, const std::string& from, const std::string& subject,
                           TDateTime submitDate);
  TKwActionError& GetError(int index) const { return *FErrors.at(index); }
  TKwActionMessageSaveStatus& GetMessageStatusList(int index) const { return *FMessageStatusList.at(index); }
  int ErrorsCount() const { return static_cast<int>(FErrors.size()); }
  int MessageStatusCount() const { return static_cast<int>(FMessageStatusList.size()); }

  void IncDownloaded() { ++Downloaded; }
  void IncFilteredFalse() { ++FilteredFalse; }
  void IncFilteredTrue() { ++FilteredTrue; }
  void IncOverwritten() { ++Overwritten; }
  void IncProcessed() { ++Processed; }
  void IncRenamed() { ++Renamed; }
  void IncSaved() { ++Saved; }
  void IncSkipped() { ++Skipped; }
  void IncPages(int pagesCount) { Pages += pagesCount; }

  std::string ActionName;
  int32_t Downloaded = 0;
  int32_t FilteredFalse = 0;
  int32_t FilteredTrue = 0;
  int32_t Overwritten = 0;
  int32_t Pages = 0;
  int32_t Processed = 0;
  int32_t Renamed = 0;
  int32_t Saved = 0;
  int32_t Skipped = 0;
  TStringList FoldersList;
  TSourceTargetItem ItemType = stiOther;
  int32_t Level = 0;
  TStringList Notes;

 private:
  void ReadErrors(TKwPropertyReader& reader);
  void ReadMessageStatusList(TKwPropertyReader& reader);

  std::vector<std::unique_ptr<TKwActionError>> FErrors;
  std::vector<std::unique_ptr<TKwActionMessageSaveStatus>> FMessageStatusList;
  std::vector<std::string> FLoadWarnings;
};

// The action logs of one job run (copies, owned) with the job's name and times, rendered
// into the plain-text run report. Not copyable.
class TKwMainLog {
 public:
  TKwMainLog() = default;
  TKwMainLog(const TKwMainLog&) = delete;
  TKwMainLog& operator=(const TKwMainLog&) = delete;

  int Add();  // appends an empty action log; returns its index
  TKwActionLog& GetItem(int index) const { return *FItems.at(index); }
  void SetItem(int index, const TKwActionLog& log) { FItems.at(index)->Assign(log); }
  int GetCount() const { return static_cast<int>(FItems.size()); }
  // Frees the items and empties the job's name, description and times.
  void Clear();

  // Whole seconds from StartTime to EndTime as "HH:MM:SS"; hours may take more digits.
  std::string GetRunTime() const;
  // Sums over the items.
  int TotalDownloaded() const { return Total(&TKwActionLog::Downloaded); }
  int TotalErrors() const;
  int TotalOverwritten() const { return Total(&TKwActionLog::Overwritten); }
  int TotalPages() const { return Total(&TKwActionLog::Pages); }
  int TotalProcessed() const { return Total(&TKwActionLog::Processed); }
  int TotalRenamed() const { return Total(&TKwActionLog::Renamed); }
  int TotalSaved() const { return Total(&TKwActionLog::Saved); }
  int TotalSkipped() const { return Total(&TKwActionLog::Skipped); }

  // Replaces strings by the report's lines (none longer than 80 characters). Items with
  // an empty action name are left out; an item's block is indented by its Level.
  void GenerateReport(TStringList& strings) const;
  // The report as a text file, lines ending in LF. False with a reason when it cannot be
  // written.
  bool SaveToFile(const std::string& fileName, std::string& error) const;

  std::string JobName;
  std::string JobDescription;
  TDateTime StartTime = 0;
  TDateTime EndTime = 0;

 private:
  int Total(int32_t TKwActionLog::*counter) const;
  std::vector<std::unique_ptr<TKwActionLog>> FItems;
};
