#pragma once
// A POP3 client (RFC 1939, 2449) over one logged-in libcurl connection: counts, listings,
// headers and messages by number. Commands of a batch are pipelined when the server
// announces PIPELINING, so that many messages cost one round trip.
//
// Owns its connection. Not copyable; used from one thread.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "uKwCurl.h"
#include "uKwPop3Response.h"

class TKwPop3Client {
 public:
  TKwPop3Client();
  ~TKwPop3Client();

  // Connects, negotiates TLS as the settings say and logs in. False with `error`.
  bool Connect(const TKwConnectionSettings& settings, std::string& error);
  // QUIT, then closes; nothing on the server changes but what DELE marked.
  void Disconnect();
  bool IsConnected() const { return FConnection.IsOpen(); }
  const std::string& LastError() const { return FLastError; }

  bool Stat(int& count, int64_t& size);
  bool List(std::vector<TKwPop3Listing>& sizes);
  bool Uidl(std::vector<TKwPop3Listing>& uniqueIds);
  // TOP number maxLines for every number: the header and at most maxLines lines of the
  // body (0: the header alone), with dot-stuffing undone and CRLF line ends. onText gets
  // each message the server gave, in the order asked. False when the server refused one
  // (LastError names the first) or the connection broke (those after it are not handed on).
  using TOnText = std::function<void(int number, std::string& text)>;
  bool Top(const std::vector<int>& numbers, int maxLines, const TOnText& onText);
  bool Delete(int number);

 private:
  bool Command(const std::string& command, std::string& statusLine);
  bool ReadStatus(const std::string& command, std::string& statusLine);
  bool ReadMultiLine(std::string& text);
  bool Fail(const std::string& error);

  TKwCurlConnection FConnection;
  bool FPipelining = false;
  std::string FLastError;
};
