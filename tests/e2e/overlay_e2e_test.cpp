// The overlay notices of the real executable under Wine, driven through the engine stand-in as
// the Dart side drives them, checked on screen: screenshots (kept under the build tree) compared
// at probe points whose colours come from the paint probe, windows found through Win32 by a
// program of the session, clicks from xdotool, and the shell opening a made-up file type.
// KT_WINE_DPI is the session's DPI; the whole file runs once at 96 and once at 144.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "app_session.h"
#include "blocker_target_client.h"
#include "engine_driver.h"
#include "method_calls.h"
#include "wine_process.h"

namespace {

using namespace std::chrono_literals;
using driver::MethodReply;
using e2e::kTimeout;

constexpr char kOverlay[] = "com.kelvo.tarnel/overlay_notification";
constexpr char kOverlayClass[] = "KelvoTarnel_MarqueeNotification";
constexpr char kBarColour[] = "1E1E1E";
// Where the made-up file type's handler and files lie, under the prefix's C: drive.
constexpr char kFilesFolder[] = "kt-overlay";

int Dpi() { return std::stoi(driver::Env("KT_WINE_DPI", "96")); }

std::string Label() { return std::to_string(Dpi()) + "dpi"; }

// A command in the session's display; its standard output.
std::string Capture(const std::string& command) {
  const std::string display = driver::ReadFile(driver::WineRoot() + "/display");
  const std::string full = "export DISPLAY=" + display.substr(0, display.find('\n')) +
                           " WINEPREFIX=" + driver::WineRoot() + "/prefix WINEDEBUG=-all; " +
                           command + " 2>/dev/null";
  std::string output;
  if (FILE* pipe = ::popen(full.c_str(), "r")) {
    char buffer[4096];
    std::size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) output.append(buffer, n);
    ::pclose(pipe);
  }
  return output;
}

// The paint probe's lines for one overlay window on this session's screen, by their first word.
std::map<std::string, std::vector<std::string>> ProbeOverlay(const std::string& kind) {
  std::map<std::string, std::vector<std::string>> lines;
  std::istringstream output(Capture(driver::Env("KT_PAINT_PROBE", "paint_probe") + " overlay " +
                                    kind + " 1920 1080 " + std::to_string(Dpi())));
  std::string line;
  while (std::getline(output, line)) {
    std::istringstream words(line);
    std::string key;
    words >> key;
    if (key == "point") words >> key;
    std::vector<std::string> values;
    for (std::string word; words >> word;) values.push_back(word);
    lines[key] = values;
  }
  return lines;
}

struct OverlayWindow {
  int64_t handle = 0;
  int left = 0, top = 0, right = 0, bottom = 0;
  long exStyle = 0;
  bool visible = false;
};

class OverlayE2eTest : public e2e::AppFixture {
 protected:
  void SetUp() override {
    AppFixture::SetUp();
    if (HasFatalFailure()) return;
    const std::string missing =
        driver::MissingForWine(driver::WindowsTests() + "/blocker_target.exe");
    ASSERT_TRUE(missing.empty()) << missing;
    shots_ = driver::Env("KT_OVERLAY_SHOTS", driver::SourceRoot() + "/build/overlay-shots");
    std::filesystem::create_directories(shots_);
    StartApp();
    target_ = std::make_unique<e2e::Target>("tests/blocker_target.exe", dir_);
  }

  void TearDown() override {
    target_.reset();
    AppFixture::TearDown();
  }

  MethodReply Overlay(const std::string& method,
                      std::optional<EncodableValue> arguments = std::nullopt) {
    return driver::CallMethod(*engine_, kOverlay, method, std::move(arguments), kTimeout);
  }
  void ExpectTrue(const std::string& method,
                  std::optional<EncodableValue> arguments = std::nullopt) {
    const MethodReply reply = Overlay(method, std::move(arguments));
    EXPECT_EQ(reply.kind, MethodReply::Kind::kSuccess) << method;
    EXPECT_EQ(reply.value, EncodableValue(true)) << method;
  }

