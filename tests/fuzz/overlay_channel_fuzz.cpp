// Bytes as Dart may send them on the overlay channel, decoded by the codec and handed to the
// handler, then the windows it opened painted, ticked and clicked where the bytes say. Every call
// gets exactly one answer, the documented one for its method and arguments, and whatever the
// windows did, nothing of GDI is misused or left behind once the overlay is shut down.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "channels/method_result.h"
#include "channels/standard_codec.h"
#include "fuzz_check.h"
#include "overlay/marquee.h"
#include "overlay/overlay_channel.h"
#include "overlay/overlay_strings.h"
#include "overlay/overlay_window.h"
#include "overlay/popup.h"
#include "platform/user.h"
#include "sim_core.h"
#include "sim_gdi.h"
#include "sim_user.h"

namespace {

struct Answer {
  int count = 0;
  bool success = false;
  bool isTrue = false;
  bool error = false;
  std::string code;
};

class Recorder : public MethodResult {
 public:
  explicit Recorder(Answer* answer) : answer_(answer) {}

 protected:
  void SuccessInternal(const EncodableValue* result) override {
    ++answer_->count;
    answer_->success = true;
    answer_->isTrue = result && *result == EncodableValue(true);
  }
  void ErrorInternal(const std::string& code, const std::string&, const EncodableValue*) override {
    ++answer_->count;
    answer_->error = true;
    answer_->code = code;
  }
  void NotImplementedInternal() override { ++answer_->count; }

 private:
  Answer* answer_;
};

bool ReadsArguments(const std::string& method) {
  return method == "showMarquee" || method == "showPopup" || method == "showFileOpenPrompt" ||
         method == "setNativeStrings";
}

bool IsKnown(const std::string& method) {
  return ReadsArguments(method) || method == "closeMarquee" || method == "closePopup";
}

void Exercise(platform::WindowHandle window, std::intptr_t click, int ticks) {
  if (!window || !platform::IsWindow(window)) return;
  sim::SendMessage(window, platform::kWmPaint);
  for (int i = 0; i < ticks && platform::IsWindow(window); ++i) {
    sim::SendMessage(window, platform::kWmTimer, kMarqueeTimerId, 0);
    sim::SendMessage(window, platform::kWmTimer, kPopupTimerId, 0);
  }
  if (platform::IsWindow(window)) sim::SendMessage(window, platform::kWmLButtonDown, 0, click);
  if (platform::IsWindow(window)) sim::SendMessage(window, platform::kWmClose);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return 0;
  sim::ResetSimulation();
  GetOverlayStrings() = OverlayStrings{};
  const std::intptr_t click = static_cast<std::intptr_t>(data[0] | data[1] << 8 | data[2] << 16);
  const int ticks = data[3] % 8;
  const auto call = StandardMethodCodec::GetInstance().DecodeMethodCall(data + 4, size - 4);
  if (!call) return 0;

  std::u16string trayShow = u"显示窗口";
  std::u16string trayExit = u"退出";
  Answer answer;
  HandleOverlayCall(*call, std::make_unique<Recorder>(&answer), {&trayShow, &trayExit});
  KT_CHECK(answer.count == 1);
  const std::string& method = call->method_name();
  const EncodableValue* arguments = call->arguments();
  const bool isMap = arguments && std::holds_alternative<EncodableMap>(*arguments);
  if (ReadsArguments(method) && !isMap) {
    KT_CHECK(answer.error && answer.code == "INVALID_ARGS");
    KT_CHECK(sim::LiveWindowCount() == 0);
  } else if (IsKnown(method)) {
    KT_CHECK(answer.success && answer.isTrue);
  } else {
    KT_CHECK(!answer.success && !answer.error);
  }
  // Dart can never clear a text.
  KT_CHECK(!trayShow.empty() && !trayExit.empty() && !GetOverlayStrings().marqueePrefix.empty() &&
           !GetOverlayStrings().later.empty());

  Exercise(GetMarqueeState().window, click, ticks);
  Exercise(GetPopupState().window, click, ticks);
  ShutdownOverlay();
  KT_CHECK(sim::LiveWindowCount() == 0);
  KT_CHECK(GetMarqueeState().window == nullptr && GetPopupState().window == nullptr);
  KT_CHECK(sim::GdiMisuses().empty());
  KT_CHECK(sim::LiveGdiObjects().empty());
  KT_CHECK(sim::OpenDcCount() == 0);
  return 0;
}
