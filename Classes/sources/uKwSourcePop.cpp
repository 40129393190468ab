#include "uKwSourcePop.h"

#include <charconv>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwHeaders.h"
#include "uKwMailMessage.h"
#include "uKwPop3Client.h"
#include "uKwSourceRemote.h"

namespace {
constexpr size_t kBatchSize = 100;  // messages fetched ahead of the loop, at most
}

TKwSourceMailPOP::TKwSourceMailPOP()
    : FClient(std::make_unique<TKwPop3Client>()), FHeaders(std::make_unique<TKwHeaders>()) {}

TKwSourceMailPOP::~TKwSourceMailPOP() = default;

void TKwSourceMailPOP::Execute() {
  FConnectError.clear();
  TKwSourceMailBase::Execute();
  ExplainConnectFailure(*Log, FConnectError);
}

// Folder loading only tests the account: no firewall and no time-out of the run apply.
bool TKwSourceMailPOP::ConnectClient(bool forExtraction) {
  TKwConnectionSettings settings;
  if (!RemoteConnectionSettings(*this, TKwMailProtocol::Pop3, settings, FConnectError)) return false;
  if (!forExtraction) settings.Proxy = {};
  settings.TimeoutSeconds = kTimeoutSeconds;
  return FClient->Connect(settings, FConnectError);
}

bool TKwSourceMailPOP::LoadFolders() {
  TKwSourceMailBase::LoadFolders();
  if (!FClient->IsConnected() && !ConnectClient(false)) return true;  // no folder without a server
  FClient->Disconnect();
  TKwFolderNode& root = SourceFolders->AddChild(nullptr);
  root.Info().FolderName = "POP";
  TKwFolderNode& inbox = SourceFolders->AddChild(&root);
  inbox.Info().FolderName = "Inbox";
  inbox.Info().MailFolderType = mftInbox;
  SourceFolders->BuildFoldersPath(true);
  return true;
}

bool TKwSourceMailPOP::InitializeExtraction() {
  if (!TKwSourceMailBase::InitializeExtraction()) return false;
  if (!FClient->IsConnected()) ConnectClient(true);
  return true;  // a failed connection is the loop's "Couldn't connect to source"
}

bool TKwSourceMailPOP::Connect() { return FClient->IsConnected(); }

void TKwSourceMailPOP::Disconnect() { FClient->Disconnect(); }

void TKwSourceMailPOP::FinalizeExtraction() {
  TKwSourceMailBase::FinalizeExtraction();
  FClient->Disconnect();
  FFetched.clear();
  FSizes.clear();
}

void TKwSourceMailPOP::ProcessMailFolder(TKwFolderNode& folder) {
  TKwSourceMailBase::ProcessMailFolder(folder);
  if (!FClient->IsConnected()) return;
  // Both folders stand for the one mailbox; a run without a folder selection walks it once.
  if (FProcessAllFolders && folder.HasChildren()) return;
  TKwFolderInfo& info = folder.Info();
  int count = 0;
  int64_t total = 0;
  std::vector<TKwPop3Listing> sizes;
  if (!FClient->Stat(count, total) || !FClient->List(sizes)) {
    Log->AddErrorFull(FClient->LastError(), "Reading the mailbox", "", info.GetFolderName(), "", "", 0);
    return;
  }
  FSizes.clear();
  for (const TKwPop3Listing& entry : sizes) {
    int64_t size = 0;
    std::from_chars(entry.Value.data(), entry.Value.data() + entry.Value.size(), size);
    FSizes[entry.Number] = size;
  }
  info.MessagesCount = count;
  TriggerFolderEvent(info.GetFolderName(), count);
  Log->FoldersList.push_back(info.FolderPath + "=" + std::to_string(count));
  TKwFilterRangeOptions& range = *Filters->Range;
  TKwFilterSampling& sampling = *Filters->Sampling;
  if (sampling.Enabled) sampling.InitializeRandomList(count);

  std::vector<int> batch;
  for (int i = 0; i <= count - 1 && !IsAborted(); ++i) {
    if (range.Enabled && !range.InsideLimit(i + 1, count)) break;
    if ((range.Enabled && !range.Check(i + 1, count)) || !sampling.Check(i + 1)) {
      TriggerProgressEvent(i, info.GetFolderName(), std::to_string(count), rsProcessingMessages);
      continue;
    }
    batch.push_back(i + 1);
    if (batch.size() == kBatchSize) {
      ProcessBatch(batch, count, folder);
      batch.clear();
      if (!FClient->IsConnected()) return;  // the reason is in the log already
    }
  }
  if (!batch.empty() && !IsAborted()) ProcessBatch(batch, count, folder);
}

void TKwSourceMailPOP::ProcessBatch(const std::vector<int>& numbers, int count, TKwFolderNode& folder) {
  std::map<int, std::string> headers;
  if (!FClient->Top(numbers, 0, [&](int number, std::string& text) { headers[number].swap(text); }) &&
      !FClient->IsConnected()) {
    Log->AddErrorFull(FClient->LastError(), "Reading message headers", "", folder.Info().GetFolderName(), "", "", 0);
    return;
  }
  // The messages the loop will load: neither in the processed-message log nor headers only.
  std::vector<TKwMailItem> items;
  std::vector<int> wanted;
  for (int number : numbers) {
    TKwMailItem item;
    item.Index = number;
    item.Count = count;
    item.ItemId = std::to_string(number);
    item.Size = FSizes.count(number) ? FSizes[number] : 0;
    if (auto it = headers.find(number); it != headers.end()) {
      FHeaders->LoadHeadersFromString(it->second);
      FillMailItemFromHeaders(*FHeaders, item);
    }
    const bool logged = SourceOptions->CopyToSourceLog && !item.UniqueId.empty() && IsInSourceLog(item.UniqueId);
    if (!logged && FCurrentProcessType != fptLoadHeaders) wanted.push_back(number);
    items.push_back(std::move(item));
  }
  FFetched.clear();
  FClient->Top(wanted, kMaxLines, [&](int number, std::string& text) { FFetched[number].swap(text); });
  for (const TKwMailItem& item : items) {
    if (IsAborted()) break;
    Log->IncProcessed();
    FMessageNumber = item.Index;
    ProcessMailItem(item, folder);
  }
  FFetched.clear();
}

bool TKwSourceMailPOP::DoLoadMailItem(const TKwMailItem&, TKwMailMessage& message) {
  return DownloadMessage(std::to_string(FMessageNumber), message);
}

bool TKwSourceMailPOP::DownloadMessage(const std::string& id, TKwMailMessage& message) {
  int number = 0;
  auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
  if (error != std::errc() || end != id.data() + id.size() || number < 1) {
    message.LastError = "No message number " + id;
    return false;
  }
  std::string text;
  if (auto it = FFetched.find(number); it != FFetched.end()) {
    text.swap(it->second);
    FFetched.erase(it);
  } else if (!FClient->Top({number}, kMaxLines, [&](int, std::string& fetched) { text.swap(fetched); })) {
    message.LastError = FClient->LastError();
    return false;
  }
  if (!message.LoadMIMEFromString(std::move(text))) {
    if (message.LastError.empty()) message.LastError = "The server's text of message " + id + " is not a message";
    return false;
  }
  return true;
}

TKwSourceMailYahooPOP::TKwSourceMailYahooPOP() {
  SourceOptions->Remote->Server = kServer;
  SourceOptions->Remote->UseSSL = true;
  SourceOptions->Remote->Port = 995;
}
