#pragma once
// Jobs: the roots of action trees that the user saves, lists, schedules and starts.
//
// A job owns its schedule options and its main log (the run report of its last start)
// besides what every action owns. StartJob runs on the caller's thread; Abort may be
// called from another thread as for any action. Job files: see uKwJobInfo.h.

#include <cstdint>
#include <memory>
#include <string>

#include "uKwActionBase.h"
#include "uKwJobInfo.h"
#include "uKwParameters.h"

class TKwMainLog;

// persisted: never reorder
#define KW_JOB_TYPE(X) X(jtLocal) X(jtRemote)
KW_ENUM(TJobType, KW_JOB_TYPE);

class TKwBaseActionJob : public TKwActionBase {
 public:
  // A new JobId, and a TempFolder of its own below the engine's temporary folder (a
  // start empties and removes it, so it must not be shared with other runs).
  TKwBaseActionJob();
  ~TKwBaseActionJob() override;
  std::string_view ClassName() const override { return "TKwBaseActionJob"; }
  void Publish(TKwPublisher& publisher) override;

  void GenerateJobId();  // replaces JobId with a new braced GUID text
  uint32_t GetJobIdCRC32() const;
  // What SaveToFile writes into the trailer (texts not yet cut to their fields).
  TJobInfo GetJobInfo() const;

  // ---- job files
  // The job file: the action file's base64 text followed by the 808-byte trailer. Used in
  // place of TKwActionBase::SaveToFile wherever a job is saved as a job file.
  bool SaveToFile(const std::string& fileName, std::string& error);
  // The older form: the base64 text followed by JobId (nothing when JobId is empty).
  bool SaveToFileOld(const std::string& fileName, std::string& error);
  // Reads only the trailer. False for files without one (plain action files, the older
  // form, files cut short); the second form says why.
  static bool LoadJobInfo(const std::string& fileName, TJobInfo& info);
  static bool LoadJobInfo(const std::string& fileName, TJobInfo& info, std::string& error);

  // ---- run
  // Runs the tree and files its report: the main log is refilled, TempFolder created
  // empty and removed afterwards, the report saved in the extraction-logs folder as
  // "<JobId><YYYYMMDD>_<HHMMSS>.txt" (the end of the run; a name already taken moves to
  // the next free second, so that no earlier report is overwritten), the job's reports
  // pruned to the newest 15, and the images cache emptied when the registry value
  // "EmptyEmailCache" is set. Folder failures are not reported; the run goes on.
  void StartJob();
  TKwMainLog& GetMainLog() { return *FMainLog; }
  // The report of the last StartJob; "" before a start, or when it could not be written
  // (GetLastLogError says why).
  const std::string& GetLastLogFileName() const { return FLastLogFileName; }
  const std::string& GetLastLogError() const { return FLastLogError; }

  // ---- published
  bool DetailedLog = false;
  std::string JobId;  // braced GUID text, new for every job created
  TJobType JobType = jtLocal;
  const std::unique_ptr<TKwScheduleOptions> Schedule = std::make_unique<TKwScheduleOptions>();

 protected:
  // Called by StartJob after the report is saved (logFileName is "" when it was not),
  // before TempFolder is removed. Nothing by default.
  virtual void AfterLogSaved(const std::string& logFileName);

 private:
  void SaveReport();
  std::unique_ptr<TKwMainLog> FMainLog;
  std::string FLastLogFileName;
  std::string FLastLogError;
};

class TKwActionJob : public TKwBaseActionJob {
 public:
  std::string_view ClassName() const override { return "TKwActionJob"; }
};

// Runs its tree on a remote extract service, which this build does not reach.
class TKwActionJobRemote : public TKwBaseActionJob {
 public:
  TKwActionJobRemote() { JobType = jtRemote; }
  KW_UNAVAILABLE_ACTION(TKwActionJobRemote)
};

// A "target profile": passes and targets kept together for reuse under other sources.
class TKwActionJobTarget : public TKwActionBase {
 public:
  std::string_view ClassName() const override { return "TKwActionJobTarget"; }
};
