#include "uKwTargetMailEmailParts.h"

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwFoldersTree.h"
#include "uKwMailMessage.h"
#include "uKwParameters.h"
#include "uKwRegFolders.h"
#include "uKwSqlite.h"
#include "uKwSubs.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kScratchName = "EmailParts.db3";
constexpr std::string_view kGenerating = "Generating target format ...";

TKwColumnKind QueryColumnKind(TColumnField field) {
  switch (field) {
    case cfSubmitDate:
    case cfDeliveryDate: return TKwColumnKind::DateTime;
    case cfAttachCount:
    case cfPriority: return TKwColumnKind::Integer;
    default: return TKwColumnKind::Text;
  }
}

// Too large to be of use in a line of plain text.
bool IsBodyField(TColumnField field) { return field == cfHeaders || field == cfTextPart || field == cfHtmlPart; }

// The output's folder is made when missing, as the other exporters do.
void EnsureParentFolder(const std::string& fileName) {
  const fs::path parent = fs::path(fileName).parent_path();
  std::error_code ec;
  if (parent.empty() || fs::is_directory(parent, ec)) return;
  fs::create_directories(parent, ec);
  if (ec) throw std::runtime_error("Cannot create the folder " + parent.string() + ": " + ec.message());
}

bool HasTableWriter(TFileFormat format) {
  return format == ffColExcel || format == ffColXlsx || format == ffColTxt || format == ffColXml ||
         format == ffColHtml;
}

}  // namespace

TKwTargetMailEmailParts::TKwTargetMailEmailParts() : FTempDB(std::make_unique<TKwTempDBColumnar>()) {}

TKwTargetMailEmailParts::~TKwTargetMailEmailParts() {
  FTempDB->CloseSQLDatabase();
  if (FScratchFolder.empty()) return;
  std::error_code ec;
  fs::remove_all(FScratchFolder, ec);
}

void TKwTargetMailEmailParts::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.String("FieldsStr", FieldsStr);
  PublishOutput(p);
}

void TKwTargetMailEmailParts::Assign(const TKwPersistent& source) {
  bool keep = AppendToFile;
  TKwTargetMailBase::Assign(source);
  AppendToFile = keep;
}

TColumnFields TKwTargetMailEmailParts::ColumnsStringToColumnsFields(std::string_view fieldsStr) {
  const std::vector<TColumnField> list = ColumnsStringToColumnList(fieldsStr);
  return TColumnFields(list.begin(), list.end());
}

// ---------------------------------------------------------------- the run

bool TKwTargetMailEmailParts::PrepareScratchFile() {
  if (FScratchFolder.empty()) {
    std::string parent = TempFolder.empty() ? GetTempFolder() : TempFolder;
    std::string pattern = IncludeTrailingPathDelimiter(parent) + "EmailParts-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
      Log->AddErrorFull(std::string("Cannot create a scratch folder in ") + parent, "Initializing", Caption, "",
                        "", "", 0);
      return false;
    }
    FScratchFolder = pattern;
    FScratchFilename = IncludeTrailingPathDelimiter(FScratchFolder) + std::string(kScratchName);
  }
  try {
    FTempDB->CreateDatabase(FScratchFilename, FieldsStr);
    FTempDB->OpenSQLDatabase();
  } catch (const std::exception& e) {
    Log->AddErrorFull(e.what(), "Creating the scratch database", Caption, "", "", "", 0);
    return false;
  }
  return true;
}

TKwDecodeDepth TKwTargetMailEmailParts::OwnDecodeDepth() const {
  TKwDecodeDepth depth = TKwDecodeDepth::Headers;
  for (TColumnField field : ColumnsStringToColumnsFields(FieldsStr)) {
    switch (field) {
      case cfTextPart: case cfHtmlPart: case cfAttachCount: case cfAttachList: case cfAttachComma:
        return TKwDecodeDepth::AllButAttachmentBytes;
      case cfBounceType: case cfBounceDescription: case cfBounceRecipient:
        depth = TKwDecodeDepth::BounceVerdict;
        break;
      default: break;
    }
  }
  return depth;
}

bool TKwTargetMailEmailParts::ReadsBounceVerdict() const {
  for (TColumnField field : ColumnsStringToColumnsFields(FieldsStr))
    if (field == cfBounceType || field == cfBounceDescription || field == cfBounceRecipient) return true;
  return false;
}

void TKwTargetMailEmailParts::InitializeExtractProcess(TKwFoldersTree& folders) {
  TKwTargetMailBase::InitializeExtractProcess(folders);
  FFields = ColumnsStringToColumnsFields(FieldsStr);
  // Spreadsheets keep real date cells; the delimited text formats take the ISO text.
  FTempDB->SetIsoDates(GlobalOptions && GlobalOptions->DateFormat == TKwDateFormat::Iso &&
                       (TargetFormat == ffColCsv || TargetFormat == ffColTxt));
  FScratchReady = PrepareScratchFile();
}

