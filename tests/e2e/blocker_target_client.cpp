#include "blocker_target_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <thread>

namespace e2e {
namespace {

// Closes the descriptor on every way out of the scope.
struct Descriptor {
  explicit Descriptor(int fd) : fd(fd) {}
  ~Descriptor() {
    if (fd >= 0) ::close(fd);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int fd;
};

}  // namespace

std::string WindowsPathOf(const std::string& driveCRelative) {
  std::string path = "C:\\" + driveCRelative;
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

Target::Target(const std::string& driveCRelative, const std::string& logDir) {
  const std::filesystem::path copy = driver::DriveC() + "/" + driveCRelative;
  std::filesystem::create_directories(copy.parent_path());
  std::filesystem::copy_file(driver::WindowsTests() + "/blocker_target.exe", copy,
                             std::filesystem::copy_options::overwrite_existing);
  // The program connects once; the listener is not needed after that.
  const Descriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  if (listener.fd < 0 || ::bind(listener.fd, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
      ::listen(listener.fd, 1) != 0 ||
      ::getsockname(listener.fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    throw driver::DriverError("cannot listen for " + driveCRelative);
  }
  std::string log = logDir + "/" + copy.filename().string() + ".log";
  process_.Start(WindowsPathOf(driveCRelative), {std::to_string(ntohs(address.sin_port))}, {}, log,
                 600);
  pollfd waiting{listener.fd, POLLIN, 0};
  if (::poll(&waiting, 1, 60000) == 1)
    connection_ = ::accept4(listener.fd, nullptr, nullptr, SOCK_CLOEXEC);
  if (connection_ < 0)
    throw driver::DriverError(driveCRelative + " never connected: " + driver::ReadFile(log));
}

Target::~Target() {
  if (connection_ >= 0) {
    try {
      Command("quit", std::chrono::seconds(5));
    } catch (const driver::DriverError&) {
    }
    ::close(connection_);
  }
  if (process_.running() && !process_.Wait(std::chrono::seconds(5))) process_.Kill();
}

std::vector<std::string> Target::Command(const std::string& line, driver::Timeout timeout) {
  const std::string text = line + "\n";
  if (::send(connection_, text.data(), text.size(), MSG_NOSIGNAL) !=
      static_cast<ssize_t>(text.size()))
    throw driver::DriverError("cannot send " + line);
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  size_t end;
  while ((end = buffer_.find('\n')) == std::string::npos) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd readable{connection_, POLLIN, 0};
    char chunk[4096];
    ssize_t n = 0;
    if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) != 1 ||
        (n = ::recv(connection_, chunk, sizeof chunk, 0)) <= 0)
      throw driver::DriverError("no answer to " + line);
    buffer_.append(chunk, static_cast<size_t>(n));
  }
  const std::string answer = buffer_.substr(0, end);
  buffer_.erase(0, end + 1);
  std::istringstream words(answer);
  std::vector<std::string> result;
  std::string word;
  words >> word;
  if (word != "ok") throw driver::DriverError(line + " -> " + answer);
  while (words >> word) result.push_back(word);
  return result;
}

int64_t Target::Open(const std::string& className, const std::string& title, bool show) {
  return std::stoll(
      Command("open " + className + "\t" + title + "\t400\t300\t" + (show ? "1" : "0")).at(0));
}
void Target::Notify(int64_t window) { Command("notify " + std::to_string(window)); }

Target::State Target::StateOf(int64_t window) {
  const auto words = Command("state " + std::to_string(window));
  return {words.at(0), std::stoi(words.at(1)), std::stoi(words.at(2))};
}
bool Target::WaitFor(int64_t window, const std::string& visibility, driver::Timeout timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (StateOf(window).visibility != visibility) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return true;
}

}  // namespace e2e
