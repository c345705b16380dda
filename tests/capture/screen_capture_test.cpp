#include "capture/screen_capture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "app/app_log.h"
#include "platform/capture.h"
#include "sim_capture.h"
#include "sim_core.h"
#include "sim_gdi.h"
#include "sim_kernel.h"
#include "sim_user.h"

namespace {

const std::u16string kLogPath = u"C:\\ProgramData\\KelvoTarnel\\logs\\app.log";
constexpr char kStamp[] = "[2026-3-7 9:5:2] [SCREENSHOT] ";

class CaptureTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    EnsureLogDirectory();
  }
  void TearDown() override {
    EXPECT_EQ(sim::CaptureMisuses(), std::vector<std::string>{});
    EXPECT_EQ(sim::GdiMisuses(), std::vector<std::string>{});
  }

  static std::string Log() { return sim::GetFile(kLogPath).value_or(""); }
  static std::vector<std::string> LogLines() {
    std::vector<std::string> lines;
    const std::string text = Log();
    std::size_t start = 0;
    while (start < text.size()) {
      const std::size_t end = text.find("\r\n", start);
      lines.push_back(text.substr(start, end - start));
      start = end + 2;
    }
    return lines;
  }
  static std::vector<std::string> Entries(std::initializer_list<const char*> prefixes) {
    std::vector<std::string> entries;
    for (const std::string& entry : sim::Journal()) {
      for (const char* prefix : prefixes) {
        if (entry.rfind(prefix, 0) == 0) {
          entries.push_back(entry);
          break;
        }
      }
    }
    return entries;
  }
};

// ---- The screen record ----

TEST(ScreenRecordLayout, FieldsLieAtTheirFixedOffsets) {
  ScreenRecord record;
  std::memset(&record, 0, sizeof record);
  record.index = 0x01020304;
  record.name[0] = u'A';
  record.name[127] = u'Z';
  record.width = 0x11223344;
  record.height = 0x55667788;
  record.attached = 1;
  std::array<unsigned char, 272> bytes;
  std::memcpy(bytes.data(), &record, bytes.size());
  EXPECT_EQ((std::array<unsigned char, 4>{bytes[0], bytes[1], bytes[2], bytes[3]}),
            (std::array<unsigned char, 4>{0x04, 0x03, 0x02, 0x01}));
  EXPECT_EQ(bytes[4], 'A');
  EXPECT_EQ(bytes[5], 0);
  EXPECT_EQ(bytes[258], 'Z');
  EXPECT_EQ(bytes[260], 0x44);
  EXPECT_EQ(bytes[263], 0x11);
  EXPECT_EQ(bytes[264], 0x88);
  EXPECT_EQ(bytes[267], 0x55);
  EXPECT_EQ(bytes[268], 1);
}

// ---- Nothing else of the process started ----

// No log directory, no COM, no window: every export still answers, and the screenshot's line is
// the only thing lost.
TEST(CaptureWithNothingStarted, ExportsAnswerBeforeAnythingElseHasStarted) {
  sim::ResetSimulation();
  ScreenRecord record;
  EXPECT_EQ(GetScreenList(&record, 1), 1);
  ScreenCapture* capture = StartScreenCapture(0);
  EXPECT_NE(capture, nullptr);
  EXPECT_EQ(GetCaptureWidth(capture), 1920);
  StopScreenCapture(capture);
  EXPECT_EQ(CaptureScreenToFile(u"C:\\ProgramData\\first.png"), 0);
  EXPECT_EQ(sim::GetFile(u"C:\\ProgramData\\first.png"), "PNG");
  EXPECT_EQ(sim::GetFile(kLogPath), std::nullopt);
  EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
}

// ---- StartScreenCapture / StopScreenCapture ----

