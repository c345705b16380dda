// Channels on the messenger of an engine of the simulated embedder, and the engine's life as the
// channels see it: which messenger an engine, its registrar and its view controller hand out,
// and what becomes of answers once the engine is gone.
#include "answer_recorder.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/geometry.h"
#include "channels/binary_messenger_impl.h"
#include "channels/method_channel.h"
#include "channels/standard_codec.h"
#include "engine_abi/flutter_embedder.h"
#include "platform/user.h"
#include "sim_core.h"
#include "sim_embedder.h"
#include "sim_messenger.h"
#include "sim_user.h"

namespace {

using ::testing::ElementsAre;
using Bytes = std::vector<uint8_t>;

const std::string kChannel = "com.kelvo.tarnel/engine";

const StandardMethodCodec& Codec() { return StandardMethodCodec::GetInstance(); }

Bytes CallBytes(const std::string& method) {
  return *Codec().EncodeMethodCall(MethodCall(method, nullptr));
}

// The journal from `entry` on, without what other parts of the simulation recorded.
std::vector<std::string> EmbedderJournalFrom(size_t entry) {
  std::vector<std::string> calls;
  const std::vector<std::string> journal = sim::Journal();
  for (size_t i = entry; i < journal.size(); ++i) {
    if (journal[i].rfind("FlutterDesktop", 0) == 0 || journal[i] == "engine destroyed") {
      calls.push_back(journal[i]);
    }
  }
  return calls;
}

bool Available(FlutterDesktopMessengerRef messenger) {
  FlutterDesktopMessengerLock(messenger);
  const bool available = FlutterDesktopMessengerIsAvailable(messenger);
  FlutterDesktopMessengerUnlock(messenger);
  return available;
}

class EngineMessengerTest : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }

  void TearDown() override {
    EXPECT_EQ(sim::EngineMessenger().RuleViolations(), 0);
    EXPECT_EQ(sim::EngineMessenger().StrayResponses(), 0);
  }

  static FlutterDesktopEngineRef CreateEngine() {
    const std::u16string assets = u"data\\flutter_assets";
    const std::u16string icu = u"data\\icudtl.dat";
    const std::u16string aot = u"data\\app.so";
    std::vector<const char*> arguments = {"--tray-only", "--x=1"};
    FlutterDesktopEngineProperties properties = {};
    properties.assets_path = reinterpret_cast<const FlutterDesktopWideChar*>(assets.c_str());
    properties.icu_data_path = reinterpret_cast<const FlutterDesktopWideChar*>(icu.c_str());
    properties.aot_library_path = reinterpret_cast<const FlutterDesktopWideChar*>(aot.c_str());
    properties.dart_entrypoint = "kioskMain";
    properties.dart_entrypoint_argc = static_cast<int>(arguments.size());
    properties.dart_entrypoint_argv = arguments.data();
    return FlutterDesktopEngineCreate(&properties);
  }
};

// ---- Engines ----

TEST_F(EngineMessengerTest, AnEngineKeepsItsPropertiesAndHasAMessengerOfItsOwn) {
  const FlutterDesktopEngineRef first = CreateEngine();
  ASSERT_NE(first, nullptr);
  const FlutterDesktopMessengerRef firstMessenger = FlutterDesktopEngineGetMessenger(first);
  const FlutterDesktopEngineRef second = CreateEngine();
  ASSERT_NE(second, nullptr);
  EXPECT_NE(second, first);
  EXPECT_NE(FlutterDesktopEngineGetMessenger(second), firstMessenger);
  EXPECT_EQ(FlutterDesktopEngineGetMessenger(second), sim::EngineMessenger().ref());
  EXPECT_EQ(sim::LiveEngineCount(), 2);

  const auto properties = sim::LastEngineProperties();
  ASSERT_TRUE(properties.has_value());
  EXPECT_EQ(properties->assetsPath, u"data\\flutter_assets");
  EXPECT_EQ(properties->icuDataPath, u"data\\icudtl.dat");
  EXPECT_EQ(properties->aotLibraryPath, u"data\\app.so");
  EXPECT_EQ(properties->entrypoint, "kioskMain");
  EXPECT_EQ(properties->arguments, (std::vector<std::string>{"--tray-only", "--x=1"}));
}

TEST_F(EngineMessengerTest, AFailedCreationLeavesNoEngine) {
  sim::SetEmbedderBehaviour({.engineCreateFails = true});
  EXPECT_EQ(CreateEngine(), nullptr);
  EXPECT_EQ(sim::LiveEngineCount(), 0);
  EXPECT_FALSE(sim::LastEngineProperties().has_value());
  EXPECT_THAT(EmbedderJournalFrom(0), ElementsAre("FlutterDesktopEngineCreate"));
}

