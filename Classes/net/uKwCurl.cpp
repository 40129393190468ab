#include "uKwCurl.h"

#include <poll.h>

#include <cctype>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <mutex>
#include <sstream>

#include <curl/curl.h>

namespace {

constexpr int kSliceMs = 200;  // how often a wait looks at the abort flag
constexpr char kSystemCertificates[] = "/etc/ssl/certs";

void GlobalInitOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

bool IsImplicitTlsPort(const TKwConnectionSettings& s) {
  switch (s.Protocol) {
    case TKwMailProtocol::Pop3: return s.Port == 995;
    case TKwMailProtocol::Imap: return s.Port == 993;
    case TKwMailProtocol::Smtp: return s.Port == 465;
  }
  return false;
}

const char* Scheme(TKwMailProtocol protocol) {
  switch (protocol) {
    case TKwMailProtocol::Pop3: return "pop3";
    case TKwMailProtocol::Imap: return "imap";
    case TKwMailProtocol::Smtp: return "smtp";
  }
  return "imap";
}

int AbortCallback(void* clientp, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  const auto* abort = static_cast<const std::atomic<bool>*>(clientp);
  return abort && abort->load() ? 1 : 0;
}

bool ReadWholeFile(const std::string& name, std::string& out) {
  std::ifstream in(name, std::ios::binary);
  if (!in) return false;
  std::ostringstream text;
  text << in.rdbuf();
  out += text.str();
  out += "\n";
  return true;
}

}  // namespace

std::string ConnectionUrl(const TKwConnectionSettings& s) {
  std::string scheme = Scheme(s.Protocol);
  if (s.UseSSL && IsImplicitTlsPort(s)) scheme += "s";
  const bool ipv6 = s.Host.find(':') != std::string::npos;
  const std::string host = ipv6 ? "[" + s.Host + "]" : s.Host;
  return scheme + "://" + host + ":" + std::to_string(s.Port) + "/";
}

struct TKwCurlEasy {
  CURL* Handle = nullptr;
  std::string CaBundle;  // curl points into it during the TLS handshake
  char ErrorBuffer[CURL_ERROR_SIZE] = {};
  TKwCurlEasy() : Handle((GlobalInitOnce(), curl_easy_init())) {}
  ~TKwCurlEasy() {
    if (Handle) curl_easy_cleanup(Handle);
  }
  TKwCurlEasy(const TKwCurlEasy&) = delete;
  TKwCurlEasy& operator=(const TKwCurlEasy&) = delete;
  template <class T>
  void Set(CURLoption option, T value) {
    curl_easy_setopt(Handle, option, value);
  }
  // The extra bundles (`caFile`, then SSL_CERT_FILE) trusted beside the system's store.
  bool TrustExtraBundles(const std::string& caFile, std::string& unreadable) {
    for (const char* file : std::initializer_list<const char*>{caFile.c_str(), std::getenv("SSL_CERT_FILE")}) {
      if (!file || !*file) continue;
      if (!ReadWholeFile(file, CaBundle)) return unreadable = file, false;
    }
    if (CaBundle.empty()) return true;
    curl_blob blob{CaBundle.data(), CaBundle.size(), CURL_BLOB_NOCOPY};
    Set(CURLOPT_CAINFO_BLOB, &blob);
    std::error_code ec;
    if (std::filesystem::is_directory(kSystemCertificates, ec)) Set(CURLOPT_CAPATH, kSystemCertificates);
    return true;
  }
  // The environment's proxy variables never apply: mail goes through the proxy set here.
  void UseProxy(const TKwProxySettings& proxy) {
    if (proxy.Kind == TKwProxyKind::None) return Set(CURLOPT_PROXY, "");
    Set(CURLOPT_PROXY, proxy.Host.c_str());
    Set(CURLOPT_PROXYPORT, static_cast<long>(proxy.Port));
    const long type = proxy.Kind == TKwProxyKind::Socks4   ? CURLPROXY_SOCKS4A
                      : proxy.Kind == TKwProxyKind::Socks5 ? CURLPROXY_SOCKS5_HOSTNAME
                                                           : CURLPROXY_HTTP;
    Set(CURLOPT_PROXYTYPE, type);
    if (proxy.Kind == TKwProxyKind::HttpTunnel) Set(CURLOPT_HTTPPROXYTUNNEL, 1L);
    if (proxy.Username.empty()) return;
    Set(CURLOPT_PROXYUSERNAME, proxy.Username.c_str());
    Set(CURLOPT_PROXYPASSWORD, proxy.Password.c_str());
  }
};