TEST_F(CaptureTest, StartMakesTheHandleOfTheOutputWithItsSize) {
  sim::SetDisplayAdapters({{{sim::SimOutput{u"\\\\.\\DISPLAY1", {0, 0, 1920, 1080}},
                             sim::SimOutput{u"\\\\.\\DISPLAY2", {1920, -200, 3200, 824}}}}});
  ScreenCapture* capture = StartScreenCapture(1);
  ASSERT_NE(capture, nullptr);
  EXPECT_EQ(GetCaptureWidth(capture), 1280);
  EXPECT_EQ(GetCaptureHeight(capture), 1024);
  EXPECT_EQ(
      Entries({"D3D11CreateDevice", "QueryInterface", "GetAdapter", "EnumOutputs", "GetDesc",
               "DuplicateOutput", "CreateTexture2D", "Release"}),
      (std::vector<std::string>{
          "D3D11CreateDevice 1 0x0 0xb000,0xa100,0xa000 -> device#1 context#1",
          "QueryInterface device#1 IDXGIDevice -> dxgi-device#1",
          "GetAdapter dxgi-device#1 -> adapter#1", "EnumOutputs adapter#1 1 -> output#1",
          "GetDesc output#1", "QueryInterface output#1 IDXGIOutput1 -> output1#1",
          "DuplicateOutput output1#1 device#1 -> duplication#1",
          "CreateTexture2D device#1 1280x1024 mips=1 array=1 format=87 samples=1/0 usage=3 "
          "bind=0x0 cpu=0x20000 misc=0x0 -> texture#1",
          // The intermediate objects go at the end; the handle keeps the rest.
          "Release output1#1", "Release output#1", "Release adapter#1", "Release dxgi-device#1"}));
  EXPECT_EQ(sim::LiveCaptureObjects(),
            (std::vector<std::string>{"device#1", "context#1", "duplication#1", "texture#1"}));
  StopScreenCapture(capture);
}

TEST_F(CaptureTest, StopReleasesStagingDuplicationContextAndDeviceInThatOrder) {
  ScreenCapture* capture = StartScreenCapture(0);
  ASSERT_NE(capture, nullptr);
  const std::size_t before = sim::Journal().size();
  StopScreenCapture(capture);
  const std::vector<std::string> journal = sim::Journal();
  EXPECT_EQ(std::vector<std::string>(journal.begin() + static_cast<long>(before), journal.end()),
            (std::vector<std::string>{"Release texture#1", "Release duplication#1",
                                      "Release context#1", "Release device#1"}));
  EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
}

TEST_F(CaptureTest, StopWithANullHandleIsIgnored) {
  StopScreenCapture(nullptr);
  EXPECT_EQ(sim::Journal(), std::vector<std::string>{});
}

TEST_F(CaptureTest, OutputIndexPastTheLastGivesNull) {
  EXPECT_EQ(StartScreenCapture(1), nullptr);
  EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
}

TEST_F(CaptureTest, NoAdapterOutputGivesNull) {
  sim::SetDisplayAdapters({{}});
  EXPECT_EQ(StartScreenCapture(0), nullptr);
  EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
}

// Each step of the start fails in turn: null, nothing left alive, nothing logged, and what was
// made is released newest first.
TEST_F(CaptureTest, EveryFailedStartStepReleasesEverythingMadeSoFar) {
  struct Step {
    const char* function;
    std::vector<std::string> releases;
  };
  const std::vector<Step> steps = {
      {"D3D11CreateDevice", {}},
      {"QueryInterface IDXGIDevice", {"Release context#1", "Release device#1"}},
      {"GetAdapter", {"Release dxgi-device#1", "Release context#1", "Release device#1"}},
      {"EnumOutputs",
       {"Release adapter#1", "Release dxgi-device#1", "Release context#1", "Release device#1"}},
      {"GetDesc",
       {"Release output#1", "Release adapter#1", "Release dxgi-device#1", "Release context#1",
        "Release device#1"}},
      {"QueryInterface IDXGIOutput1",
       {"Release output#1", "Release adapter#1", "Release dxgi-device#1", "Release context#1",
        "Release device#1"}},
      {"DuplicateOutput",
       {"Release output1#1", "Release output#1", "Release adapter#1", "Release dxgi-device#1",
        "Release context#1", "Release device#1"}},
      {"CreateTexture2D",
       {"Release duplication#1", "Release output1#1", "Release output#1", "Release adapter#1",
        "Release dxgi-device#1", "Release context#1", "Release device#1"}},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.function);
    sim::ResetSimulation();
    EnsureLogDirectory();
    sim::FailCaptureCall(step.function, platform::kEFail);
    EXPECT_EQ(StartScreenCapture(0), nullptr);
    EXPECT_EQ(sim::PendingCaptureFailures(), 0);
    EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
    EXPECT_EQ(Entries({"Release"}), step.releases);
    EXPECT_EQ(Log(), "");
  }
}