TEST_F(EngineMessengerTest, AnEngineRunsOnce) {
  const FlutterDesktopEngineRef engine = CreateEngine();
  EXPECT_FALSE(sim::EngineRunning(engine));
  EXPECT_TRUE(FlutterDesktopEngineRun(engine, nullptr));
  EXPECT_TRUE(sim::EngineRunning(engine));
  EXPECT_FALSE(FlutterDesktopEngineRun(engine, "other"));
  EXPECT_THAT(EmbedderJournalFrom(0),
              ElementsAre("FlutterDesktopEngineCreate", "FlutterDesktopEngineRun ",
                          "FlutterDesktopEngineRun other"));
}

TEST_F(EngineMessengerTest, AnEngineThatCannotRunStaysStopped) {
  sim::SetEmbedderBehaviour({.engineRunFails = true});
  const FlutterDesktopEngineRef engine = CreateEngine();
  EXPECT_FALSE(FlutterDesktopEngineRun(engine, "main"));
  EXPECT_FALSE(sim::EngineRunning(engine));
  EXPECT_EQ(sim::LiveEngineCount(), 1);
}

TEST_F(EngineMessengerTest, ADestroyedEngineRefusesEveryCall) {
  const FlutterDesktopEngineRef engine = CreateEngine();
  ASSERT_TRUE(FlutterDesktopEngineDestroy(engine));
  EXPECT_EQ(sim::LiveEngineCount(), 0);
  EXPECT_FALSE(FlutterDesktopEngineDestroy(engine));
  EXPECT_FALSE(FlutterDesktopEngineRun(engine, nullptr));
  EXPECT_EQ(FlutterDesktopEngineGetMessenger(engine), nullptr);
  EXPECT_EQ(FlutterDesktopEngineGetPluginRegistrar(engine, "UrlLauncherWindows"), nullptr);
  EXPECT_EQ(FlutterDesktopViewControllerCreate(10, 10, engine), nullptr);
  FlutterDesktopEngineReloadSystemFonts(engine);
  EXPECT_THAT(
      EmbedderJournalFrom(0),
      ElementsAre("FlutterDesktopEngineCreate", "FlutterDesktopEngineDestroy", "engine destroyed",
                  "FlutterDesktopEngineDestroy", "FlutterDesktopEngineRun ",
                  "FlutterDesktopEngineGetPluginRegistrar UrlLauncherWindows",
                  "FlutterDesktopViewControllerCreate 10x10",
                  "FlutterDesktopEngineReloadSystemFonts (no engine)"));
}

TEST_F(EngineMessengerTest, EveryPluginsRegistrarHandsOutTheEnginesMessenger) {
  const FlutterDesktopEngineRef engine = CreateEngine();
  const FlutterDesktopPluginRegistrarRef registrar =
      FlutterDesktopEngineGetPluginRegistrar(engine, "WindowManagerPlugin");
  ASSERT_NE(registrar, nullptr);
  EXPECT_EQ(FlutterDesktopPluginRegistrarGetMessenger(registrar),
            FlutterDesktopEngineGetMessenger(engine));
  EXPECT_EQ(sim::Journal().back(), "FlutterDesktopEngineGetPluginRegistrar WindowManagerPlugin");
}

// ---- Channels on the engine's messenger ----

TEST_F(EngineMessengerTest, AChannelOnTheEnginesMessengerAnswersDart) {
  const FlutterDesktopEngineRef engine = CreateEngine();
  BinaryMessengerImpl messenger(FlutterDesktopEngineGetMessenger(engine));
  MethodChannel channel(&messenger, kChannel, &Codec());
  channel.SetMethodCallHandler([](const MethodCall& call, std::unique_ptr<MethodResult> result) {
    result->Success(EncodableValue(call.method_name()));
  });

  sim::FakeMessenger& dart = sim::EngineMessenger();
  const auto responses = dart.ResponsesTo(dart.Deliver(kChannel, CallBytes("ping")));
  ASSERT_EQ(responses.size(), 1u);
  Answer answer;
  ASSERT_TRUE(Codec().DecodeAndProcessResponseEnvelope(
      responses[0].bytes.data(), responses[0].bytes.size(), Recorder(answer).get()));
  EXPECT_EQ(answer.kind, Answer::kSuccess);
  EXPECT_EQ(answer.value, EncodableValue("ping"));
  EXPECT_EQ(dart.References(), 0);
}

