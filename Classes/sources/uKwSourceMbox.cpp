#include "uKwSourceMbox.h"

#include <charconv>
#include <filesystem>
#include <mutex>
#include <unordered_map>
#include <vector>

#include <fmt/format.h>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwMailMessage.h"
#include "uKwMbox.h"
#include "uKwMessagePrefetch.h"

namespace {

// Cutters for the decoding workers, so that messages are cut out of the file beside the
// run loop instead of on it; each cutter serves one thread at a time.
class TCutterPool {
 public:
  explicit TCutterPool(const TKwMbox& mbox) : FMbox(mbox) {
    if (std::unique_ptr<TKwMboxCutter> first = mbox.NewCutter()) FIdle.push_back(std::move(first));
    FWorks = !FIdle.empty();
  }
  // False when the file cannot be opened again: the loop then cuts the messages itself.
  bool Works() const { return FWorks; }

  std::string MessageText(int64_t index, size_t& headerLength, std::string& error) {
    std::unique_ptr<TKwMboxCutter> cutter = Take();
    if (!cutter) {
      error = fmt::format("Message {} cannot be read: the mailbox file cannot be opened again", index + 1);
      return {};
    }
    std::string text = cutter->MessageText(index, headerLength, error);
    std::lock_guard lock(FMutex);
    FIdle.push_back(std::move(cutter));
    return text;
  }

 private:
  std::unique_ptr<TKwMboxCutter> Take() {
    {
      std::lock_guard lock(FMutex);
      if (!FIdle.empty()) {
        std::unique_ptr<TKwMboxCutter> cutter = std::move(FIdle.back());
        FIdle.pop_back();
        return cutter;
      }
    }
    return FMbox.NewCutter();
  }

  const TKwMbox& FMbox;
  std::mutex FMutex;
  std::vector<std::unique_ptr<TKwMboxCutter>> FIdle;
  bool FWorks = false;
};

}  // namespace

TKwSourceMailMbox::TKwSourceMailMbox() : FMbox(std::make_unique<TKwMbox>(mbfMboxrd)) {}

TKwSourceMailMbox::~TKwSourceMailMbox() = default;

bool TKwSourceMailMbox::LoadFolders() {
  TKwFolderInfo& info = SourceFolders->AddChild(nullptr).Info();
  info.FolderName = "Mbox";
  info.FolderFile = SourceOptions->Filename;
  SourceFolders->BuildFoldersPath(true);
  return true;
}

// A file that is missing, holds no message though it is not empty, or cannot be indexed
// to its end is an error of the source: a run over it must not look like a clean one.
bool TKwSourceMailMbox::OpenFolderFile(const TKwFolderInfo& info) {
  const std::string& file = info.FolderFile;
  std::error_code ec;
  if (!std::filesystem::exists(file, ec)) {
    Log->AddErrorFull("Source file not found: " + file, "File open error", "", info.GetFolderName(), "", "", 0);
    return false;
  }
  std::string errorText;
  if (!FMbox->LoadFromFile(file, mbmRead, errorText)) {
    Log->AddErrorFull(errorText, "File open error", "", info.GetFolderName(), "", "", 0);
    return false;
  }
  if (const std::string indexing = FMbox->TakeErrorText(); !indexing.empty())
    Log->AddErrorFull(indexing, "Indexing " + file, "", info.GetFolderName(), "", "", 0);
  const auto size = std::filesystem::file_size(file, ec);
  if (FMbox->Count() == 0 && !ec && size > 0)
    Log->AddErrorFull("No message found in " + file + ": it is not an mbox file", "File open error", "",
                      info.GetFolderName(), "", "", 0);
  return true;
}