TEST_F(CaptureTest, DuplicationRefusedAsWineRefusesItGivesNull) {
  sim::FailCaptureCall("DuplicateOutput", static_cast<std::int32_t>(0x80004001));  // E_NOTIMPL
  EXPECT_EQ(StartScreenCapture(0), nullptr);
  EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
}

TEST_F(CaptureTest, WidthAndHeightOfANullHandleAreZero) {
  EXPECT_EQ(GetCaptureWidth(nullptr), 0);
  EXPECT_EQ(GetCaptureHeight(nullptr), 0);
}

// ---- CaptureFrame ----

// Four pixels per row of a 3x2 output, rows 16 bytes apart with padding that must not show.
sim::SimFrame SmallFrame() {
  sim::SimFrame frame;
  frame.pitch = 16;
  frame.bgra = {
      1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 0xEE, 0xEE, 0xEE, 0xEE,
      13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 0xEE, 0xEE, 0xEE, 0xEE,
  };
  return frame;
}

class FrameTest : public CaptureTest {
 protected:
  void SetUp() override {
    CaptureTest::SetUp();
    sim::SetDisplayAdapters({{{sim::SimOutput{u"\\\\.\\DISPLAY1", {0, 0, 3, 2}}}}});
    capture_ = StartScreenCapture(0);
    ASSERT_NE(capture_, nullptr);
    buffer_.assign(24, 0xAB);
  }
  void TearDown() override {
    StopScreenCapture(capture_);
    EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
    CaptureTest::TearDown();
  }
  std::int32_t Capture(std::int32_t size = 24) {
    return CaptureFrame(capture_, buffer_.data(), size);
  }
  bool Acquired() const { return !Entries({"AcquireNextFrame"}).empty(); }

  ScreenCapture* capture_ = nullptr;
  std::vector<std::uint8_t> buffer_;
};

TEST_F(FrameTest, FrameIsWrittenAsPackedRgbaWithoutThePitchPadding) {
  sim::QueueFrame(SmallFrame());
  EXPECT_EQ(Capture(), 24);
  EXPECT_EQ(buffer_, (std::vector<std::uint8_t>{3,  2,  1,  4,  7,  6,  5,  8,  11, 10, 9,  12,
                                                15, 14, 13, 16, 19, 18, 17, 20, 23, 22, 21, 24}));
}

TEST_F(FrameTest, FrameStepsRunInOrderAndReleaseTheFrameThenItsInterfaces) {
  sim::QueueFrame(SmallFrame());
  ASSERT_EQ(Capture(), 24);
  EXPECT_EQ(Entries({"AcquireNextFrame", "QueryInterface resource", "CopyResource", "Map", "Unmap",
                     "ReleaseFrame", "Release texture#2", "Release resource"}),
            (std::vector<std::string>{"AcquireNextFrame duplication#1 100 -> resource#1",
                                      "QueryInterface resource#1 ID3D11Texture2D -> texture#2",
                                      "CopyResource context#1 texture#1 texture#2",
                                      "Map context#1 texture#1 0 1", "Unmap context#1 texture#1 0",
                                      "ReleaseFrame duplication#1", "Release texture#2",
                                      "Release resource#1"}));
}

TEST_F(FrameTest, NullHandleGivesMinusOne) {
  EXPECT_EQ(CaptureFrame(nullptr, buffer_.data(), 24), -1);
  EXPECT_FALSE(Acquired());
}

TEST_F(FrameTest, NullBufferGivesMinusOne) {
  EXPECT_EQ(CaptureFrame(capture_, nullptr, 24), -1);
  EXPECT_FALSE(Acquired());
}

TEST_F(FrameTest, BufferOneByteTooSmallGivesMinusOneWithNoFrameAcquired) {
  sim::QueueFrame(SmallFrame());
  EXPECT_EQ(Capture(23), -1);
  EXPECT_FALSE(Acquired());
  EXPECT_EQ(buffer_, std::vector<std::uint8_t>(24, 0xAB));
}

TEST_F(FrameTest, NegativeBufferSizeGivesMinusOne) {
  EXPECT_EQ(Capture(-1), -1);
  EXPECT_FALSE(Acquired());
}

TEST_F(FrameTest, NoChangeWithinTheWaitGivesZeroAndLeavesTheBufferUntouched) {
  EXPECT_EQ(Capture(), 0);
  EXPECT_EQ(buffer_, std::vector<std::uint8_t>(24, 0xAB));
  EXPECT_EQ(Entries({"ReleaseFrame"}), std::vector<std::string>{});
}

