#pragma once
// The libcurl layer: TKwCurlEasy owns an easy handle (every use of curl goes through one);
// TKwCurlConnection is the connection of the POP3, IMAP and SMTP clients. libcurl connects (proxy, implicit TLS or STARTTLS, certificate check, login) with
// CURLOPT_CONNECT_ONLY and hands the logged-in connection over; the clients then speak
// their protocol on it through Send and Receive. Only this unit includes curl's header.
//
// Every wait is bounded by the time-out and broken off when the abort flag (not owned)
// becomes true. Not copyable; used from one thread.

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

enum class TKwMailProtocol { Pop3, Imap, Smtp };

// A SOCKS or HTTP CONNECT proxy between us and the server.
enum class TKwProxyKind { None, HttpTunnel, Socks4, Socks5 };

struct TKwProxySettings {
  TKwProxyKind Kind = TKwProxyKind::None;
  std::string Host;
  int Port = 0;
  std::string Username, Password;
};

struct TKwConnectionSettings {
  TKwMailProtocol Protocol = TKwMailProtocol::Imap;
  std::string Host;
  int Port = 0;
  // Off: never TLS. On: implicit TLS on the SSL ports (995, 993, 465), STARTTLS on any other.
  bool UseSSL = false;
  std::string Username, Password;
  // "" lets the server's mechanisms decide; else a SASL name ("PLAIN", "LOGIN",
  // "CRAM-MD5", "XOAUTH2", ...) or "+APOP" (POP3) / "+LOGIN" (IMAP's LOGIN command).
  std::string Mechanism;
  std::string BearerToken;  // the access token when Mechanism is XOAUTH2
  // Trusted in addition to the system's store: a bundle named by the caller (global
  // option CaFile) and the one named by SSL_CERT_FILE.
  std::string CaFile;
  TKwProxySettings Proxy;
  int TimeoutSeconds = 300;
  const std::atomic<bool>* Abort = nullptr;  // not owned; may be null
};

// The text of a URL for the settings: scheme, host and port.
std::string ConnectionUrl(const TKwConnectionSettings& settings);

struct TKwCurlEasy;  // the easy handle with what curl borrows from us for a transfer

class TKwCurlConnection {
 public:
  TKwCurlConnection();
  ~TKwCurlConnection();
  TKwCurlConnection(const TKwCurlConnection&) = delete;
  TKwCurlConnection& operator=(const TKwCurlConnection&) = delete;

  // Connects and logs in. False with `error` naming the host and curl's reason.
  bool Open(const TKwConnectionSettings& settings, std::string& error);
  // Drops the connection without a goodbye; the clients say theirs first.
  void Close();
  bool IsOpen() const { return FOpen; }

  // Sends every byte. False with LastError when the connection broke or timed out.
  bool Send(std::string_view bytes);
  // Reads one CRLF-ended line (without the CRLF) / exactly `count` bytes into `out`.
  bool ReadLine(std::string& out);
  bool ReadBytes(size_t count, std::string& out);
  const std::string& LastError() const { return FLastError; }

 private:
  bool Fill();  // appends what arrives to FBuffer; false on close, time-out or abort
  bool Fail(std::string error);
  bool WaitSocket(bool forWrite);

  std::unique_ptr<TKwCurlEasy> FEasy;
  std::string FBuffer;
  size_t FStart = 0;  // first unread byte of FBuffer
  std::string FLastError;
  std::string FPeer;  // "host:port", for messages
  int FTimeoutSeconds = 300;
  const std::atomic<bool>* FAbort = nullptr;
  bool FOpen = false;
};

// POSTs a form ("a=1&b=2") over HTTP(S), TLS verified as for mail (`caFile` added to the
// system's store). True with the reply's body when the server answered 2xx; false with
// `error` naming the URL and the reason otherwise.
bool HttpPostForm(const std::string& url, const std::string& form, const std::string& caFile, int timeoutSeconds,
                  std::string& reply, std::string& error);
// `text` escaped for a URL or form ("a b&" -> "a%20b%26").
std::string UrlEscape(const std::string& text);
