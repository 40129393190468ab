#include "uKwTargetIMAP.h"

#include <cctype>
#include <cstdio>

#include "uKwActionLog.h"
#include "uKwDateTime.h"
#include "uKwFoldersTree.h"
#include "uKwHeaders.h"
#include "uKwImapClient.h"
#include "uKwImapResponse.h"
#include "uKwMailMessage.h"
#include "uKwMessageOutput.h"
#include "uKwMessageOutputText.h"
#include "uKwOutgoingMail.h"
#include "uKwSourceRemote.h"

namespace {

constexpr char kConnectFailure[] = "Couldn't connect to the IMAP server";
constexpr char kConnectionLost[] = "The connection to the IMAP server was lost";
constexpr int kImapsPort = 993;

std::string Trim(const std::string& text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// "Archive/2019" as {"Archive", "2019"}; "/" and "\" both separate.
std::vector<std::string> SplitPath(const std::string& path) {
  std::vector<std::string> names;
  std::string name;
  for (char c : path + "/") {
    if (c != '/' && c != '\\') {
      name += c;
    } else if (!Trim(name).empty()) {
      names.push_back(Trim(name));
      name.clear();
    } else {
      name.clear();
    }
  }
  return names;
}

// An empty folder name cannot be a mailbox.
std::string MailboxName(const std::string& name) {
  const std::string trimmed = Trim(name);
  return trimmed.empty() ? "NoName" : trimmed;
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string DuplicateKey(const TKwHeaders& headers) {
  return Lower(Trim(headers.MessageID)) + "\n" + Lower(headers.From.Address);
}

}  // namespace

std::string DateTimeToImapTime(TDateTime gmt) {
  static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const TKwDateParts p = DecodeDateTime(gmt);
  char text[40];
  std::snprintf(text, sizeof text, "%02d-%s-%04d %02d:%02d:%02d +0000", p.Day, kMonths[(p.Month + 11) % 12], p.Year,
                p.Hour, p.Minute, p.Second);
  return text;
}

TKwTargetMailIMAP::TKwTargetMailIMAP() = default;

TKwTargetMailIMAP::~TKwTargetMailIMAP() = default;

void TKwTargetMailIMAP::Preset(const std::string& server) {
  Remote->Server = server;
  Remote->Port = kImapsPort;
  Remote->UseSSL = true;
}

void TKwTargetMailIMAP::Publish(TKwPublisher& p) {
  TKwTargetMailBase::Publish(p);
  p.Boolean("IncludeImagesInTarget", IncludeImagesInTarget);
  p.Object("Remote", *Remote);
  p.Enum("SubFolderStructure", SubFolderStructure);
  p.String("TargetRootFolder", TargetRootFolder);
}

int TKwTargetMailIMAP::SubtreeErrorsCount() const { return TKwTargetMailBase::SubtreeErrorsCount() + FUndelivered; }

void TKwTargetMailIMAP::GiveUp(const std::string& error, const std::string& reason) {
  FGaveUp = true;
  if (!IsAborted()) Log->AddErrorFull(error, reason, Remote->Server, "", "", "", 0);
}

bool TKwTargetMailIMAP::Connect() {
  FClient = std::make_unique<TKwImapClient>();
  FMailboxes.clear();
  FSelected.clear();
  FKnown.clear();
  TKwConnectionSettings settings;
  std::string error;
  std::vector<TKwImapMailbox> mailboxes;
  if (!RemoteConnectionSettings(*Remote, GlobalOptions, Aborted, TKwMailProtocol::Imap, settings, error) ||
      !FClient->Connect(settings, error))
    return GiveUp(kConnectFailure, error), false;
  if (!FClient->List(mailboxes)) return GiveUp(kConnectFailure, FClient->LastError()), false;
  for (const TKwImapMailbox& mailbox : mailboxes) {
    if (mailbox.Delimiter) FDelimiter = mailbox.Delimiter;
    FMailboxes.insert(mailbox.Name);
  }
  return true;
}

void TKwTargetMailIMAP::InitializeExtractProcess(TKwFoldersTree& folders) {
  TKwTargetMailBase::InitializeExtractProcess(folders);
  FGaveUp = false;
  FUndelivered = 0;
  FDelimiter = '/';
  Connect();
}

std::vector<std::string> TKwTargetMailIMAP::MailboxPath(const TKwMailMessage& message) const {
  std::vector<std::string> path = SplitPath(TargetRootFolder);
  const TKwEmailAddress& from = message.Headers->From;
  auto addFolders = [&](bool parentsOnly) {
    std::vector<std::string> folders = SplitPath(FFolderInfo->FolderPath);
    if (parentsOnly && !folders.empty()) folders.pop_back();
    if (FFolderInfo->FolderPath.empty() && !parentsOnly) folders.push_back("");
    path.insert(path.end(), folders.begin(), folders.end());
  };
  switch (SubFolderStructure) {
    case sfsDontCreateSubFolders: break;
    case sfsCreateFromAddressPart: path.push_back(from.Address); break;
    case sfsCreateFromDomainPart: path.push_back(from.Domain()); break;
    case sfsFromDomainFromAddress:
      path.push_back(from.Domain());
      path.push_back(from.Address);
      break;
    case sfsOnlyCreateParents: addFolders(true); break;
    default: addFolders(false); break;
  }
  for (std::string& name : path) name = MailboxName(name);
  if (path.empty()) path.push_back("INBOX");
  return path;
}

std::string TKwTargetMailIMAP::OpenMailbox(const std::vector<std::string>& path) {
  std::string name;
  for (const std::string& part : path) {
    if (!name.empty()) name += FDelimiter;
    name += EncodeModifiedUtf7(part);
    if (FMailboxes.count(name) || name == "INBOX") continue;
    // Another client may have made it since the listing: that is no error.
    if (!FClient->Create(name) && FClient->LastError().find("[ALREADYEXISTS]") == std::string::npos) {
      Fail(FClient->LastError(), "Creating mailbox " + name);
      return "";
    }
    FMailboxes.insert(name);
  }
  if (name == FSelected) return name;
  TKwImapSelected selected;
  if (!FClient->Select(name, false, selected) || !LoadKnownMessages(name)) {
    Fail(FClient->LastError(), "Opening mailbox " + name);
    return "";
  }
  return FSelected = name;
}

bool TKwTargetMailIMAP::LoadKnownMessages(const std::string& mailbox) {
  if (FKnown.count(mailbox)) return true;
  std::set<std::string> known;
  std::vector<uint32_t> uids;
  TKwHeaders headers;
  const bool read = FClient->UidSearch("", uids) &&
                    FClient->UidFetch(uids, "(UID BODY.PEEK[HEADER])", [&](TKwImapFetch& fetch) {
                      headers.LoadHeadersFromString(fetch.Header);
                      if (!Trim(headers.MessageID).empty()) known.insert(DuplicateKey(headers));
                    });
  if (read) FKnown[mailbox] = std::move(known);
  return read;
}

// Same Message-ID from the same sender: the rule that a second run over the same source
// uploads nothing. Without a Message-ID, the server is asked for the same sender and
// subject sent within a day of the message's date (SENTSINCE and SENTBEFORE read the Date
// header in its own zone, hence a day each side).
bool TKwTargetMailIMAP::IsDuplicate(const TKwMailMessage& message, bool& duplicate) {
  const TKwHeaders& h = *message.Headers;
  duplicate = false;
  if (!Trim(h.MessageID).empty()) {
    duplicate = FKnown[FSelected].count(DuplicateKey(h)) > 0;
    return true;
  }
  std::string criteria = "SUBJECT " + ImapQuoted(h.Subject);
  if (h.SubmitDate.GmtDate != 0) {
    const std::string dayBefore = DateTimeToImapTime(h.SubmitDate.GmtDate - 1).substr(0, 11);
    const std::string dayAfter = DateTimeToImapTime(h.SubmitDate.GmtDate + 2).substr(0, 11);
    criteria += " SENTSINCE " + dayBefore + " SENTBEFORE " + dayAfter;
  }
  if (!h.From.Address.empty()) criteria += " FROM " + ImapQuoted(h.From.Address);
  std::vector<uint32_t> uids;
  if (!FClient->UidSearch(criteria, uids)) return false;
  duplicate = !uids.empty();
  return true;
}

void TKwTargetMailIMAP::Fail(const std::string& error, const std::string& description) {
  FSaveStatus = ssError;
  const TKwHeaders& h = *FMailMessage->Headers;
  if (!FClient->IsConnected()) {
    GiveUp(kConnectionLost, error);
    ++FUndelivered;
    return;
  }
  Log->AddErrorFull(error, description, Remote->Server, FFolderInfo->GetFolderName(), h.From.Address, h.Subject,
                    GmtToLocal(h.SubmitDate.GmtDate));
}

void TKwTargetMailIMAP::ProcessMessage(TKwMailMessage& message) {
  TKwTargetMailBase::ProcessMessage(message);
  if (IsAborted()) return;
  if (FGaveUp || !FClient || !FClient->IsConnected()) {
    if (!FGaveUp) GiveUp(kConnectionLost, "");
    FSaveStatus = ssError;
    ++FUndelivered;
    return;
  }
  TKwMailMessage& working = *FMailMessage;
  const TKwHeaders& h = *working.Headers;
  bool duplicate = false;
  if (OpenMailbox(MailboxPath(working)).empty()) return;
  if (!IsDuplicate(working, duplicate)) return Fail(FClient->LastError(), "Searching mailbox " + FSelected);
  if (duplicate) {
    FSaveStatus = ssSkipped;
    Log->IncSkipped();
  } else {
    const std::string text = working.SourceIsMime ? working.SourceText : JoinLinesCrLf(EncodeMIMEMessage(working));
    const std::string flags = "(\\Seen) \"" + DateTimeToImapTime(h.SubmitDate.GmtDate) + "\"";
    if (!FClient->Append(FSelected, h.SubmitDate.GmtDate != 0 ? flags : "(\\Seen)", text))
      return Fail(FClient->LastError(), "Uploading message to " + FSelected);
    if (!Trim(h.MessageID).empty()) FKnown[FSelected].insert(DuplicateKey(h));
    FSaveStatus = ssSaved;
    Log->IncSaved();
  }
  if (GlobalOptions && GlobalOptions->DetailedLog)
    Log->AddMessageStatusFull(FSaveStatus, h.From.Address, h.Subject, GmtToLocal(h.SubmitDate.GmtDate));
}

void TKwTargetMailIMAP::FinalizeExtractProcess() {
  TKwTargetMailBase::FinalizeExtractProcess();
  if (FClient) FClient->Disconnect();
  FClient.reset();
}
