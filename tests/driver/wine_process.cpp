#include "wine_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace driver {

std::string Env(const char* name, const std::string& fallback) {
  const char* value = std::getenv(name);
  return value && *value ? value : fallback;
}

std::string SourceRoot() { return KT_SOURCE_ROOT; }
std::string WineRoot() { return Env("KT_WINE_ROOT", KT_DEFAULT_WINE_ROOT); }
std::string WindowsBin() { return Env("KT_WINDOWS_BIN", KT_DEFAULT_WINDOWS_BIN); }
std::string WindowsTests() { return Env("KT_WINDOWS_TESTS", KT_DEFAULT_WINDOWS_TESTS); }
std::string DriveC() { return WineRoot() + "/prefix/drive_c"; }

bool OnPath(const std::string& program) {
  std::stringstream path(Env("PATH", ""));
  std::string dir;
  while (std::getline(path, dir, ':')) {
    if (!dir.empty() && ::access((dir + "/" + program).c_str(), X_OK) == 0) return true;
  }
  return false;
}

uint16_t FreePort() {
  const int s = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (s < 0 || ::bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::getsockname(s, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    if (s >= 0) ::close(s);
    throw std::runtime_error("no free port");
  }
  ::close(s);
  return ntohs(address.sin_port);
}

std::string WindowsPath(const std::string& path) {
  std::string windows = "Z:" + path;
  for (char& c : windows) {
    if (c == '/') c = '\\';
  }
  return windows;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string MissingForWine(const std::string& executable) {
  if (!OnPath("wine")) return "wine is not installed (tools/install_dependencies.sh)";
  if (!std::filesystem::exists(WineRoot() + "/display")) {
    return "no Wine session under " + WineRoot() + ": start one with KT_WINE_ROOT=" + WineRoot() +
           " bash tools/wine/session.sh start";
  }
  if (!std::filesystem::exists(executable))
    return "missing " + executable + ": build the windows preset";
  return {};
}

void WineProcess::Start(const std::string& executable, const std::vector<std::string>& arguments,
                        const std::vector<std::pair<std::string, std::string>>& environment,
                        const std::string& log, int timeLimitSeconds) {
  Kill();
  exitCode_.reset();
  std::vector<std::string> argv = {"bash", SourceRoot() + "/tools/wine/run.sh", "-t",
                                   std::to_string(timeLimitSeconds), executable};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  std::vector<char*> raw;
  for (auto& argument : argv) raw.push_back(argument.data());
  raw.push_back(nullptr);
  const std::string wineRoot = WineRoot();
  const std::string windowsBin = WindowsBin();
  pid_ = ::fork();
  if (pid_ < 0) throw std::runtime_error("fork failed");
  if (pid_ == 0) {
    ::setpgid(0, 0);
    const int devNull = ::open("/dev/null", O_RDONLY);
    const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (devNull >= 0) ::dup2(devNull, 0);
    if (out >= 0) {
      ::dup2(out, 1);
      ::dup2(out, 2);
    }
    ::setenv("KT_WINE_ROOT", wineRoot.c_str(), 1);
    ::setenv("KT_WINDOWS_BIN", windowsBin.c_str(), 1);
    for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
    ::execv("/bin/bash", raw.data());
    ::_exit(127);
  }
  ::setpgid(pid_, pid_);
}

std::optional<int> WineProcess::Wait(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (pid_ > 0) {
    int status = 0;
    const pid_t done = ::waitpid(pid_, &status, WNOHANG);
    if (done == pid_) {
      pid_ = -1;
      exitCode_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      break;
    }
    if (std::chrono::steady_clock::now() >= deadline) return std::nullopt;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return exitCode_;
}

bool WineProcess::running() { return pid_ > 0 && !Wait(std::chrono::milliseconds(0)).has_value(); }

void WineProcess::Kill() {
  if (pid_ <= 0) return;
  ::kill(-pid_, SIGKILL);
  int status = 0;
  ::waitpid(pid_, &status, 0);
  pid_ = -1;
}

}  // namespace driver