  std::vector<OverlayWindow> Windows() {
    const std::vector<std::string> words =
        target_->Command(std::string("windows ") + kOverlayClass);
    std::vector<OverlayWindow> windows;
    for (std::size_t i = 1; i + 7 <= words.size(); i += 7) {
      OverlayWindow w;
      w.handle = std::stoll(words[i]);
      w.left = std::stoi(words[i + 1]);
      w.top = std::stoi(words[i + 2]);
      w.right = std::stoi(words[i + 3]);
      w.bottom = std::stoi(words[i + 4]);
      w.exStyle = std::stol(words[i + 5]);
      w.visible = words[i + 6] == "1";
      windows.push_back(w);
    }
    return windows;
  }
  bool WaitForWindowCount(std::size_t count, driver::Timeout timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
      if (Windows().size() == count) return true;
      std::this_thread::sleep_for(100ms);
    }
    return false;
  }

  std::string Shot(const std::string& name) {
    const std::string path = shots_ + "/" + name + "-" + Label() + ".png";
    e2e::RunInSession("timeout 30 import -window root '" + path + "'");
    return path;
  }
  static std::string Pixel(const std::string& shot, int x, int y) {
    std::string hex = Capture("convert '" + shot + "' -format '%[hex:p{" + std::to_string(x) + "," +
                              std::to_string(y) + "}]' info:");
    return hex.substr(0, 6);
  }
  // Every probe point of the window's plan, each with its name in the message.
  static void ExpectPoints(const std::string& shot,
                           const std::map<std::string, std::vector<std::string>>& probe) {
    int points = 0;
    for (const auto& [name, values] : probe) {
      if (values.size() != 3 || values[2].size() != 6) continue;
      ++points;
      EXPECT_EQ(Pixel(shot, std::stoi(values[0]), std::stoi(values[1])), values[2])
          << name << " at " << values[0] << "," << values[1] << " in " << shot;
    }
    EXPECT_GE(points, 4) << "the probe gave too few points";
  }
  void Click(const std::vector<std::string>& at) {
    ASSERT_EQ(at.size(), 2U);
    e2e::RunInSession("xdotool mousemove " + at[0] + " " + at[1] + " click 1");
  }

  // The left edge of whatever differs from the bar's colour inside the text's clip, in screen
  // coordinates; -1 when nothing does.
  int TextLeft(const std::string& shot, int barHeight, int clipLeft, int clipRight) {
    const std::string box =
        Capture("convert '" + shot + "' -crop " + std::to_string(clipRight - clipLeft) + "x" +
                std::to_string(barHeight) + "+" + std::to_string(clipLeft) +
                "+0 +repage -fill black " + "-opaque '#" + kBarColour + "' -format '%@' info:");
    const std::size_t plus = box.find('+');
    const std::size_t x = box.find('x');
    if (plus == std::string::npos || x == std::string::npos || std::stoi(box.substr(0, x)) == 0) {
      return -1;
    }
    return clipLeft + std::stoi(box.substr(plus + 1));
  }
  // Whether the text shows a solid white block at least 6 wide and 10 tall: full-block glyphs do,
  // the default prefix's strokes never.
  bool ShowsSolidBlock(const std::string& shot, int barHeight, int clipLeft, int clipRight) {
    const std::string found =
        Capture("convert '" + shot + "' -crop " + std::to_string(clipRight - clipLeft) + "x" +
                std::to_string(barHeight) + "+" + std::to_string(clipLeft) +
                "+0 +repage -colorspace gray -threshold 80% -morphology Erode Rectangle:6x10 " +
                "-format '%[fx:maxima]' info:");
    return found.rfind("1", 0) == 0;
  }

  std::string shots_;
  std::unique_ptr<e2e::Target> target_;
};

