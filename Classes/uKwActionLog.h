#pragma once
// The log of one action's run: counters, folders touched, notes, errors and message
// save statuses. Owned by its action; filled on the action's thread.

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

class TKwActionLog : public TKwPersistent {
 public:
  std::string_view ClassName() const override { return "TKwActionLog"; }
  void Publish(TKwPublisher& publisher) override;
  void Assign(const TKwPersistent& source) override;
  void Clear();

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
  std::vector<std::unique_ptr<TKwActionError>> FErrors;
  std::vector<std::unique_ptr<TKwActionMessageSaveStatus>> FMessageStatusList;
};