TEST_F(FrameTest, TimeoutReleasesWhatTheAcquireHandedOut) {
  sim::SimFrame timeout;
  timeout.result = platform::kDxgiErrorWaitTimeout;
  timeout.resourceOnFailure = true;
  sim::QueueFrame(timeout);
  EXPECT_EQ(Capture(), 0);
  EXPECT_EQ(Entries({"Release resource"}), std::vector<std::string>{"Release resource#1"});
  EXPECT_EQ(buffer_, std::vector<std::uint8_t>(24, 0xAB));
}

TEST_F(FrameTest, AccessLostGivesMinusOneWithoutReleasingAFrameAndKeepsTheHandle) {
  sim::FailCaptureCall("AcquireNextFrame", platform::kDxgiErrorAccessLost);
  EXPECT_EQ(Capture(), -1);
  EXPECT_EQ(Entries({"ReleaseFrame"}), std::vector<std::string>{});
  EXPECT_EQ(GetCaptureWidth(capture_), 3);
  sim::QueueFrame(SmallFrame());
  EXPECT_EQ(Capture(), 24);
}

TEST_F(FrameTest, TextureOfTheFrameRefusedReleasesTheFrame) {
  sim::QueueFrame(SmallFrame());
  sim::FailCaptureCall("QueryInterface ID3D11Texture2D", platform::kENoInterface);
  EXPECT_EQ(Capture(), -1);
  EXPECT_EQ(Entries({"ReleaseFrame"}), std::vector<std::string>{"ReleaseFrame duplication#1"});
  EXPECT_EQ(Entries({"CopyResource"}), std::vector<std::string>{});
}

TEST_F(FrameTest, MapFailureReleasesTheFrame) {
  sim::QueueFrame(SmallFrame());
  sim::FailCaptureCall("Map", platform::kEFail);
  EXPECT_EQ(Capture(), -1);
  EXPECT_EQ(Entries({"ReleaseFrame", "Unmap"}),
            std::vector<std::string>{"ReleaseFrame duplication#1"});
  EXPECT_EQ(buffer_, std::vector<std::uint8_t>(24, 0xAB));
}

TEST_F(FrameTest, RepeatedGrabsReuseTheOneStagingTexture) {
  for (int i = 0; i < 3; ++i) {
    sim::QueueFrame(SmallFrame());
    EXPECT_EQ(Capture(), 24);
  }
  EXPECT_EQ(Entries({"CreateTexture2D"}).size(), 1u);
}

// width * height * 4 of these outputs does not fit 32 bits: 65536 * 16384 * 4 wraps to 0, which
// would pass a wrapped size check, and 23171 * 23171 * 4 is just above the largest int.
TEST_F(CaptureTest, ProductThatOverflows32BitsGivesMinusOneWithNoFrameAcquired) {
  for (const Rect desktop : {Rect{0, 0, 65536, 16384}, Rect{0, 0, 23171, 23171}}) {
    sim::ResetSimulation();
    sim::SetDisplayAdapters({{{sim::SimOutput{u"\\\\.\\DISPLAY1", desktop}}}});
    ScreenCapture* capture = StartScreenCapture(0);
    ASSERT_NE(capture, nullptr);
    std::vector<std::uint8_t> buffer(16, 0xAB);
    EXPECT_EQ(CaptureFrame(capture, buffer.data(), 16), -1);
    EXPECT_EQ(CaptureFrame(capture, buffer.data(), 0x7FFFFFFF), -1);
    EXPECT_EQ(Entries({"AcquireNextFrame"}), std::vector<std::string>{});
    StopScreenCapture(capture);
  }
}

// ---- GetScreenList ----

std::vector<ScreenRecord> Poisoned(std::size_t count) {
  std::vector<ScreenRecord> records(count);
  std::memset(records.data(), 0xCD, count * sizeof(ScreenRecord));
  return records;
}

std::u16string NameOf(const ScreenRecord& record) { return std::u16string(record.name); }

bool Untouched(const ScreenRecord& record) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
  for (std::size_t i = 0; i < sizeof record; ++i) {
    if (bytes[i] != 0xCD) return false;
  }
  return true;
}