TEST_F(OverlayE2eTest, MarqueeKeepsTheFocusScrollsLeftAndClosesAfterItsPass) {
  const int64_t keeper = target_->Open("KtFocusKeeper", "Focus keeper");
  target_->Command("activate " + std::to_string(keeper));
  ASSERT_EQ(target_->Command("foreground").at(0), std::to_string(keeper));

  const auto probe = ProbeOverlay("marquee");
  const auto& bounds = probe.at("window");
  ExpectTrue("showMarquee", EncodableMap{{"content", "abc"}, {"playCount", 1}});
  ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
  const OverlayWindow bar = Windows().at(0);
  EXPECT_EQ(bar.left, 0);
  EXPECT_EQ(bar.top, 0);
  EXPECT_EQ(bar.right - bar.left, std::stoi(bounds[2]));
  EXPECT_EQ(bar.bottom - bar.top, std::stoi(bounds[3]));
  constexpr long kLayeredToolTopmost = 0x80000 | 0x80 | 0x8;
  EXPECT_EQ(bar.exStyle & kLayeredToolTopmost, kLayeredToolTopmost);
  EXPECT_TRUE(bar.visible);
  EXPECT_EQ(target_->Command("foreground").at(0), std::to_string(keeper))
      << "the marquee took the focus";

  const int height = std::stoi(bounds[3]);
  const int clipLeft = std::stoi(probe.at("text-clip")[0]);
  const int clipRight = std::stoi(probe.at("text-clip")[1]);
  std::this_thread::sleep_for(1500ms);
  const std::string first = Shot("marquee-scroll-1");
  ExpectPoints(first, probe);
  const int firstLeft = TextLeft(first, height, clipLeft, clipRight);
  std::this_thread::sleep_for(1000ms);
  const std::string second = Shot("marquee-scroll-2");
  const int secondLeft = TextLeft(second, height, clipLeft, clipRight);
  EXPECT_GT(firstLeft, clipLeft) << "no text in " << first;
  EXPECT_GE(secondLeft, clipLeft) << "no text in " << second;
  EXPECT_LT(secondLeft, firstLeft) << "the text did not move left";
  EXPECT_EQ(target_->Command("foreground").at(0), std::to_string(keeper));

  EXPECT_TRUE(WaitForWindowCount(0, 90s)) << "the marquee did not close after its pass";
}

TEST_F(OverlayE2eTest, TheCloseButtonClosesTheMarquee) {
  const auto probe = ProbeOverlay("marquee");
  ExpectTrue("showMarquee", EncodableMap{{"title", "Close me"}, {"playCount", 5}});
  ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
  std::this_thread::sleep_for(400ms);
  Click(probe.at("close"));
  EXPECT_TRUE(WaitForWindowCount(0, kTimeout)) << "the close button did not close the marquee";
}

TEST_F(OverlayE2eTest, AListAsArgumentsIsInvalidAndLeavesTheMarqueeOpenUntilCloseMarquee) {
  ExpectTrue("showMarquee", EncodableMap{{"content", "stays"}});
  ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
  const int64_t open = Windows().at(0).handle;
  const MethodReply reply =
      Overlay("showMarquee", EncodableValue(EncodableList{EncodableValue(1)}));
  EXPECT_EQ(reply.kind, MethodReply::Kind::kError);
  EXPECT_EQ(reply.errorCode, "INVALID_ARGS");
  EXPECT_EQ(reply.errorMessage, "Invalid arguments");
  EXPECT_TRUE(std::holds_alternative<std::monostate>(reply.errorDetails));
  ASSERT_EQ(Windows().size(), 1U);
  EXPECT_EQ(Windows().at(0).handle, open);
  ExpectTrue("closeMarquee");
  EXPECT_TRUE(WaitForWindowCount(0, kTimeout));
}

TEST_F(OverlayE2eTest, ASecondShowReplacesTheFirstWindow) {
  ExpectTrue("showMarquee", EncodableMap{{"content", "first"}});
  ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
  const int64_t first = Windows().at(0).handle;
  ExpectTrue("showMarquee", EncodableMap{{"content", "second"}});
  ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
  EXPECT_NE(Windows().at(0).handle, first);
  ExpectTrue("showPopup", EncodableMap{{"content", "first"}, {"duration", 30}});
  ASSERT_TRUE(WaitForWindowCount(2, kTimeout));
  ExpectTrue("showFileOpenPrompt", EncodableMap{{"content", "second"}});
  EXPECT_TRUE(WaitForWindowCount(2, kTimeout));
  ExpectTrue("closeMarquee");
  ExpectTrue("closePopup");
  EXPECT_TRUE(WaitForWindowCount(0, kTimeout));
}

