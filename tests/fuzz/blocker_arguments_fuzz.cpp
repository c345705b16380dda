// Arguments from Dart for the blocker channel's methods that read them: any value the codec
// decodes, handed to the real handler over a small simulated desktop. Every call is answered
// once and with success, and what the engine keeps is what the readers make of the value.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "blocker/window_block_rule.h"
#include "blocker/window_blocker.h"
#include "blocker/window_blocker_channel.h"
#include "channels/standard_codec.h"
#include "fuzz_check.h"
#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_user.h"

namespace {

const char* const kMethods[] = {"replaceRules",   "setEnabled",  "setSuperBlock",
                                "blockWindowNow", "getSnapshot", "applyRulesToExistingWindows"};

struct Answer {
  int successes = 0;
  int others = 0;
};

// Two programs' windows for the rules to meet; the desktop's first window is w1, handle 0x10.
void SetUpDesktop() {
  sim::ResetSimulation();
  blocker::WindowBlocker::Instance().ResetForTests();
  sim::SetSleepHook([](unsigned ms) { sim::AdvanceSystemTimeMs(ms); });
  sim::AddProcess(1200, {u"C:\\Apps\\adpop.exe"});
  sim::AddProcess(1300, {u"D:\\Tools\\notes.exe"});
  for (const std::uint32_t pid : {1200u, 1300u}) {
    sim::DesktopWindow window;
    window.pid = pid;
    window.className = u"PopupWindow";
    window.title = u"Special offer";
    window.frameBounds = Rect{100, 100, 500, 400};
    window.windowRect = Rect{100, 100, 500, 400};
    sim::AddDesktopWindow(window);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::string method = kMethods[data[0] % std::size(kMethods)];
  // The method's name as the codec writes it, then the fuzzer's bytes as the arguments.
  std::vector<std::uint8_t> message = {7, static_cast<std::uint8_t>(method.size())};
  message.insert(message.end(), method.begin(), method.end());
  message.insert(message.end(), data + 1, data + size);
  const std::unique_ptr<MethodCall> call =
      StandardMethodCodec::GetInstance().DecodeMethodCall(message);
  if (!call) return 0;

  SetUpDesktop();
  auto answer = std::make_shared<Answer>();
  WindowBlockerChannelHandler(*call, std::make_unique<MethodResultFunctions>(
                                         [answer](const EncodableValue*) { ++answer->successes; },
                                         [answer](const std::string&, const std::string&,
                                                  const EncodableValue*) { ++answer->others; },
                                         [answer] { ++answer->others; }));
  sim::WaitForThreads();
  KT_CHECK(answer->successes == 1);
  KT_CHECK(answer->others == 0);

  const EncodableValue* arguments = call->arguments();
  const auto* map = arguments ? std::get_if<EncodableMap>(arguments) : nullptr;
  const blocker::BlockerSnapshot snapshot = blocker::WindowBlocker::Instance().GetSnapshotData();
  if (method == "replaceRules") {
    const std::vector<blocker::WindowBlockRule> expected =
        blocker::ReadRuleList(map ? EncodableValue(*map) : EncodableValue(EncodableMap{}));
    KT_CHECK(snapshot.rules.size() == expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      KT_CHECK(snapshot.rules[i].id == expected[i].id);
      KT_CHECK(snapshot.rules[i].action == expected[i].action);
    }
  } else if (method == "setEnabled") {
    const auto found =
        map ? map->find(EncodableValue(std::string("enabled"))) : EncodableMap::const_iterator{};
    const bool* given = map && found != map->end() ? std::get_if<bool>(&found->second) : nullptr;
    KT_CHECK(snapshot.enabled == (given ? *given : true));
  }
  // Whatever was asked, the engine never hid or closed more than the two windows it has.
  KT_CHECK(snapshot.blockedLogs.size() <= 2);
  blocker::WindowBlocker::Instance().ResetForTests();
  sim::WaitForThreads();
  return 0;
}
