#include "uKwSourceImap.h"

#include <charconv>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwHeaders.h"
#include "uKwImapClient.h"
#include "uKwMailMessage.h"
#include "uKwSourceRemote.h"
#include "uKwTargetBase.h"

namespace {

constexpr size_t kBatchSize = 200;  // UIDs per UID FETCH, and messages held at once
constexpr char kHeaderItems[] = "(UID FLAGS RFC822.SIZE BODY.PEEK[HEADER])";
constexpr char kBodyItems[] = "(UID BODY.PEEK[])";

bool HasFlag(const TKwImapMailbox& mailbox, std::string_view flag) {
  for (const std::string& f : mailbox.Flags)
    if (f.size() == flag.size() && std::equal(f.begin(), f.end(), flag.begin(), [](char a, char b) {
          return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
        }))
      return true;
  return false;
}

TMailFolderType FolderType(const TKwImapMailbox& mailbox, std::string_view path) {
  if (path.size() == 5 && (path == "INBOX" || path == "Inbox" || path == "inbox")) return mftInbox;
  if (HasFlag(mailbox, "\\Sent")) return mftSentItems;
  if (HasFlag(mailbox, "\\Trash")) return mftDeleted;
  if (HasFlag(mailbox, "\\Drafts")) return mftDrafts;
  if (HasFlag(mailbox, "\\Junk")) return mftJunk;
  return mftNormal;
}

std::string ItemId(uint32_t uidValidity, uint32_t uid) {
  return std::to_string(uidValidity) + ":" + std::to_string(uid);
}

}  // namespace

TKwSourceMailIMAP::TKwSourceMailIMAP()
    : FClient(std::make_unique<TKwImapClient>()), FHeaders(std::make_unique<TKwHeaders>()) {}

TKwSourceMailIMAP::~TKwSourceMailIMAP() = default;

void TKwSourceMailIMAP::Preset(const char* server, TImapAuthMechanism mechanism) {
  TKwRemoteOptions& remote = *SourceOptions->Remote;
  remote.Server = server;
  remote.Port = 993;
  remote.UseSSL = true;
  remote.ImapAuthMechanism = mechanism;
}

void TKwSourceMailIMAP::Execute() {
  FConnectError.clear();
  TKwSourceMailBase::Execute();
  ExplainConnectFailure(*Log, FConnectError);
}

bool TKwSourceMailIMAP::ConnectClient() {
  if (FClient->IsConnected()) return true;
  TKwConnectionSettings settings;
  if (!RemoteConnectionSettings(*this, TKwMailProtocol::Imap, settings, FConnectError)) return false;
  settings.TimeoutSeconds = kTimeoutSeconds;
  return FClient->Connect(settings, FConnectError);
}

bool TKwSourceMailIMAP::LoadFolders() {
  TKwSourceMailBase::LoadFolders();
  std::vector<TKwImapMailbox> mailboxes;
  if (!ConnectClient()) return true;  // no folder without a server
  if (!FClient->List(mailboxes)) {
    FConnectError = FClient->LastError();
    return true;
  }
  // Nodes by the server's name of their path; a parent the server does not list is
  // made here and is a parent only.
  std::map<std::string, TKwFolderNode*> nodes;
  for (const TKwImapMailbox& mailbox : mailboxes) {
    TKwFolderNode* parent = nullptr;
    size_t start = 0;
    while (true) {
      const size_t end = mailbox.Delimiter ? mailbox.Name.find(mailbox.Delimiter, start) : std::string::npos;
      const std::string path = mailbox.Name.substr(0, end);
      TKwFolderNode*& node = nodes[path];
      if (!node) {
        node = &SourceFolders->AddChild(parent);
        node->Info().FolderName = DecodeModifiedUtf7(mailbox.Name.substr(start, end - start));
      }
      if (end == std::string::npos) {
        TKwFolderInfo& info = node->Info();
        if (mailbox.IsSelectable) info.EntryIdW = mailbox.Name;
        info.MailFolderType = FolderType(mailbox, mailbox.Name);
        break;
      }
      parent = node;
      start = end + 1;
    }
  }
  SourceFolders->BuildFoldersPath(true);
  return true;
}

