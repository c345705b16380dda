// The capture exports of the real executable under Wine, called by name through the engine
// stand-in (kind-8 frames) as the Dart side calls them through its foreign-function interface.
// The screen is made still by screen_blocks.exe, a topmost window of known colour blocks over the
// whole display, so that the exports' PNG can be compared with an X screenshot pixel for pixel.
#include <gtest/gtest.h>
#include <stdio.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "app_session.h"
#include "engine_driver.h"
#include "wine_process.h"

namespace {

using namespace std::chrono_literals;
using frames::CallArgument;
using frames::CallResult;

constexpr std::size_t kRecordSize = 272;
constexpr std::uint8_t kPoison = 0xCD;

// The colours screen_blocks.exe paints, 4 by 3 over the whole screen.
constexpr std::array<std::array<std::array<std::uint8_t, 3>, 4>, 3> kBlocks = {{
    {{{255, 0, 0}, {0, 255, 0}, {0, 0, 255}, {255, 255, 0}}},
    {{{0, 255, 255}, {255, 0, 255}, {128, 64, 32}, {32, 128, 200}}},
    {{{250, 250, 250}, {10, 10, 10}, {200, 100, 150}, {60, 180, 75}}},
}};

// What a command in the session's display prints, and its exit status.
std::string Output(const std::string& command, int* status = nullptr) {
  const std::string display = driver::ReadFile(driver::WineRoot() + "/display");
  const std::string full =
      "export DISPLAY=" + display.substr(0, display.find('\n')) + "; " + command + " 2>/dev/null";
  std::string text;
  FILE* pipe = ::popen(full.c_str(), "r");
  if (!pipe) return text;
  std::array<char, 65536> chunk;
  std::size_t read = 0;
  while ((read = std::fread(chunk.data(), 1, chunk.size(), pipe)) > 0)
    text.append(chunk.data(), read);
  const int result = ::pclose(pipe);
  if (status) *status = result;
  return text;
}

struct Image {
  int width = 0;
  int height = 0;
  std::string rgb;  // 3 bytes a pixel, rows top first
  std::array<std::uint8_t, 3> At(int x, int y) const {
    const std::size_t at = (static_cast<std::size_t>(y) * width + x) * 3;
    return {static_cast<std::uint8_t>(rgb[at]), static_cast<std::uint8_t>(rgb[at + 1]),
            static_cast<std::uint8_t>(rgb[at + 2])};
  }
};

Image Decode(const std::string& png) {
  Image image;
  const std::string size = Output("identify -format '%w %h' '" + png + "'");
  if (std::sscanf(size.c_str(), "%d %d", &image.width, &image.height) != 2) return {};
  image.rgb = Output("convert '" + png + "' -depth 8 rgb:-");
  return image;
}

std::int32_t Int32(const CallResult& result) { return static_cast<std::int32_t>(result.result); }

std::int32_t ReadInt(const frames::Bytes& bytes, std::size_t at) {
  std::int32_t value = 0;
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

std::u16string ReadName(const frames::Bytes& bytes, std::size_t record) {
  std::u16string name;
  for (std::size_t unit = 0; unit < 128; ++unit) {
    const std::size_t at = record * kRecordSize + 4 + unit * 2;
    const char16_t c = static_cast<char16_t>(bytes[at] | bytes[at + 1] << 8);
    if (c == 0) break;
    name.push_back(c);
  }
  return name;
}

std::vector<std::string> ScreenshotLines() {
  std::vector<std::string> lines;
  for (const std::string& line : e2e::LogMessages()) {
    if (line.rfind("[SCREENSHOT] ", 0) == 0) lines.push_back(line.substr(13));
  }
  return lines;
}

class CaptureE2eTest : public e2e::AppFixture {
 protected:
  void SetUp() override {
    AppFixture::SetUp();
    if (HasFatalFailure()) return;
    StartApp();
  }
  void TearDown() override {
    blocks_.Kill();
    AppFixture::TearDown();
  }

  CallResult Call(const std::string& name, std::vector<CallArgument> arguments) {
    CallResult result = engine_->CallExport(name, std::move(arguments), e2e::kTimeout);
    EXPECT_TRUE(result.found) << name << " is not exported";
    return result;
  }

  // The still screen: screen_blocks.exe has painted, and X has had time to show it.
  void ShowBlocks() {
    const std::string log = dir_ + "/screen_blocks.log";
    blocks_.Start(driver::WindowsTests() + "/screen_blocks.exe", {}, {}, log);
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (driver::ReadFile(log).find("shown") == std::string::npos) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the blocks were never shown";
      std::this_thread::sleep_for(50ms);
    }
    std::this_thread::sleep_for(700ms);
  }

  driver::WineProcess blocks_;
};

TEST_F(CaptureE2eTest, ScreenListRecordMatchesTheXvfbScreen) {
  const CallResult result =
      Call("GetScreenList",
           {CallArgument::Buffer(frames::Bytes(2 * kRecordSize, kPoison)), CallArgument::Int(2)});
  ASSERT_EQ(Int32(result), 1);
  ASSERT_EQ(result.buffers.size(), 1u);
  const frames::Bytes& records = result.buffers[0];
  int width = 0;
  int height = 0;
  ASSERT_EQ(std::sscanf(Output("xdpyinfo | grep dimensions").c_str(), " dimensions: %dx%d", &width,
                        &height),
            2);
  EXPECT_EQ(ReadInt(records, 0), 0);
  EXPECT_EQ(ReadName(records, 0), u"\\\\.\\DISPLAY1");
  EXPECT_EQ(ReadInt(records, 260), width);
  EXPECT_EQ(ReadInt(records, 264), height);
  EXPECT_EQ(records[268], 1);
  EXPECT_EQ(frames::Bytes(records.begin() + 269, records.begin() + 272), frames::Bytes(3, kPoison));
  EXPECT_EQ(frames::Bytes(records.begin() + kRecordSize, records.end()),
            frames::Bytes(kRecordSize, kPoison));
}

TEST_F(CaptureE2eTest, ScreenListOfANullArrayIsZero) {
  EXPECT_EQ(Int32(Call("GetScreenList", {CallArgument::Int(0), CallArgument::Int(4)})), 0);
}

TEST_F(CaptureE2eTest, ScreenListWithAMaximumOfZeroWritesNoRecord) {
  const CallResult result =
      Call("GetScreenList",
           {CallArgument::Buffer(frames::Bytes(kRecordSize, kPoison)), CallArgument::Int(0)});
  EXPECT_EQ(Int32(result), 0);
  ASSERT_EQ(result.buffers.size(), 1u);
  EXPECT_EQ(result.buffers[0], frames::Bytes(kRecordSize, kPoison));
}

// Wine shows one output, so the only maximum below the count is one below 1.
TEST_F(CaptureE2eTest, ScreenListWithAMaximumBelowTheCountFillsExactlyTheMaximum) {
  const CallResult result =
      Call("GetScreenList",
           {CallArgument::Buffer(frames::Bytes(kRecordSize, kPoison)), CallArgument::Int(-1)});
  EXPECT_EQ(Int32(result), 0);
  EXPECT_EQ(result.buffers[0], frames::Bytes(kRecordSize, kPoison));
}

TEST_F(CaptureE2eTest, StartPastTheLastOutputIsNull) {
  EXPECT_EQ(Call("StartScreenCapture", {CallArgument::Int(1)}).result, 0);
  EXPECT_EQ(Call("StartScreenCapture", {CallArgument::Int(0xFFFFFFFF)}).result, 0);
}

TEST_F(CaptureE2eTest, WidthAndHeightOfANullHandleAreZero) {
  EXPECT_EQ(Int32(Call("GetCaptureWidth", {CallArgument::Int(0)})), 0);
  EXPECT_EQ(Int32(Call("GetCaptureHeight", {CallArgument::Int(0)})), 0);
  // Stopping null does nothing, and the process goes on answering.
  Call("StopScreenCapture", {CallArgument::Int(0)});
  EXPECT_EQ(Int32(Call("GetCaptureWidth", {CallArgument::Int(0)})), 0);
}

// Wine's DuplicateOutput answers E_NOTIMPL (the contract test prints it), so the start gives
// null and a frame of a null handle -1. Where duplication works, a frame is the whole screen or
// none within the wait.
TEST_F(CaptureE2eTest, StartOfTheFirstOutputAndAFrameAnswerWhatDuplicationAllows) {
  const std::int64_t handle = Call("StartScreenCapture", {CallArgument::Int(0)}).result;
  std::printf("StartScreenCapture(0) = %#llx\n", static_cast<unsigned long long>(handle));
  if (handle == 0) {
    EXPECT_EQ(Int32(Call("CaptureFrame",
                         {CallArgument::Int(0), CallArgument::Buffer(frames::Bytes(16, kPoison)),
                          CallArgument::Int(16)})),
              -1);
    return;
  }
  const std::int32_t width = Int32(Call("GetCaptureWidth", {CallArgument::Int(handle)}));
  const std::int32_t height = Int32(Call("GetCaptureHeight", {CallArgument::Int(handle)}));
  const std::int32_t size = width * height * 4;
  const CallResult frame =
      Call("CaptureFrame", {CallArgument::Int(handle), CallArgument::Buffer(frames::Bytes(size, 0)),
                            CallArgument::Int(size)});
  EXPECT_TRUE(Int32(frame) == size || Int32(frame) == 0) << Int32(frame);
  Call("StopScreenCapture", {CallArgument::Int(handle)});
}

TEST_F(CaptureE2eTest, ScreenshotPngMatchesAnXvfbScreenshotOfTheStillScreen) {
  ASSERT_NO_FATAL_FAILURE(ShowBlocks());
  const std::string png = dir_ + "/shot.png";
  const std::string windowsPath = driver::WindowsPath(png);
  const CallResult result =
      Call("CaptureScreenToFile",
           {CallArgument::String(std::u16string(windowsPath.begin(), windowsPath.end()))});
  int status = -1;
  Output("import -window root '" + dir_ + "/xvfb.png'", &status);
  ASSERT_EQ(status, 0) << "import failed";
  EXPECT_EQ(Int32(result), 0);
  EXPECT_EQ(ScreenshotLines(), std::vector<std::string>{"Screenshot saved: " + windowsPath});

  const Image saved = Decode(png);
  const Image screen = Decode(dir_ + "/xvfb.png");
  ASSERT_GT(screen.width, 0);
  ASSERT_EQ(saved.width, screen.width);
  ASSERT_EQ(saved.height, screen.height);
  ASSERT_EQ(saved.rgb.size(), static_cast<std::size_t>(screen.width) * screen.height * 3);
  ASSERT_EQ(screen.rgb.size(), saved.rgb.size());
  std::size_t differing = 0;
  for (std::size_t i = 0; i < saved.rgb.size(); i += 3) {
    differing += saved.rgb.compare(i, 3, screen.rgb, i, 3) != 0;
  }
  EXPECT_EQ(differing, 0u) << "pixels that differ between the PNG and the X screenshot";
  for (int row = 0; row < 3; ++row) {
    for (int column = 0; column < 4; ++column) {
      const int x = screen.width * (2 * column + 1) / 8;
      const int y = screen.height * (2 * row + 1) / 6;
      EXPECT_EQ(saved.At(x, y), kBlocks[row][column]) << "block " << row << "," << column;
    }
  }
}

TEST_F(CaptureE2eTest, PathInAMissingFolderLogsTheStatusThenFailed) {
  const std::string path = "C:\\no_such_folder\\shot.png";
  const CallResult result =
      Call("CaptureScreenToFile", {CallArgument::String(std::u16string(path.begin(), path.end()))});
  EXPECT_EQ(Int32(result), -1);
  const std::vector<std::string> lines = ScreenshotLines();
  ASSERT_EQ(lines.size(), 2u);
  const std::string status = "Error: PNG save failed, status: ";
  ASSERT_EQ(lines[0].rfind(status, 0), 0u) << lines[0];
  const std::string code = lines[0].substr(status.size());
  EXPECT_FALSE(code.empty());
  EXPECT_EQ(code.find_first_not_of("0123456789"), std::string::npos) << code;
  // GenericError, as on Windows.
  EXPECT_EQ(code, "1");
  EXPECT_EQ(lines[1], "Screenshot failed: " + path);
}

TEST_F(CaptureE2eTest, NullPathAnswersMinusOneWithOneLine) {
  EXPECT_EQ(Int32(Call("CaptureScreenToFile", {CallArgument::Int(0)})), -1);
  EXPECT_EQ(ScreenshotLines(), std::vector<std::string>{"Error: File path is null"});
}

// The figure: CaptureScreenToFile next to one full-screen BitBlt, timed in one Wine program over
// the still screen. Printed for the reader; only that every capture succeeded is checked.
TEST_F(CaptureE2eTest, FiguresOfAScreenshotNextToOneBitBltArePrinted) {
  const std::string log = dir_ + "/figures.log";
  blocks_.Start(driver::WindowsTests() + "/screen_blocks.exe",
                {"--measure", driver::WindowsPath(dir_ + "/figure.png"), "15"}, {}, log);
  const std::optional<int> exit = blocks_.Wait(120s);
  std::printf("%s", driver::ReadFile(log).c_str());
  ASSERT_TRUE(exit.has_value()) << "the measurement did not end";
  EXPECT_EQ(*exit, 0);
}

}  // namespace
