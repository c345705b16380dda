// Starting Windows programs under Wine from a Linux test, in the test run's Wine session.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace driver {

std::string Env(const char* name, const std::string& fallback);
std::string SourceRoot();
std::string WineRoot();    // KT_WINE_ROOT, else this build's default
std::string WindowsBin();  // KT_WINDOWS_BIN, else this build's default
std::string WindowsTests();
std::string DriveC();  // the prefix's C: drive on this machine
bool OnPath(const std::string& program);

// A port nobody listens on right now; the program binds it a moment later.
uint16_t FreePort();
// Wine maps Z: to the root of this machine's file system.
std::string WindowsPath(const std::string& path);
std::string ReadFile(const std::string& path);
// Empty when the session, wine and the executable are there; otherwise what is missing.
std::string MissingForWine(const std::string& executable);

// A program under tools/wine/run.sh, in a process group of its own so that a hung Wine can be
// ended whole. Its output goes to `log`.
class WineProcess {
 public:
  WineProcess() = default;
  WineProcess(const WineProcess&) = delete;
  WineProcess& operator=(const WineProcess&) = delete;
  ~WineProcess() { Kill(); }

  void Start(const std::string& executable, const std::vector<std::string>& arguments,
             const std::vector<std::pair<std::string, std::string>>& environment,
             const std::string& log, int timeLimitSeconds = 150);
  // The exit code once the program ended within the time-out; nothing while it still runs.
  std::optional<int> Wait(std::chrono::milliseconds timeout);
  bool running();
  void Kill();

 private:
  pid_t pid_ = -1;
  std::optional<int> exitCode_;
};

}  // namespace driver