TKwCurlConnection::TKwCurlConnection() = default;

TKwCurlConnection::~TKwCurlConnection() = default;

bool TKwCurlConnection::Open(const TKwConnectionSettings& s, std::string& error) {
  Close();
  FEasy = std::make_unique<TKwCurlEasy>();
  FPeer = s.Host + ":" + std::to_string(s.Port);
  FTimeoutSeconds = s.TimeoutSeconds > 0 ? s.TimeoutSeconds : 300;
  FAbort = s.Abort;
  if (!FEasy->Handle) return error = "Couldn't connect to " + FPeer + ": libcurl has no handle", false;
  TKwCurlEasy& e = *FEasy;
  e.Set(CURLOPT_URL, ConnectionUrl(s).c_str());
  e.Set(CURLOPT_CONNECT_ONLY, 1L);
  e.Set(CURLOPT_NOSIGNAL, 1L);
  e.Set(CURLOPT_ERRORBUFFER, e.ErrorBuffer);
  e.Set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(FTimeoutSeconds));
  e.Set(CURLOPT_TIMEOUT, static_cast<long>(FTimeoutSeconds));
  e.Set(CURLOPT_NOPROGRESS, 0L);
  e.Set(CURLOPT_XFERINFOFUNCTION, AbortCallback);
  e.Set(CURLOPT_XFERINFODATA, const_cast<std::atomic<bool>*>(s.Abort));
  if (!s.UseSSL) {
    e.Set(CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_NONE));
  } else if (!IsImplicitTlsPort(s)) {
    e.Set(CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));  // STARTTLS or nothing
  }
  // Without a user name nothing is set, so that an SMTP relay that takes mail without a
  // login is not sent an empty one.
  if (!s.Username.empty()) {
    e.Set(CURLOPT_USERNAME, s.Username.c_str());
    if (s.Mechanism == "XOAUTH2") {
      e.Set(CURLOPT_XOAUTH2_BEARER, s.BearerToken.c_str());
    } else {
      e.Set(CURLOPT_PASSWORD, s.Password.c_str());
    }
  }
  // Without one, curl takes the strongest mechanism the server offers; XOAUTH2 must be
  // named, or curl would send the token as OAUTHBEARER.
  if (!s.Mechanism.empty()) e.Set(CURLOPT_LOGIN_OPTIONS, ("AUTH=" + s.Mechanism).c_str());

  if (std::string file; !e.TrustExtraBundles(s.CaFile, file))
    return error = "Couldn't connect to " + FPeer + ": cannot read the certificate bundle " + file, false;

  e.UseProxy(s.Proxy);

  const CURLcode code = curl_easy_perform(e.Handle);
  if (code != CURLE_OK) {
    std::string reason = *e.ErrorBuffer ? e.ErrorBuffer : curl_easy_strerror(code);
    if (code == CURLE_ABORTED_BY_CALLBACK) reason = "aborted";
    error = "Couldn't connect to " + FPeer + ": " + reason;
    FEasy.reset();
    return false;
  }
  FBuffer.clear();
  FStart = 0;
  FOpen = true;
  return true;
}

void TKwCurlConnection::Close() {
  FEasy.reset();
  FOpen = false;
  FBuffer.clear();
  FStart = 0;
}

bool TKwCurlConnection::Fail(std::string error) {
  FLastError = std::move(error);
  Close();
  return false;
}

bool TKwCurlConnection::WaitSocket(bool forWrite) {
  curl_socket_t socket = CURL_SOCKET_BAD;
  if (curl_easy_getinfo(FEasy->Handle, CURLINFO_ACTIVESOCKET, &socket) != CURLE_OK || socket == CURL_SOCKET_BAD)
    return Fail("The connection to " + FPeer + " was closed");
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(FTimeoutSeconds);
  while (true) {
    if (FAbort && FAbort->load()) return Fail("Aborted while talking to " + FPeer);
    pollfd fd{socket, static_cast<short>(forWrite ? POLLOUT : POLLIN), 0};
    const int ready = poll(&fd, 1, kSliceMs);
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return Fail("The connection to " + FPeer + " failed");
    if (std::chrono::steady_clock::now() >= deadline)
      return Fail("No answer from " + FPeer + " in " + std::to_string(FTimeoutSeconds) + " seconds");
  }
}

