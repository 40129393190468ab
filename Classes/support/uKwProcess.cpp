#include "uKwProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

extern char** environ;

namespace {

constexpr size_t kMaxOutput = 64 * 1024;

class TFd {
 public:
  explicit TFd(int fd = -1) : FFd(fd) {}
  ~TFd() { Close(); }
  TFd(const TFd&) = delete;
  TFd& operator=(const TFd&) = delete;
  int Get() const { return FFd; }
  void Close() {
    if (FFd >= 0) close(FFd);
    FFd = -1;
  }

 private:
  int FFd;
};

// Writes input to `in` and reads `out` until the program closes it; both ends are
// sockets so that a program that exits early gives EPIPE, never SIGPIPE.
void Exchange(TFd& in, TFd& out, std::string_view input, std::string& output) {
  size_t written = 0;
  if (input.empty()) in.Close();
  char buffer[4096];
  while (out.Get() >= 0) {
    pollfd fds[2] = {{out.Get(), POLLIN, 0}, {in.Get(), POLLOUT, 0}};
    if (poll(fds, in.Get() >= 0 ? 2 : 1, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (in.Get() >= 0 && (fds[1].revents & (POLLOUT | POLLERR | POLLHUP))) {
      const ssize_t n = send(in.Get(), input.data() + written, input.size() - written, MSG_NOSIGNAL);
      if (n > 0) written += static_cast<size_t>(n);
      if (n < 0 || written == input.size()) in.Close();
    }
    if (fds[0].revents & (POLLIN | POLLERR | POLLHUP)) {
      const ssize_t n = read(out.Get(), buffer, sizeof buffer);
      if (n <= 0) {
        out.Close();
        break;
      }
      output.append(buffer, static_cast<size_t>(n));
      if (output.size() > kMaxOutput) output.erase(0, output.size() - kMaxOutput);
    }
  }
}

// Whether the program can be found and run, as posix_spawnp would look for it. Asked
// first, so that a missing program is told apart from one that ran and failed, on every
// libc (some report a failed exec only as exit status 127).
bool IsOnPath(const std::string& program) {
  if (program.find('/') != std::string::npos) return access(program.c_str(), X_OK) == 0;
  const char* path = std::getenv("PATH");
  std::string_view rest = path ? path : "/usr/local/bin:/usr/bin:/bin";
  while (true) {
    const size_t colon = rest.find(':');
    std::string folder(rest.substr(0, colon));
    if (folder.empty()) folder = ".";
    if (access((folder + "/" + program).c_str(), X_OK) == 0) return true;
    if (colon == std::string_view::npos) return false;
    rest.remove_prefix(colon + 1);
  }
}

}  // namespace

TKwProgramResult RunProgram(const std::vector<std::string>& arguments, std::string_view input) {
  TKwProgramResult result;
  if (!IsOnPath(arguments[0])) {
    result.Output = "Cannot run " + arguments[0] + ": " + std::strerror(ENOENT);
    return result;
  }
  int inPair[2], outPair[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, inPair) != 0) {
    result.Output = std::strerror(errno);
    return result;
  }
  TFd inParent(inPair[0]), inChild(inPair[1]);
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, outPair) != 0) {
    result.Output = std::strerror(errno);
    return result;
  }
  TFd outParent(outPair[0]), outChild(outPair[1]);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, inChild.Get(), STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, outChild.Get(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, outChild.Get(), STDERR_FILENO);
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  pid_t pid = 0;
  const int spawned = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  inChild.Close();
  outChild.Close();
  if (spawned != 0) {
    result.Output = "Cannot run " + arguments[0] + ": " + std::strerror(spawned);
    return result;
  }
  result.Started = true;
  shutdown(inParent.Get(), SHUT_RD);
  Exchange(inParent, outParent, input, result.Output);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  result.ExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}
