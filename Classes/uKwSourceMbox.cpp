#include "uKwSourceMbox.h"

#include <charconv>
#include <filesystem>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwHeaders.h"
#include "uKwMailMessage.h"
#include "uKwMbox.h"

TKwSourceMailMbox::TKwSourceMailMbox() : FMbox(std::make_unique<TKwMbox>(mbfMboxrd)) {}

TKwSourceMailMbox::~TKwSourceMailMbox() = default;

bool TKwSourceMailMbox::LoadFolders() {
  TKwFolderInfo& info = SourceFolders->AddChild(nullptr).Info();
  info.FolderName = "Mbox";
  info.FolderFile = SourceOptions->Filename;
  SourceFolders->BuildFoldersPath(true);
  return true;
}

void TKwSourceMailMbox::ProcessMailFolder(TKwFolderNode& folder) {
  TKwSourceMailBase::ProcessMailFolder(folder);
  TKwFolderInfo& info = folder.Info();
  std::error_code ec;
  if (!std::filesystem::exists(info.FolderFile, ec)) return;
  std::string errorText;
  if (!FMbox->LoadFromFile(info.FolderFile, mbmRead, errorText)) {
    Log->AddErrorFull(errorText, "File open error", "", info.GetFolderName(), "", "", 0);
    return;
  }
  const int64_t count = FMbox->Count();
  info.MessagesCount = static_cast<int32_t>(count);
  TriggerFolderEvent(info.GetFolderName(), static_cast<int>(count));
  Log->FoldersList.push_back(info.FolderPath + "=" + std::to_string(count));
  TKwFilterRangeOptions& range = *Filters->Range;
  TKwFilterSampling& sampling = *Filters->Sampling;
  if (sampling.Enabled) sampling.InitializeRandomList(static_cast<int32_t>(count));

  std::unordered_set<std::string> seen;
  TKwHeaders headers;
  for (int64_t i = 0; i < count && !IsAborted(); ++i) {
    const auto number = static_cast<int32_t>(i + 1);  // the filters count items from 1
    if (range.Enabled && !range.InsideLimit(number, static_cast<int32_t>(count))) break;
    if ((range.Enabled && !range.Check(number, static_cast<int32_t>(count))) || !sampling.Check(number)) {
      TriggerProgressEvent(number, info.GetFolderName(), std::to_string(count), rsProcessingMessages);
      continue;
    }
    FCurrentMessage = i;
    std::string headerText;
    for (const std::string& line : FMbox->GetHeader(i)) headerText.append(line).append("\r\n");
    headers.LoadHeadersFromString(headerText);
    std::string uniqueId = headers.GetUniqueId();
    if (!seen.insert(uniqueId).second) continue;  // a duplicate inside one file counts once
    TKwMailItem item;
    item.Index = static_cast<int>(i + 1);
    item.Count = static_cast<int>(count);
    item.ItemId = std::to_string(i);
    item.UniqueId = uniqueId;
    item.From = headers.From.Address;
    item.Subject = headers.Subject;
    item.LocalDate = GmtToLocal(headers.SubmitDate.GmtDate);
    ProcessMailItem(item, folder);
  }
  FMbox->Clear();
}

std::string TKwSourceMailMbox::MessageText(int64_t index) {
  std::string text;
  for (const std::string& line : FMbox->GetHeader(index)) text.append(line).append("\r\n");
  text.append("\r\n");
  const TStringList& body = FMbox->GetBody(index);
  for (size_t i = 0; i < body.size(); ++i) {
    if (i) text.append("\r\n");
    text.append(body[i]);
  }
  return text;
}

bool TKwSourceMailMbox::DoLoadMailItem(const TKwMailItem&, TKwMailMessage& message) {
  return FCurrentMessage >= 0 && message.LoadMIMEFromString(MessageText(FCurrentMessage));
}

bool TKwSourceMailMbox::DownloadMessage(const std::string& id, TKwMailMessage& message) {
  int64_t index = -1;
  auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), index);
  if (error != std::errc() || index < 0 || index >= FMbox->Count()) return false;
  return message.LoadMIMEFromString(MessageText(index));
}
