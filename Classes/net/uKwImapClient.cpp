#include "uKwImapClient.h"

#include <algorithm>
#include <charconv>

namespace {

// The length of the literal that ends `line` ("... {123}" or "{123+}"), or -1.
int64_t TrailingLiteral(std::string_view line) {
  if (line.empty() || line.back() != '}') return -1;
  const size_t open = line.rfind('{');
  if (open == std::string_view::npos) return -1;
  std::string_view digits = line.substr(open + 1, line.size() - open - 2);
  if (!digits.empty() && digits.back() == '+') digits.remove_suffix(1);
  int64_t length = -1;
  auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), length);
  return error == std::errc() && end == digits.data() + digits.size() && !digits.empty() ? length : -1;
}

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

std::string ImapSequenceSet(const std::vector<uint32_t>& uids, size_t first, size_t last) {
  std::string set;
  for (size_t i = first; i < last;) {
    size_t j = i;
    while (j + 1 < last && uids[j + 1] == uids[j] + 1) ++j;
    if (!set.empty()) set += ',';
    set += std::to_string(uids[i]);
    if (j > i) set += ':' + std::to_string(uids[j]);
    i = j + 1;
  }
  return set;
}

TKwImapClient::TKwImapClient() = default;

TKwImapClient::~TKwImapClient() { Disconnect(); }

bool TKwImapClient::Fail(const std::string& error) {
  FLastError = error;
  return false;
}

bool TKwImapClient::Connect(const TKwConnectionSettings& settings, std::string& error) {
  Disconnect();
  TKwConnectionSettings imap = settings;
  imap.Protocol = TKwMailProtocol::Imap;
  if (!FConnection.Open(imap, error)) return Fail(error);
  FUidPlus = false;
  const bool ok = Command("CAPABILITY", [&](std::string& line) {
    FUidPlus = FUidPlus || line.find(" UIDPLUS") != std::string::npos;
  });
  if (!ok) error = FLastError;
  return ok;
}

void TKwImapClient::Disconnect() {
  if (!FConnection.IsOpen()) return;
  Command("LOGOUT");
  FConnection.Close();
}

bool TKwImapClient::ReadResponse(std::string& response) {
  if (!FConnection.ReadLine(response)) return Fail(FConnection.LastError());
  std::string part;
  for (int64_t length; (length = TrailingLiteral(response)) >= 0;) {
    if (!FConnection.ReadBytes(static_cast<size_t>(length), part)) return Fail(FConnection.LastError());
    response.append("\r\n").append(part);
    if (!FConnection.ReadLine(part)) return Fail(FConnection.LastError());
    response += part;
  }
  return true;
}

bool TKwImapClient::Command(const std::string& command, const TOnLine& onUntagged) {
  if (!FConnection.IsOpen()) return Fail("Not connected");
  const std::string tag = NextTag();
  if (!FConnection.Send(tag + " " + command + "\r\n")) return Fail(FConnection.LastError());
  std::string response;
  while (ReadResponse(response)) {
    if (response.compare(0, 2, "* ") == 0) {
      if (onUntagged) onUntagged(response);
      continue;
    }
    if (response.compare(0, tag.size() + 1, tag + " ") != 0) continue;  // continuation requests
    const std::string status = response.substr(tag.size() + 1, 3);
    if (status == "OK ") return true;
    const std::string verb = command.substr(0, command.find(' ', command.rfind("UID ", 0) == 0 ? 4 : 0));
    return Fail("The server refused " + verb + ": " + response.substr(tag.size() + 1));
  }
  return false;
}

bool TKwImapClient::List(std::vector<TKwImapMailbox>& mailboxes) {
  mailboxes.clear();
  return Command("LIST \"\" \"*\"", [&](std::string& line) {
    TKwImapMailbox mailbox;
    if (ParseImapListLine(line, mailbox)) mailboxes.push_back(std::move(mailbox));
  });
}

bool TKwImapClient::Select(const std::string& mailbox, bool readOnly, TKwImapSelected& selected) {
  selected = {};
  return Command((readOnly ? "EXAMINE " : "SELECT ") + ImapQuoted(mailbox), [&](std::string& line) {
    ParseImapExists(line, selected.Exists) || ParseImapUidValidity(line, selected.UidValidity);
  });
}

bool TKwImapClient::UidSearch(const std::string& criteria, std::vector<uint32_t>& uids) {
  uids.clear();
  std::string command = "UID SEARCH ";
  if (!IsAscii(criteria)) command += "CHARSET UTF-8 ";
  command += criteria.empty() ? "ALL" : criteria;
  const bool ok = Command(command, [&](std::string& line) { ParseImapSearchLine(line, uids); });
  std::sort(uids.begin(), uids.end());
  uids.erase(std::unique(uids.begin(), uids.end()), uids.end());
  return ok;
}

bool TKwImapClient::UidFetch(const std::vector<uint32_t>& uids, const std::string& items, const TOnFetch& onFetch,
                             size_t batch) {
  batch = std::max<size_t>(batch, 1);
  TKwImapFetch fetch;
  for (size_t first = 0; first < uids.size(); first += batch) {
    const size_t last = std::min(uids.size(), first + batch);
    const bool ok = Command("UID FETCH " + ImapSequenceSet(uids, first, last) + " " + items, [&](std::string& line) {
      if (ParseImapFetch(line, fetch) && fetch.Uid != 0) onFetch(fetch);
    });
    if (!ok) return false;
  }
  return true;
}

bool TKwImapClient::DeleteUids(const std::vector<uint32_t>& uids) {
  if (uids.empty()) return true;
  std::vector<uint32_t> sorted = uids;
  std::sort(sorted.begin(), sorted.end());
  const std::string set = ImapSequenceSet(sorted, 0, sorted.size());
  if (!Command("UID STORE " + set + " +FLAGS.SILENT (\\Deleted)")) return false;
  return Command(FUidPlus ? "UID EXPUNGE " + set : "EXPUNGE");
}

bool TKwImapClient::Create(const std::string& mailbox) { return Command("CREATE " + ImapQuoted(mailbox)); }

bool TKwImapClient::Append(const std::string& mailbox, const std::string& flags, const std::string& message) {
  if (!FConnection.IsOpen()) return Fail("Not connected");
  const std::string tag = NextTag();
  std::string command = tag + " APPEND " + ImapQuoted(mailbox) + " ";
  if (!flags.empty()) command += flags + " ";
  command += "{" + std::to_string(message.size()) + "}\r\n";
  if (!FConnection.Send(command)) return Fail(FConnection.LastError());
  std::string response;
  if (!ReadResponse(response)) return false;
  if (response.compare(0, 1, "+") != 0) return Fail("The server refused APPEND: " + response);
  if (!FConnection.Send(message) || !FConnection.Send("\r\n")) return Fail(FConnection.LastError());
  while (ReadResponse(response)) {
    if (response.compare(0, tag.size() + 1, tag + " ") != 0) continue;
    if (response.compare(tag.size() + 1, 3, "OK ") == 0) return true;
    return Fail("The server refused APPEND: " + response.substr(tag.size() + 1));
  }
  return false;
}