bool TKwSourceMailIMAP::InitializeExtraction() {
  if (!TKwSourceMailBase::InitializeExtraction()) return false;
  ConnectClient();
  return true;  // a failed connection is the loop's "Couldn't connect to source"
}

bool TKwSourceMailIMAP::Connect() { return FClient->IsConnected(); }

void TKwSourceMailIMAP::Disconnect() { FClient->Disconnect(); }

void TKwSourceMailIMAP::FinalizeExtraction() {
  TKwSourceMailBase::FinalizeExtraction();
  FClient->Disconnect();
  FFetched.clear();
}

void TKwSourceMailIMAP::ProcessMailFolder(TKwFolderNode& folder) {
  TKwSourceMailBase::ProcessMailFolder(folder);
  TKwFolderInfo& info = folder.Info();
  if (!FClient->IsConnected() || info.EntryIdW.empty()) return;  // \Noselect: a parent only
  const bool deleting = FCurrentProcessType != fptLoadHeaders && IsDeleteAsked();
  TKwImapSelected selected;
  std::vector<uint32_t> uids;
  if (!FClient->Select(info.EntryIdW, !deleting, selected) ||
      !FClient->UidSearch(Filters->Mail->BuildImapSearch(), uids)) {
    Log->AddErrorFull(FClient->LastError(), "Opening the folder", "", info.GetFolderName(), "", "", 0);
    return;
  }
  FUidValidity = selected.UidValidity;
  const std::string validity = std::to_string(FUidValidity);
  if (!info.FolderIdStr.empty() && info.FolderIdStr != validity)
    Log->Notes.push_back("The server renumbered the folder " + info.FolderPath + " (UIDVALIDITY " + info.FolderIdStr +
                         " is now " + validity + "); it is walked again");
  info.FolderIdStr = validity;

  const int count = static_cast<int>(uids.size());
  info.MessagesCount = count;
  TriggerFolderEvent(info.GetFolderName(), count);
  Log->FoldersList.push_back(info.FolderPath + "=" + std::to_string(count));
  TKwFilterRangeOptions& range = *Filters->Range;
  TKwFilterSampling& sampling = *Filters->Sampling;
  if (sampling.Enabled) sampling.InitializeRandomList(count);

  FToDelete.clear();
  std::vector<uint32_t> batch;
  size_t batchStart = 0;
  for (int i = 0; i < count && !IsAborted(); ++i) {
    if (range.Enabled && !range.InsideLimit(i + 1, count)) break;
    if ((range.Enabled && !range.Check(i + 1, count)) || !sampling.Check(i + 1)) {
      TriggerProgressEvent(i, info.GetFolderName(), std::to_string(count), rsProcessingMessages);
      continue;
    }
    if (batch.empty()) batchStart = static_cast<size_t>(i);
    batch.push_back(uids[static_cast<size_t>(i)]);
    if (batch.size() == kBatchSize) {
      ProcessBatch(batch, batchStart, count, folder);
      batch.clear();
      if (!FClient->IsConnected()) return;  // the reason is in the log already
    }
  }
  if (!batch.empty() && !IsAborted()) ProcessBatch(batch, batchStart, count, folder);
  if (deleting && !FToDelete.empty() && !FClient->DeleteUids(FToDelete))
    Log->AddErrorFull(FClient->LastError(), "Deleting processed messages", "", info.GetFolderName(), "", "", 0);
  FToDelete.clear();
}

