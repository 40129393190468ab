#include "uKwSourceMbox.h"

#include <charconv>
#include <filesystem>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwMailMessage.h"
#include "uKwMbox.h"
#include "uKwMessagePrefetch.h"

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

  TKwMessagePrefetcher prefetcher(*FMessage);
  FPrefetcher = &prefetcher;
  // A target's exception leaves through here; nothing may point at the prefetcher then.
  const std::unique_ptr<TKwMessagePrefetcher*, void (*)(TKwMessagePrefetcher**)> forget(
      &FPrefetcher, [](TKwMessagePrefetcher** pointer) { *pointer = nullptr; });
  int64_t nextToSubmit = 0;
  // Every message the loop below will ask for, in its order, as far as there is room.
  auto submitAhead = [&] {
    for (; nextToSubmit < count && prefetcher.HasRoom(); ++nextToSubmit) {
      const auto number = static_cast<int32_t>(nextToSubmit + 1);
      if (range.Enabled && !range.InsideLimit(number, static_cast<int32_t>(count))) {
        nextToSubmit = count;
        break;
      }
      if ((range.Enabled && !range.Check(number, static_cast<int32_t>(count))) || !sampling.Check(number)) continue;
      size_t headerLength = 0;
      std::string text = MessageText(nextToSubmit, headerLength);
      prefetcher.Submit(nextToSubmit, std::move(text), headerLength);
    }
  };

  std::unordered_set<std::string> seen;
  for (int64_t i = 0; i < count && !IsAborted(); ++i) {
    const auto number = static_cast<int32_t>(i + 1);  // the filters count items from 1
    if (range.Enabled && !range.InsideLimit(number, static_cast<int32_t>(count))) break;
    if ((range.Enabled && !range.Check(number, static_cast<int32_t>(count))) || !sampling.Check(number)) {
      TriggerProgressEvent(number, info.GetFolderName(), std::to_string(count), rsProcessingMessages);
      continue;
    }
    submitAhead();
    TKwPrefetchedItem fetched = prefetcher.TakeNext();
    FCurrentMessage = i;
    FDecoded = std::move(fetched.Message);
    FLoadedCurrent = false;
    if (seen.insert(fetched.UniqueId).second) {  // a duplicate inside one file counts once
      TKwMailItem item;
      item.Index = static_cast<int>(i + 1);
      item.Count = static_cast<int>(count);
      item.ItemId = std::to_string(i);
      item.UniqueId = std::move(fetched.UniqueId);
      item.From = std::move(fetched.FromAddress);
      item.Subject = std::move(fetched.Subject);
      item.LocalDate = GmtToLocal(fetched.GmtDate);
      ProcessMailItem(item, folder);
    }
    prefetcher.SetLoading(FLoadedCurrent);
    prefetcher.Recycle(std::move(FDecoded));
  }
  FMbox->Clear();
}

std::unique_ptr<TKwMailMessage> TKwSourceMailMbox::TakeDecodedMessage(const TKwMailItem&) {
  if (FDecoded) FLoadedCurrent = true;
  return std::move(FDecoded);
}

void TKwSourceMailMbox::RecycleMessage(std::unique_ptr<TKwMailMessage> message) {
  if (FPrefetcher) FPrefetcher->Recycle(std::move(message));
}

std::string TKwSourceMailMbox::MessageText(int64_t index, size_t& headerLength) {
  const TStringList& header = FMbox->GetHeader(index);
  const TStringList& body = FMbox->GetBody(index);
  size_t size = 2 + body.size() * 2;
  for (const std::string& line : header) size += line.size() + 2;
  for (const std::string& line : body) size += line.size();
  std::string text;
  text.reserve(size);
  for (const std::string& line : header) text.append(line).append("\r\n");
  headerLength = text.size();
  text.append("\r\n");
  for (size_t i = 0; i < body.size(); ++i) {
    if (i) text.append("\r\n");
    text.append(body[i]);
  }
  return text;
}

bool TKwSourceMailMbox::DoLoadMailItem(const TKwMailItem&, TKwMailMessage& message) {
  FLoadedCurrent = true;
  size_t headerLength = 0;
  return FCurrentMessage >= 0 && message.LoadMIMEFromString(MessageText(FCurrentMessage, headerLength));
}

bool TKwSourceMailMbox::DownloadMessage(const std::string& id, TKwMailMessage& message) {
  int64_t index = -1;
  auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), index);
  if (error != std::errc() || index < 0 || index >= FMbox->Count()) return false;
  size_t headerLength = 0;
  return message.LoadMIMEFromString(MessageText(index, headerLength));
}