TEST_F(EngineMessengerTest, AnAnswerAfterTheEngineIsDestroyedIsDropped) {
  const FlutterDesktopEngineRef engine = CreateEngine();
  const FlutterDesktopMessengerRef ref = FlutterDesktopEngineGetMessenger(engine);
  BinaryMessengerImpl messenger(ref);
  MethodChannel channel(&messenger, kChannel, &Codec());
  std::unique_ptr<MethodResult> kept;
  channel.SetMethodCallHandler(
      [&](const MethodCall&, std::unique_ptr<MethodResult> result) { kept = std::move(result); });

  sim::FakeMessenger& dart = sim::EngineMessenger();
  const int delivery = dart.Deliver(kChannel, CallBytes("late"));
  EXPECT_EQ(dart.References(), 1);
  EXPECT_TRUE(Available(ref));
  ASSERT_TRUE(FlutterDesktopEngineDestroy(engine));
  // The reference keeps the messenger object; only the engine behind it is gone.
  EXPECT_FALSE(Available(ref));

  kept->Success(EncodableValue(true));
  kept.reset();
  EXPECT_TRUE(dart.ResponsesTo(delivery).empty());
  EXPECT_EQ(dart.References(), 0);
}

// ---- View controllers ----

TEST_F(EngineMessengerTest, AControllerRunsItsEngineAndShowsAViewWindowOfItsSize) {
  const FlutterDesktopEngineRef engine = CreateEngine();
  const FlutterDesktopViewControllerRef controller =
      FlutterDesktopViewControllerCreate(300, 200, engine);
  ASSERT_NE(controller, nullptr);
  EXPECT_TRUE(sim::EngineRunning(engine));
  EXPECT_EQ(FlutterDesktopViewControllerGetEngine(controller), engine);
  EXPECT_EQ(sim::LiveViewControllerCount(), 1);

  const FlutterDesktopViewRef view = FlutterDesktopViewControllerGetView(controller);
  ASSERT_NE(view, nullptr);
  const platform::WindowHandle window = FlutterDesktopViewGetHWND(view);
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(sim::ViewWindow(), window);
  EXPECT_TRUE(platform::IsWindow(window));
  EXPECT_TRUE(platform::IsWindowVisible(window));
  Rect client;
  ASSERT_TRUE(platform::GetClientRect(window, &client));
  EXPECT_EQ(client.right - client.left, 300);
  EXPECT_EQ(client.bottom - client.top, 200);

  FlutterDesktopViewControllerDestroy(controller);
}

std::intptr_t HostProcedure(platform::WindowHandle window, unsigned message, std::uintptr_t wParam,
                            std::intptr_t lParam) {
  return platform::DefWindowProcW(window, message, wParam, lParam);
}

TEST_F(EngineMessengerTest, TheViewIsAChildThatTheHostWindowAdopts) {
  platform::WindowClass hostClass;
  hostClass.procedure = &HostProcedure;
  hostClass.className = u"KtEngineHost";
  ASSERT_NE(platform::RegisterClassW(hostClass), 0);
  const platform::WindowHandle host = platform::CreateWindowExW(
      0, u"KtEngineHost", u"host", platform::kWsOverlappedWindow | platform::kWsVisible, 0, 0, 800,
      600, nullptr, nullptr, nullptr, nullptr);
  ASSERT_NE(host, nullptr);
  const FlutterDesktopViewControllerRef controller =
      FlutterDesktopViewControllerCreate(300, 200, CreateEngine());
  ASSERT_NE(controller, nullptr);
  const platform::WindowHandle view = sim::ViewWindow();
  ASSERT_NE(view, nullptr);

  platform::SetParent(view, host);
  const auto adopted = sim::Window(view);
  ASSERT_TRUE(adopted.has_value());
  EXPECT_EQ(adopted->parent, host);
  EXPECT_NE(adopted->style & platform::kWsChild, 0u);
  EXPECT_EQ(platform::GetAncestor(view, platform::kGaRoot), host);

  FlutterDesktopViewControllerDestroy(controller);
  EXPECT_FALSE(platform::IsWindow(view));
  EXPECT_TRUE(platform::IsWindow(host));
  platform::DestroyWindow(host);
}

TEST_F(EngineMessengerTest, AControllersEngineGoesOnlyWithTheController) {
  const FlutterDesktopEngineRef engine = CreateEngine();
  const FlutterDesktopMessengerRef ref = FlutterDesktopEngineGetMessenger(engine);
  const FlutterDesktopViewControllerRef controller =
      FlutterDesktopViewControllerCreate(300, 200, engine);
  ASSERT_NE(controller, nullptr);
  const platform::WindowHandle window = sim::ViewWindow();
  EXPECT_FALSE(FlutterDesktopEngineDestroy(engine));
  EXPECT_EQ(sim::LiveEngineCount(), 1);

  const size_t start = sim::Journal().size();
  FlutterDesktopViewControllerDestroy(controller);
  EXPECT_THAT(EmbedderJournalFrom(start),
              ElementsAre("FlutterDesktopViewControllerDestroy", "engine destroyed"));
  EXPECT_FALSE(platform::IsWindow(window));
  EXPECT_EQ(sim::ViewWindow(), nullptr);
  EXPECT_EQ(sim::LiveViewControllerCount(), 0);
  EXPECT_EQ(sim::LiveEngineCount(), 0);
  EXPECT_FALSE(Available(ref));
  EXPECT_EQ(FlutterDesktopViewControllerGetView(controller), nullptr);
  EXPECT_EQ(FlutterDesktopViewControllerGetEngine(controller), nullptr);
}