TEST_F(OverlayE2eTest, SetNativeStringsThenShowMarqueeDrawsTheNewPrefix) {
  const auto probe = ProbeOverlay("marquee");
  const int height = std::stoi(probe.at("window")[3]);
  const int clipLeft = std::stoi(probe.at("text-clip")[0]);
  const int clipRight = std::stoi(probe.at("text-clip")[1]);

  ExpectTrue("showMarquee", EncodableMap{});
  ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
  std::this_thread::sleep_for(2000ms);
  const std::string before = Shot("marquee-default-prefix");
  ASSERT_GE(TextLeft(before, height, clipLeft, clipRight), clipLeft) << "no text in " << before;
  EXPECT_FALSE(ShowsSolidBlock(before, height, clipLeft, clipRight)) << before;

  ExpectTrue("setNativeStrings", EncodableMap{{"marqueePrefix", "\u2588\u2588\u2588\u2588 "}});
  ExpectTrue("showMarquee", EncodableMap{});
  std::this_thread::sleep_for(2000ms);
  const std::string after = Shot("marquee-new-prefix");
  EXPECT_TRUE(ShowsSolidBlock(after, height, clipLeft, clipRight))
      << "the new prefix's blocks are not in " << after;
  ExpectTrue("closeMarquee");
}

TEST_F(OverlayE2eTest, PopupOpensCentredAndClosesAfterItsDuration) {
  const auto probe = ProbeOverlay("popup");
  const auto& bounds = probe.at("window");
  ExpectTrue("showPopup", EncodableMap{{"title", "Notice"}, {"content", "Body"}, {"duration", 3}});
  ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
  const OverlayWindow note = Windows().at(0);
  EXPECT_EQ(note.left, std::stoi(bounds[0]));
  EXPECT_EQ(note.top, std::stoi(bounds[1]));
  EXPECT_EQ(note.right - note.left, std::stoi(bounds[2]));
  EXPECT_EQ(note.bottom - note.top, std::stoi(bounds[3]));
  std::this_thread::sleep_for(500ms);
  ExpectPoints(Shot("popup"), probe);
  EXPECT_TRUE(WaitForWindowCount(0, 20s)) << "the popup did not close after its duration";
}

class OverlayPromptE2eTest : public OverlayE2eTest {
 protected:
  void SetUp() override {
    OverlayE2eTest::SetUp();
    if (HasFatalFailure()) return;
    folder_ = driver::DriveC() + "/" + kFilesFolder;
    std::filesystem::create_directories(folder_);
    std::filesystem::copy_file(driver::WindowsTests() + "/overlay_open_handler.exe",
                               folder_ + "/overlay_open_handler.exe",
                               std::filesystem::copy_options::overwrite_existing);
    const std::string handler =
        std::string("\\\"C:\\") + kFilesFolder + "\\overlay_open_handler.exe\\\" \\\"%1\\\"";
    ASSERT_EQ(e2e::RunInSession("wine reg add 'HKCR\\.kelvotest' /ve /d KelvoTest.File /f"), 0);
    ASSERT_EQ(
        e2e::RunInSession("wine reg add 'HKCR\\KelvoTest.File\\shell\\open\\command' /ve /d \"" +
                          handler + "\" /f"),
        0);
  }

  // A file of the made-up type under the prefix; its Windows path.
  std::string MakeFile(const std::string& name) {
    std::ofstream(folder_ + "/" + name) << "report";
    std::filesystem::remove(folder_ + "/" + name + ".opened");
    return std::string("C:\\") + kFilesFolder + "\\" + name;
  }
  bool WaitForMarker(const std::string& name, driver::Timeout timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
      if (std::filesystem::exists(folder_ + "/" + name + ".opened")) return true;
      std::this_thread::sleep_for(100ms);
    }
    return false;
  }

  std::string folder_;
};