void TKwSourceMailMbox::ProcessMailFolder(TKwFolderNode& folder) {
  TKwSourceMailBase::ProcessMailFolder(folder);
  TKwFolderInfo& info = folder.Info();
  if (!OpenFolderFile(info)) return;
  const int64_t count = FMbox->Count();
  const auto total = static_cast<int32_t>(count);

  TCutterPool cutters(*FMbox);  // outlives the workers that use it
  TKwMessagePrefetcher prefetcher(*FMessage);
  FPrefetcher = &prefetcher;
  // A target's exception leaves through here; nothing may point at the prefetcher then.
  const std::unique_ptr<TKwMessagePrefetcher*, void (*)(TKwMessagePrefetcher**)> forget(
      &FPrefetcher, [](TKwMessagePrefetcher** pointer) { *pointer = nullptr; });
  int64_t nextToSubmit = 0;
  // Every message the walk below will ask for, in its order, as far as there is room.
  auto submitAhead = [&] {
    for (; nextToSubmit < count && prefetcher.HasRoom(); ++nextToSubmit) {
      const auto number = static_cast<int32_t>(nextToSubmit + 1);
      if (IsPastRange(number, total)) {
        nextToSubmit = count;
        break;
      }
      if (!IsItemSelected(number, total)) continue;
      if (cutters.Works()) {
        prefetcher.SubmitCut(nextToSubmit, FMbox->MessageSize(nextToSubmit),
                             [&cutters, index = nextToSubmit](size_t& headerLength, std::string& error) {
                               return cutters.MessageText(index, headerLength, error);
                             });
        continue;
      }
      size_t headerLength = 0;
      std::string text = FMbox->GetMessageText(nextToSubmit, headerLength);
      if (std::string cut = FMbox->TakeErrorText(); !cut.empty())
        Log->AddErrorFull(cut, "Reading message " + std::to_string(number), "", info.GetFolderName(), "", "", 0);
      prefetcher.Submit(nextToSubmit, std::move(text), headerLength);
    }
  };

  std::unordered_map<std::string, int> firstIndexOfId;
  WalkFolderItems(folder, total, info.FolderPath, [&](int32_t number) {
    const int64_t i = number - 1;
    submitAhead();
    TKwPrefetchedItem fetched = prefetcher.TakeNext();
    if (!fetched.CutError.empty())
      Log->AddErrorFull(fetched.CutError, "Reading message " + std::to_string(number), "", info.GetFolderName(), "", "",
                        0);
    FCurrentMessage = i;
    FDecoded = std::move(fetched.Message);
    FLoadedCurrent = false;
    TKwMailItem item;
    item.Index = number;
    item.Count = total;
    item.ItemId = std::to_string(i);
    item.UniqueId = std::move(fetched.UniqueId);
    item.From = std::move(fetched.FromAddress);
    item.To = std::move(fetched.Recipients);
    item.Subject = std::move(fetched.Subject);
    item.LocalDate = GmtToLocal(fetched.GmtDate);
    // A message whose id an earlier one of the file has is handed on once.
    if (auto [first, isNew] = firstIndexOfId.try_emplace(item.UniqueId, number); isNew) {
      ProcessMailItem(item, folder);
    } else {
      SkipDuplicateItem(item, first->second);
    }
    prefetcher.SetLoading(FLoadedCurrent);
    prefetcher.Recycle(std::move(FDecoded));
  });
  FMbox->Clear();
}

std::unique_ptr<TKwMailMessage> TKwSourceMailMbox::TakeDecodedMessage(const TKwMailItem&) {
  if (FDecoded) FLoadedCurrent = true;
  return std::move(FDecoded);
}

void TKwSourceMailMbox::RecycleMessage(std::unique_ptr<TKwMailMessage> message) {
  if (FPrefetcher) FPrefetcher->Recycle(std::move(message));
}

bool TKwSourceMailMbox::DoLoadMailItem(const TKwMailItem&, TKwMailMessage& message) {
  FLoadedCurrent = true;
  size_t headerLength = 0;
  const bool loaded =
      FCurrentMessage >= 0 && message.LoadMIMEFromString(FMbox->GetMessageText(FCurrentMessage, headerLength));
  FMbox->TakeErrorText();  // the same cut was reported when the message was submitted
  return loaded;
}

bool TKwSourceMailMbox::DownloadMessage(const std::string& id, TKwMailMessage& message) {
  int64_t index = -1;
  auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), index);
  if (error != std::errc() || index < 0 || index >= FMbox->Count()) return false;
  size_t headerLength = 0;
  return message.LoadMIMEFromString(FMbox->GetMessageText(index, headerLength));
}
