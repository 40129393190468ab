#include "uKwActionJob.h"

#include <filesystem>
#include <fstream>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwLogSubs.h"
#include "uKwMessageName.h"
#include "uKwRegFolders.h"
#include "uKwSubs.h"

namespace fs = std::filesystem;

namespace {

constexpr char kEmptyImagesCacheKey[] = "EmptyEmailCache";
constexpr TDateTime kOneSecond = 1.0 / 86400.0;
// How far a report name may move past its time to find a free name.
constexpr int kMaxLogNameShift = 3600;

bool WriteWholeFile(const std::string& fileName, const std::string& bytes, std::string& error) {
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  if (!out) {
    error = "Cannot create file \"" + fileName + "\"";
    return false;
  }
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) {
    error = "Cannot write file \"" + fileName + "\"";
    return false;
  }
  return true;
}

// Never the root or an empty path, whatever a host put into TempFolder.
bool IsDisposableFolder(const std::string& folder) {
  fs::path path(folder);
  return !folder.empty() && path.relative_path() != fs::path() && path.lexically_normal() != path.root_path();
}

void CreateEmptyFolder(const std::string& folder) {
  if (!IsDisposableFolder(folder)) return;
  std::error_code ec;
  fs::create_directories(folder, ec);
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, ec)) fs::remove_all(entry.path(), ec);
}

void RemoveFolder(const std::string& folder) {
  if (IsDisposableFolder(folder)) DeleteFolderAndContents(folder);
}

// The job id as it can stand in a file name (a GUID text is kept as it is).
std::string LogJobId(const std::string& jobId) { return ReplaceInvalidCharactersFilename(jobId, "_"); }

std::string FreeLogFileName(const std::string& jobId, TDateTime date) {
  std::string name = GetLogFileName(jobId, date);
  std::error_code ec;
  for (int shift = 1; shift <= kMaxLogNameShift && fs::exists(name, ec); ++shift)
    name = GetLogFileName(jobId, date + shift * kOneSecond);
  return name;
}

std::string JobTempFolderName() {
  std::string engineTemp = GetTempFolder();
  if (engineTemp.empty()) return "";
  std::string guid = NewGuidString();
  return engineTemp + "Job-" + guid.substr(1, guid.size() - 2) + "/";
}

}  // namespace

TKwBaseActionJob::TKwBaseActionJob() : JobId(NewGuidString()), FMainLog(std::make_unique<TKwMainLog>()) {
  ItemType = stiJob;
  TempFolder = JobTempFolderName();
}

TKwBaseActionJob::~TKwBaseActionJob() = default;

void TKwBaseActionJob::Publish(TKwPublisher& p) {
  TKwActionBase::Publish(p);
  p.Boolean("DetailedLog", DetailedLog);
  p.String("JobId", JobId);
  p.Enum("JobType", JobType);
  p.Object("Schedule", *Schedule);
}

void TKwBaseActionJob::GenerateJobId() { JobId = NewGuidString(); }

uint32_t TKwBaseActionJob::GetJobIdCRC32() const { return CRC32Int(JobId); }

TJobInfo TKwBaseActionJob::GetJobInfo() const {
  TJobInfo info;
  info.JobId = JobId;
  info.Caption = Caption;
  info.Description = Description;
  info.ScheduleText = Schedule->GetStatusText();
  info.ScheduleEnabled = Schedule->Enabled;
  return info;
}

// ---------------------------------------------------------------- job files

bool TKwBaseActionJob::SaveToFile(const std::string& fileName, std::string& error) {
  return WriteWholeFile(fileName, SaveToString() + EncodeJobInfo(GetJobInfo()), error);
}

bool TKwBaseActionJob::SaveToFileOld(const std::string& fileName, std::string& error) {
  return WriteWholeFile(fileName, SaveToString() + JobId, error);
}

bool TKwBaseActionJob::LoadJobInfo(const std::string& fileName, TJobInfo& info) {
  std::string error;
  return ReadJobInfoFromFile(fileName, info, error);
}

bool TKwBaseActionJob::LoadJobInfo(const std::string& fileName, TJobInfo& info, std::string& error) {
  return ReadJobInfoFromFile(fileName, info, error);
}

// ---------------------------------------------------------------- run

namespace {

// Removes the job's temporary folder however the run ends.
class TTempFolderScope {
 public:
  explicit TTempFolderScope(const std::string& folder) : FFolder(folder) { CreateEmptyFolder(FFolder); }
  ~TTempFolderScope() { RemoveFolder(FFolder); }
  TTempFolderScope(const TTempFolderScope&) = delete;
  TTempFolderScope& operator=(const TTempFolderScope&) = delete;

 private:
  std::string FFolder;
};

}  // namespace

void TKwBaseActionJob::StartJob() {
  FLastLogFileName.clear();
  FLastLogError.clear();
  FMainLog->Clear();
  FMainLog->StartTime = NowLocal();
  FMainLog->JobName = Name;
  FMainLog->JobDescription = Description;
  {
    TTempFolderScope temp(TempFolder);
    Execute();
    FMainLog->EndTime = NowLocal();
    AddChildActionsToMainLog(*FMainLog, *this);
    SaveReport();
    AfterLogSaved(FLastLogFileName);
  }
  // The value's name says e-mail cache; what it has always emptied is the images cache.
  if (RegistryReadBool(kEmptyImagesCacheKey, false)) DeleteFolderAndContents(GetImagesCacheFolder());
}

void TKwBaseActionJob::SaveReport() {
  std::string jobId = LogJobId(JobId);
  std::string name = FreeLogFileName(jobId, NowLocal());
  if (!FMainLog->SaveToFile(name, FLastLogError)) return;
  FLastLogFileName = name;
  TStringList kept;
  FillLogsList(kept, jobId);
}

void TKwBaseActionJob::AfterLogSaved(const std::string&) {}