TEST_F(OverlayPromptE2eTest, TheOpenButtonOpensTheFileThroughTheShellAndCloses) {
  const auto probe = ProbeOverlay("prompt");
  const std::string path = MakeFile("report.kelvotest");
  ExpectTrue("showFileOpenPrompt",
             EncodableMap{{"content", "report.kelvotest"}, {"filePath", path}});
  ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
  std::this_thread::sleep_for(500ms);
  ExpectPoints(Shot("prompt"), probe);
  Click(probe.at("open"));
  EXPECT_TRUE(WaitForWindowCount(0, kTimeout)) << "the prompt stayed open";
  ASSERT_TRUE(WaitForMarker("report.kelvotest", 30s)) << "the shell did not reach the handler";
  EXPECT_EQ(driver::ReadFile(folder_ + "/report.kelvotest.opened"), path);
}

TEST_F(OverlayPromptE2eTest, LaterClosesWithoutOpening) {
  const auto probe = ProbeOverlay("prompt");
  const std::string path = MakeFile("later.kelvotest");
  ExpectTrue("showFileOpenPrompt", EncodableMap{{"filePath", path}});
  ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
  std::this_thread::sleep_for(400ms);
  Click(probe.at("later"));
  EXPECT_TRUE(WaitForWindowCount(0, kTimeout)) << "later did not close the prompt";
  EXPECT_FALSE(WaitForMarker("later.kelvotest", 3s)) << "later opened the file";
}

TEST_F(OverlayPromptE2eTest, APromptWithoutDurationStaysUntilClosePopup) {
  ExpectTrue("showFileOpenPrompt", EncodableMap{{"filePath", MakeFile("stays.kelvotest")}});
  ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
  std::this_thread::sleep_for(2500ms);
  EXPECT_EQ(Windows().size(), 1U);
  ExpectTrue("closePopup");
  EXPECT_TRUE(WaitForWindowCount(0, kTimeout));
  EXPECT_FALSE(std::filesystem::exists(folder_ + "/stays.kelvotest.opened"));
}

TEST_F(OverlayPromptE2eTest, AMissingOrEmptyFilePathClosesOnOpenAndTheLoopGoesOn) {
  const auto probe = ProbeOverlay("prompt");
  for (const std::string& path :
       {std::string("C:\\") + kFilesFolder + "\\absent.kelvotest", std::string()}) {
    ExpectTrue("showFileOpenPrompt", EncodableMap{{"filePath", path}});
    ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
    std::this_thread::sleep_for(400ms);
    Click(probe.at("open"));
    EXPECT_TRUE(WaitForWindowCount(0, kTimeout)) << "open with '" << path << "'";
  }
  ExpectTrue("closePopup");
}

TEST_F(OverlayE2eTest, BadInputGetsItsDocumentedAnswerAndTheLoopGoesOn) {
  const std::string huge(1 << 20, 'x');
  ExpectTrue("showMarquee", EncodableMap{{"content", huge}, {"playCount", 1}});
  ExpectTrue("showPopup", EncodableMap{{"content", huge}, {"duration", 30}});
  ASSERT_TRUE(WaitForWindowCount(2, kTimeout));
  // Control characters and a lone surrogate's bytes, which the conversion replaces.
  const std::string odd = std::string("a\tb\r\nc\x01") + "\xED\xA0\x80" + "d";
  ExpectTrue("showMarquee", EncodableMap{{"title", odd}, {"content", odd}});
  ExpectTrue("showPopup", EncodableMap{{"title", odd}, {"content", odd}});
  // Wrong types take their defaults: an empty title, five passes, five seconds.
  ExpectTrue("showMarquee", EncodableMap{{"title", 5}, {"content", true}, {"playCount", "9"}});
  ExpectTrue("showPopup", EncodableMap{{"title", EncodableList{}}, {"duration", int64_t{3}}});
  ExpectTrue("setNativeStrings", EncodableMap{{"later", 1}, {"openFile", EncodableMap{}}});
  for (const char* method :
       {"showMarquee", "showPopup", "showFileOpenPrompt", "setNativeStrings"}) {
    const MethodReply reply = Overlay(method, EncodableValue());
    EXPECT_EQ(reply.kind, MethodReply::Kind::kError) << method;
    EXPECT_EQ(reply.errorCode, "INVALID_ARGS") << method;
  }
  EXPECT_EQ(Overlay("showToast", EncodableMap{}).kind, MethodReply::Kind::kNotImplemented);
  std::this_thread::sleep_for(500ms);
  Shot("bad-input");
  ASSERT_EQ(Windows().size(), 2U);
  ExpectTrue("closeMarquee");
  ExpectTrue("closePopup");
  EXPECT_TRUE(WaitForWindowCount(0, kTimeout));
  EXPECT_TRUE(app_.running());
}

