#pragma once
// Bases of the actions that receive messages from a source: exporters, deliverers and
// the passes that hand messages on to their own children. A source drives five calls
// (InitializeExtractProcess, InitializeFolder, ProcessMessage, FinalizeFolder,
// FinalizeExtractProcess) on its direct children; each base propagates them down its
// subtree in child order, skipping disabled children and stopping once aborted.
//
// A target owns its copy of the current folder information and of the current message;
// it refers to the variables lists that its source owns for the length of a run.

#include <memory>

#include "uKwActionBase.h"

class TKwFolderInfo;
class TKwFoldersTree;
class TKwMailMessage;
class TKwVariablesList;

class TKwTargetBase : public TKwActionBase {
 public:
  TKwTargetBase();
  ~TKwTargetBase() override;
  std::string_view ClassName() const override { return "TKwTargetBase"; }

  virtual void InitializeExtractProcess(TKwFoldersTree& folders);
  virtual void InitializeFolder(const TKwFolderInfo& folder);
  virtual void ProcessMessage(TKwMailMessage& message);
  virtual void FinalizeFolder();
  virtual void FinalizeExtractProcess();
  // Whether this target already holds the message, so the source need not load it. A
  // target that cannot tell says no.
  virtual bool ExistMessage(const std::string& uniqueId);

  // The lists a source hands to its direct children for a run; not owned.
  TKwVariablesList* EmailParts = nullptr;
  TKwVariablesList* Fields = nullptr;

  // True when this target or one below it cannot take messages for the rest of the run (a
  // connection that failed): the source then keeps every message for the next run.
  bool IsRunFailedBelow() const;

  TKwFolderInfo& FolderInfo() { return *FFolderInfo; }
  bool IsFolderOpen() const { return FFolderOpen; }

 protected:
  std::unique_ptr<TKwFolderInfo> FFolderInfo;
  bool FFolderOpen = false;
  bool FRunFailed = false;  // set by a target whose run cannot go on; cleared at each start
  TStringList FFolderList;  // per-folder bookkeeping of derived targets
};

// The output settings of the two columnar targets, published flat under these names.
// AppendToFile persists but is neither copied by the targets' Assign nor consulted.
struct TKwColumnarOutput {
  void PublishOutput(TKwPublisher& publisher);

  TColumnsFieldDelimiter FieldDelimiter = cfdNone;
  std::string OtherFieldDelimiter;  // one character
  std::string TargetFilename;
  TFileFormat TargetFormat = ffColExcel;
  bool AppendToFile = false;
};

class TKwTargetMailBase : public TKwTargetBase {
 public:
  TKwTargetMailBase();
  ~TKwTargetMailBase() override;
  std::string_view ClassName() const override { return "TKwTargetMailBase"; }
  void Publish(TKwPublisher& publisher) override;

  void InitializeExtractProcess(TKwFoldersTree& folders) override;
  // Takes a copy of the message (unless KeepsOwnCopy says no), counts it and fills
  // EmailParts; does not pass it on.
  void ProcessMessage(TKwMailMessage& message) override;

  TKwMailMessage& MailMessage() { return *FMailMessage; }
  bool IsMessageProcessed() const { return FMessageProcessed; }
  TSaveStatus GetSaveStatus() const { return FSaveStatus; }

  bool DeleteSourceMessage = false;  // the source may delete a message once this target has it
  bool Overwrite = true;

 protected:
  // A stage that only looks at a message to route it reads it where it is; the others
  // keep a copy of their own in FMailMessage, which they may change.
  virtual bool KeepsOwnCopy() const { return true; }

  std::unique_ptr<TKwMailMessage> FMailMessage;
  bool FMessageProcessed = false;
  TSaveStatus FSaveStatus = ssOther;
};

// A pass hands every message it receives to each of its enabled children.
class TKwTargetMailPassBase : public TKwTargetMailBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetMailPassBase"; }
  void ProcessMessage(TKwMailMessage& message) override;
  // True when every enabled child holds it (and there is at least one).
  bool ExistMessage(const std::string& uniqueId) override;
};

class TKwTargetContactsBase : public TKwTargetBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetContactsBase"; }
};

class TKwTargetCalendarBase : public TKwTargetBase {
 public:
  std::string_view ClassName() const override { return "TKwTargetCalendarBase"; }
};