TEST_F(CaptureTest, ScreenListOfANullArrayIsZero) {
  EXPECT_EQ(GetScreenList(nullptr, 4), 0);
  EXPECT_EQ(Entries({"CreateDXGIFactory1"}), std::vector<std::string>{});
}

TEST_F(CaptureTest, ScreenListWithAMaximumOfZeroWritesNoRecord) {
  std::vector<ScreenRecord> records = Poisoned(2);
  EXPECT_EQ(GetScreenList(records.data(), 0), 0);
  EXPECT_EQ(GetScreenList(records.data(), -3), 0);
  EXPECT_TRUE(Untouched(records[0]));
  EXPECT_EQ(Entries({"CreateDXGIFactory1"}), std::vector<std::string>{});
}

TEST_F(CaptureTest, ScreenListFillsTheRecordBytesAndLeavesTheLastThreeUnwritten) {
  sim::SetDisplayAdapters({{{sim::SimOutput{u"\\\\.\\DISPLAY1", {-10, 5, 1270, 1029}, false}}}});
  std::vector<ScreenRecord> records = Poisoned(2);
  ASSERT_EQ(GetScreenList(records.data(), 2), 1);
  const auto* bytes = reinterpret_cast<const unsigned char*>(records.data());
  std::int32_t index = -1, width = 0, height = 0;
  std::memcpy(&index, bytes + 0, 4);
  std::memcpy(&width, bytes + 260, 4);
  std::memcpy(&height, bytes + 264, 4);
  EXPECT_EQ(index, 0);
  EXPECT_EQ(width, 1280);
  EXPECT_EQ(height, 1024);
  EXPECT_EQ(bytes[268], 0);
  EXPECT_EQ((std::vector<unsigned char>(bytes + 269, bytes + 272)),
            (std::vector<unsigned char>{0xCD, 0xCD, 0xCD}));
  const std::u16string name = u"\\\\.\\DISPLAY1";
  for (std::size_t i = 0; i < name.size(); ++i) {
    EXPECT_EQ(bytes[4 + 2 * i], static_cast<unsigned char>(name[i]));
    EXPECT_EQ(bytes[5 + 2 * i], 0);
  }
  EXPECT_EQ(bytes[4 + 2 * name.size()], 0);
  EXPECT_EQ(bytes[5 + 2 * name.size()], 0);
  // The units after the terminator are left as they were.
  EXPECT_EQ(bytes[6 + 2 * name.size()], 0xCD);
  EXPECT_TRUE(Untouched(records[1]));
}

TEST_F(CaptureTest, ScreenListIndexRunsOverAllAdapters) {
  sim::SetDisplayAdapters({
      {{sim::SimOutput{u"A1", {0, 0, 100, 50}}, sim::SimOutput{u"A2", {100, 0, 300, 50}}}},
      {},
      {{sim::SimOutput{u"B1", {0, 50, 640, 530}, false}}},
  });
  std::vector<ScreenRecord> records = Poisoned(8);
  ASSERT_EQ(GetScreenList(records.data(), 8), 3);
  EXPECT_EQ(records[0].index, 0);
  EXPECT_EQ(NameOf(records[0]), u"A1");
  EXPECT_EQ(records[1].index, 1);
  EXPECT_EQ(NameOf(records[1]), u"A2");
  EXPECT_EQ(records[1].width, 200);
  EXPECT_EQ(records[2].index, 2);
  EXPECT_EQ(NameOf(records[2]), u"B1");
  EXPECT_EQ(records[2].height, 480);
  EXPECT_EQ(records[2].attached, 0);
  EXPECT_EQ(records[0].attached, 1);
  EXPECT_TRUE(Untouched(records[3]));
  EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
}

TEST_F(CaptureTest, ScreenListOutputWhoseDescFailsTakesNoIndex) {
  sim::SimOutput broken{u"X", {0, 0, 1, 1}};
  broken.descFails = true;
  sim::SetDisplayAdapters({{{sim::SimOutput{u"A1"}, broken, sim::SimOutput{u"A3"}}}});
  std::vector<ScreenRecord> records = Poisoned(4);
  ASSERT_EQ(GetScreenList(records.data(), 4), 2);
  EXPECT_EQ(NameOf(records[1]), u"A3");
  EXPECT_EQ(records[1].index, 1);
  EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
}