// ---- Figures: printed, never checked ----

// The Linux process that runs this session's KelvoTarnel.exe: Wine names the process after the
// program, while the launchers around it (timeout, the shell) keep their own names.
pid_t AppPid() {
  const std::string prefix = "WINEPREFIX=" + driver::WineRoot() + "/prefix";
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    if (name.find_first_not_of("0123456789") != std::string::npos) continue;
    if (driver::ReadFile(entry.path().string() + "/comm") != "KelvoTarnel.exe\n") continue;
    const std::string environ = driver::ReadFile(entry.path().string() + "/environ");
    if (environ.find(prefix + '\0') == std::string::npos) continue;
    return static_cast<pid_t>(std::stoi(name));
  }
  return -1;
}

// utime + stime of the process, in clock ticks.
long long CpuTicks(pid_t pid) {
  const std::string stat = driver::ReadFile("/proc/" + std::to_string(pid) + "/stat");
  std::istringstream fields(stat.substr(stat.rfind(')') + 2));
  std::string field;
  long long utime = 0, stime = 0;
  for (int i = 3; fields >> field; ++i) {
    if (i == 14) utime = std::stoll(field);
    if (i == 15) {
      stime = std::stoll(field);
      break;
    }
  }
  return utime + stime;
}

TEST_F(OverlayE2eTest, FigureCpuOfScrollingNextToIdleAndPaintingNextToBitBlt) {
  const pid_t pid = AppPid();
  ASSERT_GT(pid, 0) << "no KelvoTarnel.exe of this session";
  const double tick = static_cast<double>(::sysconf(_SC_CLK_TCK));
  constexpr auto kSpan = 10s;
  long long start = CpuTicks(pid);
  std::this_thread::sleep_for(kSpan);
  const double idle = (CpuTicks(pid) - start) / tick / 10.0 * 100.0;

  ExpectTrue("showMarquee",
             EncodableMap{{"content", "a marquee text of ordinary length, as a notice would carry"},
                          {"playCount", 100}});
  ASSERT_TRUE(WaitForWindowCount(1, kTimeout));
  start = CpuTicks(pid);
  std::this_thread::sleep_for(kSpan);
  const double scrolling = (CpuTicks(pid) - start) / tick / 10.0 * 100.0;
  ASSERT_EQ(Windows().size(), 1U) << "the marquee was not open for the whole span";
  ExpectTrue("closeMarquee");
  std::printf(
      "# figure %s: CPU of one core, idle %.2f %%, marquee scrolling %.2f %% "
      "(over 10 s each, /proc/%d/stat utime+stime)\n",
      Label().c_str(), idle, scrolling, static_cast<int>(pid));

  const std::string bench = Capture("timeout 300 wine '" + driver::WindowsTests() +
                                    "/overlay_paint_bench.exe' 200 | tr -d '\\r'");
  EXPECT_NE(bench.find("ratio"), std::string::npos) << bench;
  std::istringstream lines(bench);
  for (std::string line; std::getline(lines, line);) {
    std::printf("# figure %s: %s\n", Label().c_str(), line.c_str());
  }
}

}  // namespace
