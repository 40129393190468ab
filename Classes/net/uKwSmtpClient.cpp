#include "uKwSmtpClient.h"

#include <cctype>

namespace {

// An empty address (the null sender) is sent as "<>".
std::string Path(const std::string& address) { return "<" + address + ">"; }

std::string Trim(const std::string& text) {
  size_t first = 0, last = text.size();
  while (first < last && std::isspace(static_cast<unsigned char>(text[first]))) ++first;
  while (last > first && std::isspace(static_cast<unsigned char>(text[last - 1]))) --last;
  return text.substr(first, last - first);
}

}  // namespace

bool TKwSmtpClient::Connect(const TKwConnectionSettings& settings, std::string& error) {
  TKwConnectionSettings smtp = settings;
  smtp.Protocol = TKwMailProtocol::Smtp;
  FPeer = settings.Host + ":" + std::to_string(settings.Port);
  return FConnection.Open(smtp, error);
}

void TKwSmtpClient::Disconnect() {
  if (!FConnection.IsOpen()) return;
  int code = 0;
  std::string reply;
  Exchange("QUIT\r\n", code, reply);
  FConnection.Close();
}

bool TKwSmtpClient::Exchange(const std::string& bytes, int& code, std::string& reply) {
  reply.clear();
  if (!FConnection.Send(bytes)) return false;
  // A reply is lines "250-text" ending with one "250 text".
  for (std::string line;;) {
    if (!FConnection.ReadLine(line)) return false;
    if (line.size() < 3) continue;
    if (!reply.empty()) reply += " ";
    reply += line.size() > 4 ? line.substr(4) : "";
    if (line.size() == 3 || line[3] != '-') {
      code = std::atoi(line.substr(0, 3).c_str());
      reply = line.substr(0, 3) + " " + reply;
      return true;
    }
  }
}

TKwSmtpResult TKwSmtpClient::Refuse(const std::string& step, const std::string& reply, std::string& error) {
  error = FPeer + " refused " + step + ": " + reply;
  // The transaction is reset so that the next message starts clean; a server that does
  // not answer that is treated as gone.
  int code = 0;
  std::string ignored;
  if (!Exchange("RSET\r\n", code, ignored) || code / 100 != 2) {
    FConnection.Close();
    return TKwSmtpResult::Lost;
  }
  return TKwSmtpResult::Refused;
}

TKwSmtpResult TKwSmtpClient::Send(const std::string& from, const std::vector<std::string>& recipients,
                                  const std::string& message, std::string& error) {
  auto lost = [&] {
    error = FConnection.LastError().empty() ? "The connection to " + FPeer + " was lost" : FConnection.LastError();
    FConnection.Close();
    return TKwSmtpResult::Lost;
  };
  if (!FConnection.IsOpen()) return lost();
  if (recipients.empty()) return error = "No recipient", TKwSmtpResult::Refused;
  int code = 0;
  std::string reply;
  if (!Exchange("MAIL FROM:" + Path(from) + "\r\n", code, reply)) return lost();
  if (code / 100 != 2) return Refuse("the sender " + from, reply, error);
  for (const std::string& recipient : recipients) {
    if (!Exchange("RCPT TO:" + Path(recipient) + "\r\n", code, reply)) return lost();
    if (code / 100 != 2) return Refuse("the recipient " + recipient, reply, error);
  }
  if (!Exchange("DATA\r\n", code, reply)) return lost();
  if (code != 354) return Refuse("the message", reply, error);
  if (!Exchange(SmtpDataBlock(message), code, reply)) return lost();
  if (code / 100 != 2) return Refuse("the message", reply, error);
  return TKwSmtpResult::Sent;
}

std::string SmtpDataBlock(const std::string& message) {
  std::string data;
  data.reserve(message.size() + message.size() / 32 + 8);
  size_t start = 0;
  while (start < message.size()) {
    size_t end = message.find('\n', start);
    if (end == std::string::npos) end = message.size();
    size_t lineEnd = end;
    if (lineEnd > start && message[lineEnd - 1] == '\r') --lineEnd;
    if (message[start] == '.') data += '.';
    data.append(message, start, lineEnd - start);
    data += "\r\n";
    start = end + 1;
  }
  data += ".\r\n";
  return data;
}

std::vector<std::string> SplitRecipients(const std::string& recipients) {
  std::vector<std::string> addresses;
  std::string item;
  bool quoted = false;
  auto flush = [&] {
    std::string address = Trim(item);
    const size_t open = address.rfind('<');
    if (open != std::string::npos) {
      const size_t close = address.find('>', open);
      address = Trim(address.substr(open + 1, close == std::string::npos ? std::string::npos : close - open - 1));
    }
    if (!address.empty()) addresses.push_back(address);
    item.clear();
  };
  for (char c : recipients) {
    if (c == '"') quoted = !quoted;
    if (!quoted && (c == ',' || c == ';')) {
      flush();
    } else {
      item += c;
    }
  }
  flush();
  return addresses;
}