void TKwSourceMailIMAP::ProcessBatch(const std::vector<uint32_t>& uids, size_t firstIndex, int count,
                                     TKwFolderNode& folder) {
  std::map<uint32_t, TKwImapFetch> headers;
  if (!FClient->UidFetch(uids, kHeaderItems, [&](TKwImapFetch& fetch) {
        if (fetch.HasHeader) std::swap(headers[fetch.Uid], fetch);
      })) {
    Log->AddErrorFull(FClient->LastError(), "Reading message headers", "", folder.Info().GetFolderName(), "", "", 0);
    if (!FClient->IsConnected()) return;
  }
  const TKwFilterMailOptions& mail = *Filters->Mail;
  std::vector<std::pair<uint32_t, TKwMailItem>> items;
  std::vector<uint32_t> wanted;
  for (size_t i = 0; i < uids.size(); ++i) {
    TKwMailItem item;
    item.Index = static_cast<int>(firstIndex + i);
    item.Count = count;
    item.ItemId = ItemId(FUidValidity, uids[i]);
    auto it = headers.find(uids[i]);
    if (it != headers.end()) {
      // The server searched already; a message read since then is still not taken as unread.
      if (mail.Enabled && mail.NotReadFlag && it->second.IsSeen) {
        TriggerProgressEvent(item.Index, folder.Info().GetFolderName(), std::to_string(count), rsProcessingMessages);
        continue;
      }
      FHeaders->LoadHeadersFromString(it->second.Header);
      FillMailItemFromHeaders(*FHeaders, item);
      item.Size = it->second.Size;
    }
    const bool logged = SourceOptions->CopyToSourceLog && !item.UniqueId.empty() && IsInSourceLog(item.UniqueId);
    if (!logged && FCurrentProcessType != fptLoadHeaders) wanted.push_back(uids[i]);
    items.emplace_back(uids[i], std::move(item));
  }
  FFetched.clear();
  FClient->UidFetch(wanted, kBodyItems, [&](TKwImapFetch& fetch) {
    if (fetch.HasBody) FFetched[fetch.Uid].swap(fetch.Body);
  });
  for (const auto& entry : items) {
    if (IsAborted()) break;
    ProcessMailItem(entry.second, folder);
  }
  FFetched.clear();
}

bool TKwSourceMailIMAP::DoLoadMailItem(const TKwMailItem& item, TKwMailMessage& message) {
  return DownloadMessage(item.ItemId, message);
}

bool TKwSourceMailIMAP::DeleteMessage(const TKwMailItem& item, std::string& error) {
  const std::string prefix = std::to_string(FUidValidity) + ":";
  if (item.ItemId.rfind(prefix, 0) != 0) {
    error = "The message " + item.ItemId + " is not in the selected folder";
    return false;
  }
  FToDelete.push_back(static_cast<uint32_t>(std::stoul(item.ItemId.substr(prefix.size()))));
  return true;
}

bool TKwSourceMailIMAP::DownloadMessage(const std::string& id, TKwMailMessage& message) {
  const size_t colon = id.find(':');
  uint32_t validity = 0, uid = 0;
  const char* end = id.data() + id.size();
  if (colon == std::string::npos || std::from_chars(id.data(), id.data() + colon, validity).ec != std::errc() ||
      std::from_chars(id.data() + colon + 1, end, uid).ec != std::errc() || uid == 0) {
    message.LastError = "No message " + id;
    return false;
  }
  if (validity != FUidValidity) {
    message.LastError = "The folder was renumbered since message " + id + " was listed";
    return false;
  }
  std::string text;
  if (auto it = FFetched.find(uid); it != FFetched.end()) {
    text.swap(it->second);
    FFetched.erase(it);
  } else {
    bool found = false;
    const bool ok = FClient->UidFetch({uid}, kBodyItems, [&](TKwImapFetch& fetch) {
      if (fetch.Uid == uid && fetch.HasBody) found = true, text.swap(fetch.Body);
    });
    if (!ok || !found) {
      message.LastError = ok ? "The server no longer has message " + id : FClient->LastError();
      return false;
    }
  }
  if (!message.LoadMIMEFromString(std::move(text))) {
    if (message.LastError.empty()) message.LastError = "The server's text of message " + id + " is not a message";
    return false;
  }
  return true;
}
