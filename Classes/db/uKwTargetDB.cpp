#include "uKwTargetDB.h"

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwDbSession.h"
#include "uKwHeaders.h"
#include "uKwMailMessage.h"
#include "uKwParameters.h"
#include "uKwVariables.h"

namespace {

constexpr char kKeyColumn[] = "msg_id";

// The value of a variable for its column: for the two date parts the message's own dates,
// so that no locale text has to be read back; the text otherwise.
TKwDbValue ValueOf(const TKwVariable& variable, bool isPart, const TKwMailMessage& message) {
  TKwDbValue value{variable.Value, 0};
  if (!isPart) return value;
  if (variable.ColumnField == cfSubmitDate && message.Headers->SubmitDate.GmtDate != 0)
    value.Date = GmtToLocal(message.Headers->SubmitDate.GmtDate);
  else if (variable.ColumnField == cfDeliveryDate && message.Headers->DeliveryDate.GmtDate != 0)
    value.Date = GmtToLocal(message.Headers->DeliveryDate.GmtDate);
  return value;
}

}  // namespace

TKwTargetDB::TKwTargetDB() = default;
TKwTargetDB::~TKwTargetDB() = default;

void TKwTargetDB::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.String("ConnectionString", ConnectionString);
  p.Boolean("CreateTable", CreateTable, true);
  p.String("SQLCreate", SQLCreate);
  p.String("TableName", TableName);
}

void TKwTargetDB::Assign(const TKwPersistent& source) {
  TKwTargetMailBase::Assign(source);
  if (const auto* other = dynamic_cast<const TKwTargetDB*>(&source)) {
    CreateTable = other->CreateTable;
    ConnectionString = other->ConnectionString;
    SQLCreate = other->SQLCreate;
    TableName = other->TableName;
  }
}

// Without a connection the target takes no message: its one error says why, and the
// source's loop sees it and keeps the messages for the next run.
void TKwTargetDB::InitializeExtractProcess(TKwFoldersTree& folders) {
  TKwTargetMailBase::InitializeExtractProcess(folders);
  FSession = std::make_unique<TKwDbSession>();
  FTableColumns.clear();
  FPreparedColumns.clear();
  try {
    FSession->Open(ConnectionString);
    FTable = FSession->FindTable(TableName);
    if (CreateTable && FTable.empty()) {
      FSession->RunScript(SQLCreate);
      FTable = FSession->FindTable(TableName);
    }
    // Servers whose table names are case-sensitive know the table only by its own name.
    if (FTable.empty()) FTable = TableName;
    for (const std::string& column : FSession->TableColumns(FTable))
      FTableColumns.insert(TKwDbSession::UpperName(column));
  } catch (const std::exception& e) {
    Log->AddErrorFull(e.what(), "Connecting to " + TKwDbSession::MaskPasswords(ConnectionString), Caption, "", "",
                      "", 0);
    FSession.reset();
    FRunFailed = true;
  }
}

// Exported EmailParts stand in a row only where the table has a column of their name; the
// data parser's exported Fields always do, so that a value without a column is the
// database's error.
std::vector<const TKwVariable*> TKwTargetDB::CollectRow() {
  std::vector<const TKwVariable*> row;
  if (EmailParts)
    for (int i = 0; i < EmailParts->Count(); ++i)
      if (EmailParts->Items(i).Export && FTableColumns.count(TKwDbSession::UpperName(EmailParts->Items(i).Name)))
        row.push_back(&EmailParts->Items(i));
  FPartsInRow = row.size();
  if (Fields)
    for (int i = 0; i < Fields->Count(); ++i)
      if (Fields->Items(i).Export) row.push_back(&Fields->Items(i));
  return row;
}

// The passes above may define their variables only as messages come, so the statements
// are prepared at the first message and again whenever the row's columns change.
void TKwTargetDB::PrepareFor(const std::vector<const TKwVariable*>& row) {
  std::vector<std::string> columns;
  for (const TKwVariable* variable : row) columns.push_back(variable->Name);
  if (!FPreparedColumns.empty() && columns == FPreparedColumns) return;
  FSession->PrepareRows(FTable, kKeyColumn, columns);
  FPreparedColumns = std::move(columns);
}

void TKwTargetDB::ProcessMessage(TKwMailMessage& message) {
  if (!FSession) return;
  TKwTargetMailBase::ProcessMessage(message);
  const TKwHeaders& headers = *FMailMessage->Headers;
  const std::vector<const TKwVariable*> row = CollectRow();
  std::vector<TKwDbValue> values;
  values.reserve(row.size());
  for (size_t i = 0; i < row.size(); ++i) values.push_back(ValueOf(*row[i], i < FPartsInRow, *FMailMessage));
  const TDateTime localDate = GmtToLocal(headers.SubmitDate.GmtDate);
  try {
    PrepareFor(row);
    if (FSession->WriteRow(headers.GetUniqueId(), values)) Log->IncSaved();
    else Log->IncOverwritten();
    FSaveStatus = ssProcessed;
  } catch (const std::exception& e) {
    FSaveStatus = ssError;
    FPreparedColumns.clear();
    Log->AddErrorFull(e.what(), "Saving row", Caption, message.FolderName, headers.From.Address, headers.Subject,
                      localDate);
  }
  if (GlobalOptions && GlobalOptions->DetailedLog)
    Log->AddMessageStatusFull(FSaveStatus, headers.From.Address, headers.Subject, localDate);
}

void TKwTargetDB::FinalizeExtractProcess() {
  TKwTargetMailBase::FinalizeExtractProcess();
  FSession.reset();
}
