#pragma once
// A one-connection TCP server on 127.0.0.1 for the network suites' failure cases: it
// greets, answers each line it receives with what Reply gives, and closes the connection
// after an answer that ends in kClose. An empty greeting and no answers make a server
// that never speaks.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

class TScriptedServer {
 public:
  using TReply = std::function<std::string(const std::string& line)>;
  static constexpr char kClose[] = "\x04";

  TScriptedServer(std::string greeting, TReply reply) : FGreeting(std::move(greeting)), FReply(std::move(reply)) {
    FListen = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(FListen, reinterpret_cast<sockaddr*>(&address), sizeof address);
    listen(FListen, 4);
    socklen_t length = sizeof address;
    getsockname(FListen, reinterpret_cast<sockaddr*>(&address), &length);
    FPort = ntohs(address.sin_port);
    FThread = std::thread([this] { Serve(); });
  }
  ~TScriptedServer() {
    FStop = true;
    FThread.join();
    close(FListen);
  }
  int Port() const { return FPort; }

 private:
  bool WaitReadable(int fd) {
    while (!FStop) {
      pollfd p{fd, POLLIN, 0};
      if (poll(&p, 1, 50) > 0) return true;
    }
    return false;
  }
  void Serve() {
    if (!WaitReadable(FListen)) return;
    const int client = accept(FListen, nullptr, nullptr);
    if (client < 0) return;
    send(client, FGreeting.data(), FGreeting.size(), MSG_NOSIGNAL);
    std::string buffer;
    char chunk[4096];
    while (WaitReadable(client)) {
      const ssize_t n = recv(client, chunk, sizeof chunk, 0);
      if (n <= 0) break;
      buffer.append(chunk, static_cast<size_t>(n));
      bool closing = false;
      for (size_t end; !closing && (end = buffer.find("\r\n")) != std::string::npos;) {
        std::string answer = FReply(buffer.substr(0, end));
        buffer.erase(0, end + 2);
        if (!answer.empty() && answer.back() == kClose[0]) {
          answer.pop_back();
          closing = true;
        }
        send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
      }
      if (closing) break;
    }
    close(client);
  }

  std::string FGreeting;
  TReply FReply;
  int FListen = -1;
  int FPort = 0;
  std::atomic<bool> FStop{false};
  std::thread FThread;
};
