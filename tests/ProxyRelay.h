#pragma once
// A SOCKS5 or HTTP CONNECT proxy on 127.0.0.1 for the network suites: it takes one
// client at a time, asks nothing of it (no proxy login), connects where the client asks
// and relays bytes both ways until either side closes. Counts the tunnels it opened.

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

class TProxyRelay {
 public:
  enum TKind { Socks5, HttpConnect };

  explicit TProxyRelay(TKind kind) : FKind(kind) {
    FListen = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(FListen, reinterpret_cast<sockaddr*>(&address), sizeof address);
    listen(FListen, 8);
    socklen_t length = sizeof address;
    getsockname(FListen, reinterpret_cast<sockaddr*>(&address), &length);
    FPort = ntohs(address.sin_port);
    FThread = std::thread([this] { Serve(); });
  }
  ~TProxyRelay() {
    FStop = true;
    FThread.join();
    close(FListen);
  }
  int Port() const { return FPort; }
  int Tunnels() const { return FTunnels; }

 private:
  bool Readable(int fd, int ms = 50) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, ms) > 0;
  }
  bool ReadExactly(int fd, void* data, size_t size) {
    auto* bytes = static_cast<char*>(data);
    while (size > 0) {
      if (!Readable(fd, 5000)) return false;
      const ssize_t n = recv(fd, bytes, size, 0);
      if (n <= 0) return false;
      bytes += n;
      size -= static_cast<size_t>(n);
    }
    return true;
  }
  static int ConnectTo(const std::string& host, int port) {
    addrinfo hints{}, *found = nullptr;
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    if (getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return -1;
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    const int ok = connect(fd, found->ai_addr, found->ai_addrlen);
    freeaddrinfo(found);
    if (ok == 0) return fd;
    close(fd);
    return -1;
  }
  // The handshake of the kind; the connection to the target, or -1.
  int Handshake(int client) {
    std::string host;
    int port = 0;
    if (FKind == Socks5) {
      unsigned char head[2], request[4], length = 0, portBytes[2];
      if (!ReadExactly(client, head, 2)) return -1;
      std::string methods(head[1], '\0');
      if (!ReadExactly(client, methods.data(), methods.size())) return -1;
      send(client, "\x05\x00", 2, MSG_NOSIGNAL);
      if (!ReadExactly(client, request, 4) || request[1] != 1) return -1;
      if (request[3] == 3) {
        if (!ReadExactly(client, &length, 1)) return -1;
        host.resize(length);
        if (!ReadExactly(client, host.data(), length)) return -1;
      } else if (request[3] == 1) {
        unsigned char ip[4];
        if (!ReadExactly(client, ip, 4)) return -1;
        host = std::to_string(ip[0]) + "." + std::to_string(ip[1]) + "." + std::to_string(ip[2]) + "." +
               std::to_string(ip[3]);
      } else {
        return -1;
      }
      if (!ReadExactly(client, portBytes, 2)) return -1;
      port = portBytes[0] * 256 + portBytes[1];
      const int target = ConnectTo(host, port);
      const char reply[] = {5, static_cast<char>(target < 0 ? 5 : 0), 0, 1, 0, 0, 0, 0, 0, 0};
      send(client, reply, sizeof reply, MSG_NOSIGNAL);
      return target;
    }
    std::string request;
    char c = 0;
    while (request.find("\r\n\r\n") == std::string::npos && ReadExactly(client, &c, 1)) request += c;
    const size_t at = request.find("CONNECT ");
    const size_t colon = request.find(':', at);
    if (at != 0 || colon == std::string::npos) return -1;
    host = request.substr(8, colon - 8);
    port = std::atoi(request.c_str() + colon + 1);
    const int target = ConnectTo(host, port);
    const std::string reply = target < 0 ? "HTTP/1.1 502 Bad Gateway\r\n\r\n" : "HTTP/1.1 200 Connection established\r\n\r\n";
    send(client, reply.data(), reply.size(), MSG_NOSIGNAL);
    return target;
  }
  void Relay(int a, int b) {
    char buffer[16384];
    while (!FStop) {
      pollfd p[2] = {{a, POLLIN, 0}, {b, POLLIN, 0}};
      if (poll(p, 2, 50) <= 0) continue;
      for (int i = 0; i < 2; ++i) {
        if (!(p[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
        const ssize_t n = recv(p[i].fd, buffer, sizeof buffer, 0);
        if (n <= 0 || send(p[1 - i].fd, buffer, static_cast<size_t>(n), MSG_NOSIGNAL) < 0) return;
      }
    }
  }
  void Serve() {
    while (!FStop) {
      if (!Readable(FListen)) continue;
      const int client = accept(FListen, nullptr, nullptr);
      if (client < 0) continue;
      const int target = Handshake(client);
      if (target >= 0) {
        ++FTunnels;
        Relay(client, target);
        close(target);
      }
      close(client);
    }
  }

  TKind FKind;
  int FListen = -1;
  int FPort = 0;
  std::atomic<int> FTunnels{0};
  std::atomic<bool> FStop{false};
  std::thread FThread;
};
