#include "uKwPop3Client.h"

#include <algorithm>

namespace {
constexpr size_t kPipelineDepth = 32;  // commands in flight at once
}

TKwPop3Client::TKwPop3Client() = default;

TKwPop3Client::~TKwPop3Client() { Disconnect(); }

bool TKwPop3Client::Fail(const std::string& error) {
  FLastError = error;
  return false;
}

bool TKwPop3Client::Connect(const TKwConnectionSettings& settings, std::string& error) {
  Disconnect();
  TKwConnectionSettings pop3 = settings;
  pop3.Protocol = TKwMailProtocol::Pop3;
  if (!FConnection.Open(pop3, error)) return Fail(error);
  // curl read the capabilities for itself; ask again for PIPELINING.
  std::string status, text;
  FPipelining = false;
  if (Command("CAPA", status)) {
    if (!ReadMultiLine(text)) return error = FLastError, false;
    for (size_t at = 0; (at = text.find("PIPELINING", at)) != std::string::npos; ++at)
      if ((at == 0 || text[at - 1] == '\n') && (at + 10 == text.size() || text[at + 10] == '\r')) FPipelining = true;
  }
  if (!FConnection.IsOpen()) return error = FLastError, false;
  return true;
}

void TKwPop3Client::Disconnect() {
  if (!FConnection.IsOpen()) return;
  std::string status;
  if (FConnection.Send("QUIT\r\n")) FConnection.ReadLine(status);
  FConnection.Close();
}

bool TKwPop3Client::ReadStatus(const std::string& command, std::string& statusLine) {
  if (!FConnection.ReadLine(statusLine)) return Fail(FConnection.LastError());
  if (!IsPop3Ok(statusLine)) return Fail("The server refused " + command + ": " + statusLine);
  return true;
}

bool TKwPop3Client::Command(const std::string& command, std::string& statusLine) {
  if (!FConnection.Send(command + "\r\n")) return Fail(FConnection.LastError());
  return ReadStatus(command, statusLine);
}

bool TKwPop3Client::ReadMultiLine(std::string& text) {
  text.clear();
  std::string line;
  while (FConnection.ReadLine(line)) {
    if (line == ".") return true;
    const size_t skip = !line.empty() && line[0] == '.' ? 1 : 0;
    text.append(line, skip).append("\r\n");
  }
  return Fail(FConnection.LastError());
}

bool TKwPop3Client::Stat(int& count, int64_t& size) {
  std::string status;
  if (!Command("STAT", status)) return false;
  return ParsePop3Stat(status, count, size) || Fail("Unreadable answer to STAT: " + status);
}

bool TKwPop3Client::List(std::vector<TKwPop3Listing>& sizes) {
  std::string status, text;
  if (!Command("LIST", status) || !ReadMultiLine(text)) return false;
  sizes = ParsePop3Listing(text);
  return true;
}

bool TKwPop3Client::Uidl(std::vector<TKwPop3Listing>& uniqueIds) {
  std::string status, text;
  if (!Command("UIDL", status) || !ReadMultiLine(text)) return false;
  uniqueIds = ParsePop3Listing(text);
  return true;
}

bool TKwPop3Client::Top(const std::vector<int>& numbers, int maxLines, const TOnText& onText) {
  const size_t depth = FPipelining ? kPipelineDepth : 1;
  std::string status, text;
  bool allOk = true;
  for (size_t first = 0; first < numbers.size(); first += depth) {
    const size_t last = std::min(numbers.size(), first + depth);
    std::string batch;
    for (size_t i = first; i < last; ++i)
      batch += "TOP " + std::to_string(numbers[i]) + " " + std::to_string(maxLines) + "\r\n";
    if (!FConnection.Send(batch)) return Fail(FConnection.LastError());
    // Every reply of the batch is read, so that the next batch starts clean.
    for (size_t i = first; i < last; ++i) {
      if (!FConnection.ReadLine(status)) return Fail(FConnection.LastError());
      if (!IsPop3Ok(status)) {
        if (allOk) Fail("The server refused TOP " + std::to_string(numbers[i]) + ": " + status);
        allOk = false;
        continue;
      }
      if (!ReadMultiLine(text)) return false;
      onText(numbers[i], text);
    }
  }
  return allOk;
}

bool TKwPop3Client::Delete(int number) {
  std::string status;
  return Command("DELE " + std::to_string(number), status);
}