TEST_F(EngineMessengerTest, AFailedControllerTakesTheEngineItWasGiven) {
  sim::SetEmbedderBehaviour({.viewControllerCreateFails = true});
  const FlutterDesktopEngineRef engine = CreateEngine();
  EXPECT_EQ(FlutterDesktopViewControllerCreate(300, 200, engine), nullptr);
  EXPECT_EQ(sim::LiveEngineCount(), 0);
  EXPECT_EQ(sim::LiveViewControllerCount(), 0);
  EXPECT_EQ(sim::ViewWindow(), nullptr);
  EXPECT_THAT(EmbedderJournalFrom(0),
              ElementsAre("FlutterDesktopEngineCreate",
                          "FlutterDesktopViewControllerCreate 300x200", "engine destroyed"));
}

TEST_F(EngineMessengerTest, AControllerWhoseEngineCannotStartFails) {
  sim::SetEmbedderBehaviour({.engineRunFails = true});
  const FlutterDesktopEngineRef engine = CreateEngine();
  EXPECT_EQ(FlutterDesktopViewControllerCreate(300, 200, engine), nullptr);
  EXPECT_EQ(sim::LiveEngineCount(), 0);
  EXPECT_EQ(sim::LiveViewControllerCount(), 0);
}

TEST_F(EngineMessengerTest, AControllerWithoutAViewHasNoWindow) {
  sim::SetEmbedderBehaviour({.viewMissing = true});
  const FlutterDesktopEngineRef engine = CreateEngine();
  const FlutterDesktopViewControllerRef controller =
      FlutterDesktopViewControllerCreate(300, 200, engine);
  ASSERT_NE(controller, nullptr);
  EXPECT_EQ(FlutterDesktopViewControllerGetView(controller), nullptr);
  EXPECT_EQ(sim::ViewWindow(), nullptr);
  FlutterDesktopViewControllerDestroy(controller);
  EXPECT_EQ(sim::LiveEngineCount(), 0);
}

TEST_F(EngineMessengerTest, TheViewAnswersOnlyTheTopLevelMessagesItClaims) {
  const FlutterDesktopViewControllerRef controller =
      FlutterDesktopViewControllerCreate(300, 200, CreateEngine());
  ASSERT_NE(controller, nullptr);
  sim::ClaimTopLevelMessage(platform::kWmUser + 7, 42);
  intptr_t result = 0;
  EXPECT_FALSE(FlutterDesktopViewControllerHandleTopLevelWindowProc(
      controller, nullptr, platform::kWmSize, 0, 0, &result));
  EXPECT_TRUE(FlutterDesktopViewControllerHandleTopLevelWindowProc(
      controller, nullptr, platform::kWmUser + 7, 0, 0, &result));
  EXPECT_EQ(result, 42);
  EXPECT_THAT(sim::OfferedTopLevelMessages(),
              ElementsAre(platform::kWmSize, platform::kWmUser + 7));

  FlutterDesktopViewControllerDestroy(controller);
  EXPECT_FALSE(FlutterDesktopViewControllerHandleTopLevelWindowProc(
      controller, nullptr, platform::kWmUser + 7, 0, 0, &result));
  EXPECT_EQ(sim::OfferedTopLevelMessages().size(), 2u);
}

// ---- Process-wide helpers ----

TEST_F(EngineMessengerTest, TheViewWindowHasTheDpiOfTheMonitorItIsOn) {
  sim::SetMonitor({.dpi = 144});
  const FlutterDesktopViewControllerRef controller =
      FlutterDesktopViewControllerCreate(300, 200, CreateEngine());
  ASSERT_NE(controller, nullptr);
  EXPECT_EQ(FlutterDesktopGetDpiForHWND(sim::ViewWindow()), 144u);
  FlutterDesktopViewControllerDestroy(controller);
}

TEST_F(EngineMessengerTest, ResyncingTheOutputStreamsIsJournalled) {
  FlutterDesktopResyncOutputStreams();
  EXPECT_THAT(EmbedderJournalFrom(0), ElementsAre("FlutterDesktopResyncOutputStreams"));
}

}  // namespace