TEST_F(CaptureTest, ScreenListWithAMaximumBelowTheCountFillsExactlyTheMaximum) {
  sim::SetDisplayAdapters(
      {{{sim::SimOutput{u"A1"}, sim::SimOutput{u"A2"}}}, {{sim::SimOutput{u"B1"}}}});
  std::vector<ScreenRecord> records = Poisoned(3);
  EXPECT_EQ(GetScreenList(records.data(), 2), 2);
  EXPECT_TRUE(Untouched(records[2]));
  // It stops as soon as the maximum is reached, without looking further.
  EXPECT_EQ(Entries({"EnumAdapters1"}),
            std::vector<std::string>{"EnumAdapters1 factory#1 0 -> adapter#1"});
  EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
}

TEST_F(CaptureTest, ScreenListCutsLongNamesAt127Units) {
  const std::u16string longName(200, u'n');
  sim::SetDisplayAdapters(
      {{{sim::SimOutput{longName}, sim::SimOutput{std::u16string(127, u'm')}}}});
  std::vector<ScreenRecord> records = Poisoned(2);
  ASSERT_EQ(GetScreenList(records.data(), 2), 2);
  EXPECT_EQ(NameOf(records[0]), std::u16string(127, u'n'));
  EXPECT_EQ(records[0].name[127], u'\0');
  EXPECT_EQ(NameOf(records[1]), std::u16string(127, u'm'));
}

TEST_F(CaptureTest, ScreenListFactoryFailureIsZero) {
  sim::FailCaptureCall("CreateDXGIFactory1", platform::kEFail);
  std::vector<ScreenRecord> records = Poisoned(1);
  EXPECT_EQ(GetScreenList(records.data(), 1), 0);
  EXPECT_TRUE(Untouched(records[0]));
}

TEST_F(CaptureTest, ScreenListReleasesEveryObjectOnEveryFailure) {
  for (const char* function : {"EnumAdapters1", "EnumOutputs", "GetDesc"}) {
    for (int nth = 1; nth <= 3; ++nth) {
      SCOPED_TRACE(std::string(function) + " " + std::to_string(nth));
      sim::ResetSimulation();
      sim::SetDisplayAdapters(
          {{{sim::SimOutput{u"A1"}, sim::SimOutput{u"A2"}}}, {{sim::SimOutput{u"B1"}}}});
      sim::FailCaptureCall(function, platform::kEFail, nth);
      std::vector<ScreenRecord> records = Poisoned(4);
      EXPECT_LE(GetScreenList(records.data(), 4), 3);
      EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
    }
  }
}

// ---- CaptureScreenToFile ----

const std::u16string kShot = u"C:\\ProgramData\\shot.png";

class ScreenshotTest : public CaptureTest {
 protected:
  void TearDown() override {
    // Whatever the path, everything made is gone and GDI+ is down.
    EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
    EXPECT_EQ(sim::LiveGdiObjects(), std::vector<std::string>{});
    EXPECT_EQ(sim::OpenDcCount(), 0);
    CaptureTest::TearDown();
  }
  static std::string Line(const std::string& message) { return kStamp + message; }
  static std::string Narrow(const std::u16string& text) {
    return std::string(text.begin(), text.end());
  }
};

TEST_F(ScreenshotTest, NullPathGivesMinusOneWithOneLineAndNoGdiplusStart) {
  EXPECT_EQ(CaptureScreenToFile(nullptr), -1);
  EXPECT_EQ(LogLines(), std::vector<std::string>{Line("Error: File path is null")});
  EXPECT_EQ(Entries({"Gdiplus"}), std::vector<std::string>{});
}

