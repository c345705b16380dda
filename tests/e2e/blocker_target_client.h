// The Linux side of blocker_target.exe: places a copy of the program inside the Wine prefix,
// starts it there and tells it over TCP which windows to open, show and report on.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine_driver.h"
#include "wine_process.h"

namespace e2e {

// "tests/x.exe" -> "C:\tests\x.exe"
std::string WindowsPathOf(const std::string& driveCRelative);

class Target {
 public:
  // Copies the program to the path under the prefix's C: drive and starts it from there; its
  // output goes to logDir. Throws driver::DriverError when it never connects.
  Target(const std::string& driveCRelative, const std::string& logDir);
  ~Target();
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  // The answer's words after "ok"; any other answer, or none in time, throws.
  std::vector<std::string> Command(const std::string& line,
                                   driver::Timeout timeout = std::chrono::seconds(20));

  // A top-level window of 400 by 300, shown with its show event raised unless `show` is false.
  int64_t Open(const std::string& className, const std::string& title, bool show = true);
  // Raises the show event again, as a program showing its window anew would.
  void Notify(int64_t window);

  struct State {
    std::string visibility;  // visible, hidden or gone
    int closes = 0;          // WM_CLOSE received
    int sysCloses = 0;       // WM_SYSCOMMAND SC_CLOSE received
  };
  State StateOf(int64_t window);
  bool WaitFor(int64_t window, const std::string& visibility,
               driver::Timeout timeout = std::chrono::seconds(20));

 private:
  driver::WineProcess process_;
  int connection_ = -1;
  std::string buffer_;
};

}  // namespace e2e
