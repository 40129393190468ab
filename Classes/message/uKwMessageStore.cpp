#include "uKwMessageStore.h"

#include <filesystem>

#include "uKwDateTime.h"
#include "uKwMailMessage.h"

namespace fs = std::filesystem;

namespace {
constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS Messages (UniqueId TEXT PRIMARY KEY, SourceFile TEXT, Sender TEXT, "
    "Subject TEXT, LocalDate REAL, Size INTEGER);"
    "CREATE INDEX IF NOT EXISTS MessagesBySource ON Messages (SourceFile);"
    "CREATE TABLE IF NOT EXISTS OtherFiles (SourceFile TEXT PRIMARY KEY, UniqueId TEXT);";
}  // namespace

TKwMessageStore::TKwMessageStore(std::string folder) : FFolder(std::move(folder)) {}

TKwMessageStore::~TKwMessageStore() = default;

bool TKwMessageStore::Fail(const std::string& text) {
  FErrorText = text;
  return false;
}

bool TKwMessageStore::Open() {
  std::error_code ec;
  fs::create_directories(FFolder, ec);
  if (!fs::is_directory(FFolder, ec)) return Fail("Cannot create the folder \"" + FFolder + "\"");
  if (!FDatabase.Open(FFolder + "index.db3") || !FDatabase.SetBusyTimeout(5000) || !FDatabase.Exec(kSchema))
    return Fail(FDatabase.LastError());
  if (!FFind.Prepare(FDatabase, "SELECT UniqueId, SourceFile, Sender, Subject, LocalDate, Size "
                                "FROM Messages WHERE UniqueId = ?") ||
      !FFindBySource.Prepare(FDatabase, "SELECT UniqueId FROM Messages WHERE SourceFile = ?1 UNION ALL "
                                        "SELECT UniqueId FROM OtherFiles WHERE SourceFile = ?1 LIMIT 1") ||
      !FInsert.Prepare(FDatabase, "INSERT OR IGNORE INTO Messages VALUES (?, ?, ?, ?, ?, ?)") ||
      !FInsertFile.Prepare(FDatabase, "INSERT OR REPLACE INTO OtherFiles VALUES (?, ?)"))
    return Fail(FDatabase.LastError());
  return true;
}

std::string TKwMessageStore::MessagePath(const std::string& uniqueId) const {
  // Ids start with the date: a folder per leading pair keeps folders small.
  std::string bucket = uniqueId.size() >= 2 ? uniqueId.substr(0, 2) : "00";
  return FFolder + bucket + "/" + uniqueId + ".qmsg";
}

bool TKwMessageStore::LoadSummary(const std::string& uniqueId, TKwStoredSummary& summary) {
  if (!FFind.IsPrepared() || !FFind.BindText(1, uniqueId)) return false;
  bool found = FFind.Step() == TKwSqliteStep::Row;
  if (found) {
    summary.UniqueId = FFind.ColumnText(0);
    summary.SourceFile = FFind.ColumnText(1);
    summary.From = FFind.ColumnText(2);
    summary.Subject = FFind.ColumnText(3);
    summary.LocalDate = FFind.ColumnDouble(4);
    summary.Size = FFind.ColumnInt64(5);
  }
  FFind.Reset();
  return found;
}

bool TKwMessageStore::ExistMessage(const std::string& uniqueId) {
  TKwStoredSummary summary;
  return LoadSummary(uniqueId, summary);
}

std::string TKwMessageStore::GetFilename(const std::string& uniqueId) {
  return ExistMessage(uniqueId) ? MessagePath(uniqueId) : std::string();
}

std::string TKwMessageStore::GetUniqueIdFromFilename(const std::string& sourceFile) {
  if (!FFindBySource.IsPrepared() || !FFindBySource.BindText(1, sourceFile)) return "";
  std::string id = FFindBySource.Step() == TKwSqliteStep::Row ? FFindBySource.ColumnText(0) : "";
  FFindBySource.Reset();
  return id;
}

bool TKwMessageStore::AddMessage(TKwMailMessage& message, const std::string& uniqueId,
                                 const std::string& sourceFile) {
  if (!FInsert.IsPrepared()) return Fail("The store \"" + FFolder + "\" is not open");
  if (ExistMessage(uniqueId)) return true;
  std::string path = MessagePath(uniqueId);
  std::error_code ec;
  fs::create_directories(fs::path(path).parent_path(), ec);
  if (!message.SaveToFile(path)) return Fail("Cannot write \"" + path + "\"");
  const TKwHeaders& h = *message.Headers;
  FInsert.BindText(1, uniqueId);
  FInsert.BindText(2, sourceFile);
  FInsert.BindText(3, h.From.Address);
  FInsert.BindText(4, h.Subject);
  FInsert.BindDouble(5, GmtToLocal(h.SubmitDate.GmtDate));
  FInsert.BindInt64(6, static_cast<int64_t>(fs::file_size(path, ec)));
  if (!FInsert.Execute()) return Fail(FInsert.LastError());
  return true;
}

bool TKwMessageStore::AddFilename(const std::string& uniqueId, const std::string& fileName) {
  if (!FInsertFile.IsPrepared()) return Fail("The store \"" + FFolder + "\" is not open");
  if (!ExistMessage(uniqueId)) return Fail("The store holds no message " + uniqueId);
  FInsertFile.BindText(1, fileName);
  FInsertFile.BindText(2, uniqueId);
  if (!FInsertFile.Execute()) return Fail(FInsertFile.LastError());
  return true;
}

bool TKwMessageStore::LoadMessage(const std::string& uniqueId, TKwMailMessage& message) {
  std::string path = GetFilename(uniqueId);
  return !path.empty() && message.LoadFromFile(path);
}