TEST_F(ScreenshotTest, SavedScreenshotRunsTheStepsInOrderAndLogsThePath) {
  sim::MonitorConfig monitor;
  monitor.primaryScreen = {1280, 720};
  sim::SetMonitor(monitor);
  EXPECT_EQ(CaptureScreenToFile(kShot.c_str()), 0);
  EXPECT_EQ(LogLines(), std::vector<std::string>{Line("Screenshot saved: " + Narrow(kShot))});
  EXPECT_EQ(Entries({"Gdip", "GetDC", "CreateCompatible", "SelectObject", "BitBlt", "Delete"}),
            (std::vector<std::string>{
                "GdiplusStartup -> gdiplus#1", "GetDC null -> dc1", "CreateCompatibleDC dc1 -> dc2",
                "CreateCompatibleBitmap dc1 1280 720 -> bitmap1",
                "SelectObject dc2 bitmap1 -> stock-bitmap",
                "BitBlt dc2 0 0 1280 720 dc1 0 0 0xcc0020 bitmap=stock-bitmap",
                "GdipCreateBitmapFromHBITMAP bitmap1 -> gp-bitmap#1", "GdipGetImageEncodersSize",
                "GdipGetImageEncoders 5 624",
                "GdipSaveImageToFile gp-bitmap#1 C:\\ProgramData\\shot.png image/png",
                "GdipDisposeImage gp-bitmap#1", "SelectObject dc2 stock-bitmap -> bitmap1",
                "DeleteObject bitmap1", "DeleteDC dc2", "GdiplusShutdown gdiplus#1"}));
  ASSERT_EQ(sim::SavedImages().size(), 1u);
  EXPECT_EQ(sim::SavedImages()[0].bitmap, "bitmap1");
  EXPECT_EQ(sim::GetFile(kShot), "PNG");
}

TEST_F(ScreenshotTest, LogLineNumbersAreUnpadded) {
  sim::SetLocalTime({2026, 1, 2, 3, 4, 5});
  CaptureScreenToFile(nullptr);
  EXPECT_EQ(Log(), "[2026-1-2 3:4:5] [SCREENSHOT] Error: File path is null\r\n");
}

TEST_F(ScreenshotTest, LineIsDroppedInSilenceWhenTheLogCannotBeOpened) {
  sim::SetFile(kLogPath, "");
  sim::SetReadOnly(kLogPath, true);
  EXPECT_EQ(CaptureScreenToFile(kShot.c_str()), 0);
  EXPECT_EQ(Log(), "");
  EXPECT_EQ(sim::GetFile(kShot), "PNG");
}

TEST_F(ScreenshotTest, GdiplusStartFailureLogsAndGivesMinusOne) {
  sim::FailCaptureCall("GdiplusStartup", 1);
  EXPECT_EQ(CaptureScreenToFile(kShot.c_str()), -1);
  EXPECT_EQ(LogLines(), std::vector<std::string>{Line("Error: GDI+ initialization failed")});
  EXPECT_EQ(Entries({"GetDC", "GdiplusShutdown"}), std::vector<std::string>{});
}

// Steps 3 to 5: their own line, everything made released, GDI+ shut down, no failed line.
TEST_F(ScreenshotTest, FailuresBeforeTheCopyLogTheirLineOnlyAndShutGdiplusDown) {
  const std::vector<std::pair<const char*, const char*>> steps = {
      {"GetDC", "Error: Failed to get screen device context"},
      {"CreateCompatibleDC", "Error: Failed to create memory device context"},
      {"CreateCompatibleBitmap", "Error: Failed to create bitmap"},
  };
  for (const auto& [function, line] : steps) {
    SCOPED_TRACE(function);
    sim::ResetSimulation();
    EnsureLogDirectory();
    sim::FailGdiCall(function);
    EXPECT_EQ(CaptureScreenToFile(kShot.c_str()), -1);
    EXPECT_EQ(LogLines(), std::vector<std::string>{Line(line)});
    EXPECT_EQ(Entries({"GdiplusShutdown"}), std::vector<std::string>{"GdiplusShutdown gdiplus#1"});
    EXPECT_EQ(sim::LiveGdiObjects(), std::vector<std::string>{});
    EXPECT_EQ(sim::OpenDcCount(), 0);
    EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
  }
}

TEST_F(ScreenshotTest, BitBltFailureLogsThenScreenshotFailedAfterTheRelease) {
  sim::FailGdiCall("BitBlt");
  EXPECT_EQ(CaptureScreenToFile(kShot.c_str()), -1);
  EXPECT_EQ(LogLines(), (std::vector<std::string>{Line("Error: BitBlt copy failed"),
                                                  Line("Screenshot failed: " + Narrow(kShot))}));
  EXPECT_EQ(Entries({"GdipCreateBitmapFromHBITMAP"}), std::vector<std::string>{});
}

TEST_F(ScreenshotTest, SelectFailureCountsAsAFailedCopy) {
  sim::FailGdiCall("SelectObject");
  EXPECT_EQ(CaptureScreenToFile(kShot.c_str()), -1);
  EXPECT_EQ(LogLines(), (std::vector<std::string>{Line("Error: BitBlt copy failed"),
                                                  Line("Screenshot failed: " + Narrow(kShot))}));
}

