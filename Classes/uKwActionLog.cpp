#include "uKwActionLog.h"

#include <typeinfo>

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