void TKwTargetMailEmailParts::ProcessMessage(TKwMailMessage& message) {
  TKwTargetMailBase::ProcessMessage(message);
  // The row names this target's folder; the message goes on as it came.
  TKwMailMessage& working = message;
  const std::string folderName = working.FolderName;
  if (!FFolderInfo->FolderPath.empty()) working.FolderName = FFolderInfo->FolderPath;
  const TKwHeaders& h = *working.Headers;
  // Without a scratch table the failure was logged once when the run began.
  FSaveStatus = ssError;
  if (FScratchReady) {
    try {
      FTempDB->AddMessageToDB(working, FFields);
      FSaveStatus = ssSaved;
      Log->IncSaved();
    } catch (const std::exception& e) {
      Log->AddErrorFull(e.what(), "Adding the message to the table", Caption, working.FolderName, h.From.Address,
                        h.Subject, GmtToLocal(h.SubmitDate.GmtDate));
    }
  }
  if (GlobalOptions && GlobalOptions->DetailedLog)
    Log->AddMessageStatusFull(FSaveStatus, h.From.Address, h.Subject, GmtToLocal(h.SubmitDate.GmtDate));
  working.FolderName = folderName;
}

void TKwTargetMailEmailParts::FinalizeExtractProcess() {
  TKwTargetMailBase::FinalizeExtractProcess();
  FTempDB->CloseSQLDatabase();
  if (!FScratchReady) return;
  FScratchReady = false;
  // The bar has nothing to count while the file is written.
  TriggerProgressEvent(0, "", "", rsMarquee);
  TriggerStatusEvent("Exporting", std::string(kGenerating));
  if (TargetFormat == ffColSqL3) {
    CopyScratchDatabase();
    return;
  }
  try {
    FFields = ColumnsStringToColumnsFields(FieldsStr);
    InitializeExportQuery();
    GenerateTarget(TargetFilename);
  } catch (const std::exception& e) {
    Log->AddErrorFull(e.what(), "Generating target format", TargetFilename, "", "", "", 0);
  }
}

void TKwTargetMailEmailParts::CopyScratchDatabase() {
  std::error_code ec;
  fs::create_directories(fs::path(TargetFilename).parent_path(), ec);
  fs::copy_file(FScratchFilename, TargetFilename, fs::copy_options::overwrite_existing, ec);
  if (ec) Log->AddErrorFull(ec.message(), "Copying the table to " + TargetFilename, TargetFilename, "", "", "", 0);
}

// ---------------------------------------------------------------- export

void TKwTargetMailEmailParts::InitializeExportQuery() {
  FQueryColumns.clear();
  std::string names;
  for (TColumnField field : FFields) {
    const std::string name = GetColumnFieldName(field);
    names += (names.empty() ? "" : ", ") + name;
    FQueryColumns.push_back({name, QueryColumnKind(field)});
  }
  FQuerySql = "Select " + names + " from MSG;";
}

void TKwTargetMailEmailParts::GenerateTarget(const std::string& fileName) {
  if (TargetFormat == ffColCsv) {
    EnsureParentFolder(fileName);
    FTempDB->GenerateCSVFile(fileName, false);
  } else if (TargetFormat == ffColAccess) {
    std::string error;
    if (!FTempDB->GenerateAccessDb(fileName, FieldsStr, error)) throw std::runtime_error(error);
  } else if (HasTableWriter(TargetFormat)) {
    EnsureParentFolder(fileName);
    WriteQueryTable(fileName, TargetFormat == ffColTxt);
  }
}

void TKwTargetMailEmailParts::WriteQueryTable(const std::string& fileName, bool withoutBodies) {
  std::vector<TKwTableColumn> columns = FQueryColumns;
  std::string sql = FQuerySql;
  if (withoutBodies) {
    columns.clear();
    std::string names;
    for (TColumnField field : FFields) {
      if (IsBodyField(field)) continue;
      names += (names.empty() ? "" : ", ") + GetColumnFieldName(field);
      columns.push_back({GetColumnFieldName(field), QueryColumnKind(field)});
    }
    sql = "Select " + names + " from MSG;";
  }
  if (columns.empty()) throw std::runtime_error("No fields to export were chosen");

  TKwSqliteDatabase connection;
  if (!connection.Open(FTempDB->FileName(), TKwSqliteDatabase::omReadOnly))
    throw std::runtime_error("Opening " + FTempDB->FileName() + ": " + connection.LastError());
  TKwSqliteTableRows rows(connection, sql, std::move(columns));
  TKwTableWriteOptions options;
  options.Delimiter = FieldDelimiter;
  options.OtherDelimiter = OtherFieldDelimiter;
  TKwTableWriteResult result = WriteTableFile(TargetFormat, fileName, rows, options);
  for (const std::string& warning : result.Warnings) Log->Notes.push_back(warning);
}