TEST_F(ScreenshotTest, GdiplusBitmapFailureLogsThenScreenshotFailed) {
  sim::FailCaptureCall("GdipCreateBitmapFromHBITMAP", 3);
  EXPECT_EQ(CaptureScreenToFile(kShot.c_str()), -1);
  EXPECT_EQ(LogLines(), (std::vector<std::string>{Line("Error: Bitmap creation failed"),
                                                  Line("Screenshot failed: " + Narrow(kShot))}));
}

TEST_F(ScreenshotTest, MissingPngEncoderLogsThenScreenshotFailed) {
  sim::SetImageEncoders({{{}, u"image/bmp"}, {{}, u"image/PNG"}, {{}, u"image/png "}});
  EXPECT_EQ(CaptureScreenToFile(kShot.c_str()), -1);
  EXPECT_EQ(LogLines(), (std::vector<std::string>{Line("Error: Failed to get PNG encoder CLSID"),
                                                  Line("Screenshot failed: " + Narrow(kShot))}));
  EXPECT_EQ(Entries({"GdipSaveImageToFile"}), std::vector<std::string>{});
}

TEST_F(ScreenshotTest, EncoderListOfSizeZeroLogsTheEncoderLine) {
  sim::SetImageEncoders({});
  EXPECT_EQ(CaptureScreenToFile(kShot.c_str()), -1);
  EXPECT_EQ(LogLines(), (std::vector<std::string>{Line("Error: Failed to get PNG encoder CLSID"),
                                                  Line("Screenshot failed: " + Narrow(kShot))}));
  EXPECT_EQ(Entries({"GdipGetImageEncoders "}), std::vector<std::string>{});
}

TEST_F(ScreenshotTest, FirstPngEncoderIsTheOneUsed) {
  const Guid first{1, 2, 3, {}};
  const Guid second{4, 5, 6, {}};
  sim::SetImageEncoders({{{}, u"image/bmp"}, {first, u"image/png"}, {second, u"image/png"}});
  EXPECT_EQ(CaptureScreenToFile(kShot.c_str()), 0);
  ASSERT_EQ(sim::SavedImages().size(), 1u);
  EXPECT_EQ(sim::SavedImages()[0].encoder, first);
}

TEST_F(ScreenshotTest, PathInAMissingFolderLogsTheStatusThenScreenshotFailed) {
  const std::u16string path = u"C:\\NoSuchFolder\\shot.png";
  EXPECT_EQ(CaptureScreenToFile(path.c_str()), -1);
  EXPECT_EQ(LogLines(), (std::vector<std::string>{Line("Error: PNG save failed, status: 1"),
                                                  Line("Screenshot failed: " + Narrow(path))}));
  EXPECT_EQ(sim::GetFile(path), std::nullopt);
  // The failed line comes after everything is released and before GDI+ goes down.
  EXPECT_EQ(Entries({"GdipDisposeImage", "DeleteDC", "append", "GdiplusShutdown"}),
            (std::vector<std::string>{"append: " + Line("Error: PNG save failed, status: 1"),
                                      "GdipDisposeImage gp-bitmap#1", "DeleteDC dc2",
                                      "append: " + Line("Screenshot failed: " + Narrow(path)),
                                      "GdiplusShutdown gdiplus#1"}));
}

TEST_F(ScreenshotTest, EveryGdiplusFailureAfterTheCopyReleasesEverything) {
  for (const char* function : {"GdipCreateBitmapFromHBITMAP", "GdipGetImageEncodersSize",
                               "GdipGetImageEncoders", "GdipSaveImageToFile"}) {
    SCOPED_TRACE(function);
    sim::ResetSimulation();
    EnsureLogDirectory();
    sim::FailCaptureCall(function, 2);
    EXPECT_EQ(CaptureScreenToFile(kShot.c_str()), -1);
    EXPECT_EQ(LogLines().back(), Line("Screenshot failed: " + Narrow(kShot)));
    EXPECT_EQ(sim::LiveCaptureObjects(), std::vector<std::string>{});
    EXPECT_EQ(sim::LiveGdiObjects(), std::vector<std::string>{});
    EXPECT_EQ(sim::OpenDcCount(), 0);
  }
}

}  // namespace