bool TKwCurlConnection::Send(std::string_view bytes) {
  if (!FOpen) return Fail("Not connected to " + FPeer);
  while (!bytes.empty()) {
    size_t sent = 0;
    const CURLcode code = curl_easy_send(FEasy->Handle, bytes.data(), bytes.size(), &sent);
    if (code == CURLE_AGAIN) {
      if (!WaitSocket(true)) return false;
      continue;
    }
    if (code != CURLE_OK) return Fail("Couldn't send to " + FPeer + ": " + curl_easy_strerror(code));
    bytes.remove_prefix(sent);
  }
  return true;
}

bool TKwCurlConnection::Fill() {
  if (!FOpen) return Fail("Not connected to " + FPeer);
  if (FStart > 0 && FStart == FBuffer.size()) {
    FBuffer.clear();
    FStart = 0;
  } else if (FStart > (1 << 20)) {  // keep the buffer from growing without bound
    FBuffer.erase(0, FStart);
    FStart = 0;
  }
  char chunk[64 * 1024];
  while (true) {
    size_t received = 0;
    const CURLcode code = curl_easy_recv(FEasy->Handle, chunk, sizeof chunk, &received);
    if (code == CURLE_AGAIN) {
      if (!WaitSocket(false)) return false;
      continue;
    }
    if (code != CURLE_OK) return Fail("Couldn't read from " + FPeer + ": " + curl_easy_strerror(code));
    if (received == 0) return Fail("The server " + FPeer + " closed the connection");
    FBuffer.append(chunk, received);
    return true;
  }
}

bool TKwCurlConnection::ReadLine(std::string& out) {
  size_t searchFrom = FStart;
  while (true) {
    const size_t end = FBuffer.find("\r\n", searchFrom);
    if (end != std::string::npos) {
      out.assign(FBuffer, FStart, end - FStart);
      FStart = end + 2;
      return true;
    }
    searchFrom = FBuffer.size() > FStart ? FBuffer.size() - 1 : FStart;
    const size_t offset = searchFrom - FStart;
    if (!Fill()) return false;
    searchFrom = FStart + offset;
  }
}

bool TKwCurlConnection::ReadBytes(size_t count, std::string& out) {
  while (FBuffer.size() - FStart < count)
    if (!Fill()) return false;
  out.assign(FBuffer, FStart, count);
  FStart += count;
  return true;
}

namespace {
size_t AppendReply(char* data, size_t size, size_t count, void* reply) {
  static_cast<std::string*>(reply)->append(data, size * count);
  return size * count;
}
}  // namespace

bool HttpPostForm(const std::string& url, const std::string& form, const std::string& caFile, int timeoutSeconds,
                  std::string& reply, std::string& error) {
  reply.clear();
  TKwCurlEasy e;
  if (!e.Handle) return error = "Couldn't reach " + url + ": libcurl has no handle", false;
  e.Set(CURLOPT_URL, url.c_str());
  e.Set(CURLOPT_POSTFIELDS, form.c_str());
  e.Set(CURLOPT_NOSIGNAL, 1L);
  e.Set(CURLOPT_ERRORBUFFER, e.ErrorBuffer);
  e.Set(CURLOPT_TIMEOUT, static_cast<long>(timeoutSeconds));
  e.Set(CURLOPT_WRITEFUNCTION, AppendReply);
  e.Set(CURLOPT_WRITEDATA, &reply);
  e.Set(CURLOPT_PROXY, "");
  if (std::string file; !e.TrustExtraBundles(caFile, file))
    return error = "Couldn't reach " + url + ": cannot read the certificate bundle " + file, false;
  const CURLcode code = curl_easy_perform(e.Handle);
  if (code != CURLE_OK)
    return error = "Couldn't reach " + url + ": " + (*e.ErrorBuffer ? e.ErrorBuffer : curl_easy_strerror(code)), false;
  long status = 0;
  curl_easy_getinfo(e.Handle, CURLINFO_RESPONSE_CODE, &status);
  if (status < 200 || status > 299)
    return error = url + " answered HTTP " + std::to_string(status) + ": " + reply.substr(0, 200), false;
  return true;
}

std::string UrlEscape(const std::string& text) {
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~') {
      out += static_cast<char>(c);
    } else {
      static constexpr char kHex[] = "0123456789ABCDEF";
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}
