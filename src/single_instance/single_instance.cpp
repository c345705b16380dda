#include "single_instance/single_instance.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/app_log.h"
#include "app/product.h"
#include "base/text.h"
#include "platform/kernel.h"

platform::WindowHandle mainWindowHandle = nullptr;
std::atomic<bool> activationPipeStopFlag{false};

namespace {

using platform::KernelHandle;
using platform::UniqueKernelHandle;
using platform::WindowHandle;
using product::kActivationPipeName;
using product::kActivationRequest;

constexpr std::u16string_view kAcceptedTitles[] = {u"ZMS", u"KelvoTarnel", u"KELVO"};
constexpr std::u16string_view kTitlePart = u"KelvoTarnel";

constexpr int kPipeClientTries = 20;
constexpr unsigned kPipeClientRetryMs = 120;
constexpr int kSearchPasses = 12;
constexpr unsigned kSearchRetryMs = 120;
constexpr int kActivationAttempts = 8;
constexpr unsigned kActivationRetryMs = 120;
constexpr unsigned kPipeCreateRetryMs = 300;

// A server between two clients, one busy with a client, or one not yet up: worth a retry.
constexpr unsigned long kRetriedPipeErrors[] = {
    platform::kErrorFileNotFound, platform::kErrorPipeBusy, platform::kErrorPipeNotConnected};

constexpr std::uint32_t kNoSharing = 0;
constexpr std::uint32_t kPipeMessageReadWait =
    platform::kPipeTypeMessage | platform::kPipeReadmodeMessage;
static_assert(kPipeMessageReadWait == 6);
// Only this machine may knock, and (by the pipe's security) only this logon session.
constexpr std::uint32_t kPipeMode = kPipeMessageReadWait | platform::kPipeRejectRemoteClients;
// Overlapped, so that a client that connects and never writes cannot hold the one server
// instance: its read gives up after this wait.
constexpr std::uint32_t kPipeOpenMode =
    platform::kPipeAccessInbound | platform::kFileFlagOverlapped;
constexpr std::uint32_t kPipeReadWaitMs = 1000;
constexpr std::uint32_t kPipeBufferSize = 64;
constexpr std::uint32_t kPipeDefaultTimeout = 0;
constexpr std::uint32_t kPipeReadCapacity = 64;

constexpr int kClassNameCapacity = 128;
constexpr int kWindowTextCapacity = 256;

constexpr unsigned kSwpNoSizeNoMoveShow =
    platform::kSwpNoSize | platform::kSwpNoMove | platform::kSwpShowWindow;
static_assert(kSwpNoSizeNoMoveShow == 67);
constexpr platform::KeyboardInput kAltTap[] = {{platform::kVkMenu, 0},
                                               {platform::kVkMenu, platform::kKeyEventFKeyUp}};

// Written and read on the main thread only; a started thread's handle is closed at once.
KernelHandle pipeServerThread{};

bool IsRetriedPipeError(unsigned long error) {
  return std::find(std::begin(kRetriedPipeErrors), std::end(kRetriedPipeErrors), error) !=
         std::end(kRetriedPipeErrors);
}

WindowHandle FindCheckedWindow(const char16_t* className, const char16_t* title) {
  const WindowHandle window = platform::FindWindowW(className, title);
  return window && platform::IsWindow(window) ? window : nullptr;
}

bool IsAcceptedTitle(std::u16string_view title) {
  return std::any_of(
      std::begin(kAcceptedTitles), std::end(kAcceptedTitles),
      [title](std::u16string_view accepted) { return EqualsFolded(title, accepted); });
}

bool IsForeground(WindowHandle window) { return platform::GetForegroundWindow() == window; }

int ShowCommandFor(WindowHandle window) {
  return platform::IsIconic(window) ? platform::kSwRestore : platform::kSwShow;
}

std::u16string ClassNameOf(WindowHandle window) {
  char16_t buffer[kClassNameCapacity] = {};
  const int copied = platform::GetClassNameW(window, buffer, kClassNameCapacity);
  return copied > 0 ? std::u16string(buffer, static_cast<std::size_t>(copied)) : std::u16string();
}

std::u16string TitleOf(WindowHandle window) {
  char16_t buffer[kWindowTextCapacity] = {};
  const int copied = platform::GetWindowTextW(window, buffer, kWindowTextCapacity);
  return copied > 0 ? std::u16string(buffer, static_cast<std::size_t>(copied)) : std::u16string();
}

std::optional<std::uint32_t> SessionOf(std::uint32_t processId) {
  std::uint32_t session = 0;
  if (!platform::ProcessIdToSessionId(processId, &session)) return std::nullopt;
  return session;
}

// Lets the running instance take the foreground itself, as it does when its show message comes
// in after we are gone. It names the process of the window found first, whichever window the
// escalation ended on.
void AllowForegroundToProcessOf(WindowHandle first) {
  if (!first) return;
  std::uint32_t processId = 0;
  platform::GetWindowThreadProcessId(first, &processId);
  if (processId != 0) platform::AllowSetForegroundWindow(processId);
}

void PostShowWindow() {
  WindowHandle window = mainWindowHandle;
  if (!window) window = FindExistingWindow();
  if (window) platform::PostMessageW(window, product::kMsgShowWindow, 0, 0);
}

// Holds another thread's input to the target's while the foreground moves, and lets go on
// every path out of ForceForegroundWindow.
class AttachedInput {
 public:
  AttachedInput(std::uint32_t from, std::uint32_t to)
      : from_(from), to_(to), attached_(platform::AttachThreadInput(from, to, true)) {}
  AttachedInput(const AttachedInput&) = delete;
  AttachedInput& operator=(const AttachedInput&) = delete;
  ~AttachedInput() {
    if (attached_) platform::AttachThreadInput(from_, to_, false);
  }

 private:
  std::uint32_t from_;
  std::uint32_t to_;
  bool attached_;
};

}  // namespace

bool IsShowRequest(std::string_view payload) {
  return payload.size() >= kActivationRequest.size() &&
         payload.find(kActivationRequest) != std::string_view::npos;
}

bool EnumExistingWindowProc(WindowHandle window, ExistingWindowSearch* search) {
  if (!platform::IsWindow(window)) return true;
  if (platform::GetWindow(window, platform::kGwOwner)) return true;

  std::uint32_t processId = 0;
  platform::GetWindowThreadProcessId(window, &processId);
  if (processId == 0 || !search || processId == search->ownProcessId) return true;
  // A lookup that fails says nothing about the window, so it does not exclude it.
  const std::optional<std::uint32_t> session = SessionOf(processId);
  if (session && *session != search->ownSessionId) return true;

  const std::u16string className = ClassNameOf(window);
  if (className.empty()) return true;
  if (EqualsFolded(className, product::kMainWindowClass)) {
    search->found = window;
    return false;
  }
  // The lock process shares our name and titles, yet it is never the window to bring forward.
  if (EqualsFolded(className, product::kLockWindowClass)) return true;

  const std::u16string title = TitleOf(window);
  if (IsAcceptedTitle(title) || title.find(kTitlePart) != std::u16string::npos) {
    search->found = window;
    return false;
  }
  return true;
}

WindowHandle FindExistingWindow() {
  const std::u16string mainWindowClass(product::kMainWindowClass);
  if (const WindowHandle byClass = FindCheckedWindow(mainWindowClass.c_str(), nullptr)) {
    return byClass;
  }
  if (const WindowHandle byTitle = platform::FindWindowW(nullptr, u"ZMS")) return byTitle;
  if (const WindowHandle byName = FindCheckedWindow(nullptr, u"KelvoTarnel")) return byName;

  ExistingWindowSearch search;
  search.ownProcessId = platform::GetCurrentProcessId();
  search.ownSessionId = SessionOf(search.ownProcessId).value_or(kUnknownSession);
  platform::EnumWindows(
      [&search](WindowHandle window) { return EnumExistingWindowProc(window, &search); });
  return search.found;
}

WindowHandle FindExistingWindowWithRetry() {
  for (int pass = 0; pass < kSearchPasses; ++pass) {
    if (const WindowHandle window = FindExistingWindow()) return window;
    platform::Sleep(kSearchRetryMs);
  }
  return nullptr;
}

bool SendActivationRequest() {
  for (int attempt = 0; attempt < kPipeClientTries; ++attempt) {
    const UniqueKernelHandle pipe(platform::CreateFileW(
        kActivationPipeName, platform::kGenericWrite, kNoSharing, platform::kOpenExisting, 0));
    if (pipe) {
      std::uint32_t written = 0;
      return platform::WriteFile(pipe.get(), kActivationRequest.data(),
                                 static_cast<std::uint32_t>(kActivationRequest.size()), &written);
    }
    if (!IsRetriedPipeError(platform::GetLastError())) return false;
    platform::Sleep(kPipeClientRetryMs);
  }
  return false;
}

bool ForceForegroundWindow(WindowHandle window) {
  if (!platform::IsWindow(window)) return false;

  platform::ShowWindow(window, ShowCommandFor(window));
  platform::SetWindowPos(window, platform::HwndTop(), 0, 0, 0, 0, kSwpNoSizeNoMoveShow);
  // Another process's window may not have caught up yet; its own queue applies this one in turn.
  platform::ShowWindowAsync(window, ShowCommandFor(window));

  std::optional<AttachedInput> attached;
  if (const WindowHandle foreground = platform::GetForegroundWindow()) {
    const std::uint32_t foregroundThread = platform::GetWindowThreadProcessId(foreground, nullptr);
    const std::uint32_t targetThread = platform::GetWindowThreadProcessId(window, nullptr);
    if (foregroundThread != 0 && targetThread != 0 && foregroundThread != targetThread) {
      attached.emplace(foregroundThread, targetThread);
    }
  }

  platform::SetForegroundWindow(window);
  platform::BringWindowToTop(window);
  if (!IsForeground(window)) platform::SwitchToThisWindow(window, true);
  if (!IsForeground(window)) {
    // An input event of our own makes this process the last one to have had input, which the
    // foreground lock accepts as a reason to let it hand the foreground on.
    platform::SendInput(kAltTap);
    platform::SetForegroundWindow(window);
  }
  if (!IsForeground(window)) {
    platform::SetWindowPos(window, platform::HwndTopmost(), 0, 0, 0, 0, kSwpNoSizeNoMoveShow);
    platform::BringWindowToTop(window);
    platform::SetWindowPos(window, platform::HwndNoTopmost(), 0, 0, 0, 0, kSwpNoSizeNoMoveShow);
  }
  attached.reset();
  return platform::IsWindow(window) && IsForeground(window);
}

std::optional<int> ActivateRunningInstance(UniqueKernelHandle& mutex) {
  const WindowHandle first = FindExistingWindow();
  WindowHandle target = first;
  int attempts = 0;
  while (true) {
    if (!(SendActivationRequest() && platform::IsWindow(target))) {
      target = FindExistingWindowWithRetry();
      if (!target) {
        platform::Sleep(kActivationRetryMs);
        if (++attempts >= kActivationAttempts) break;
        continue;
      }
    }
    if (ForceForegroundWindow(target)) {
      AllowForegroundToProcessOf(first);
      mutex.reset();
      WriteAppLog(u"Application exiting (activated existing instance)");
      return 0;
    }
    platform::Sleep(kActivationRetryMs);
    if (++attempts >= kActivationAttempts) break;
  }

  if (const WindowHandle last = FindExistingWindowWithRetry()) {
    ForceForegroundWindow(last);
    WriteAppLog(u"Applied direct show/focus to existing window");
    mutex.reset();
    WriteAppLog(u"Application exiting (another instance found)");
    return 0;
  }
  WriteAppLog(u"Could not find existing window handle");
  WriteAppLog(u"No target window found; continuing to run foreground instance");
  // The handle names the other instance's mutex, never ours: this process runs on without one.
  mutex.reset();
  return std::nullopt;
}

std::u16string ActivationPipeSecurity() {
  KernelHandle token{};
  if (!platform::OpenProcessToken(platform::GetCurrentProcess(), platform::kTokenQuery, &token)) {
    return {};
  }
  const UniqueKernelHandle owned(token);
  std::vector<platform::TokenGroup> groups;
  if (!platform::GetTokenGroups(token, &groups)) return {};
  for (const platform::TokenGroup& group : groups) {
    if ((group.attributes & platform::kSeGroupLogonId) == platform::kSeGroupLogonId) {
      // Protected, so that nothing inherited widens it: all access for the session, none else.
      return u"D:P(A;;GA;;;" + group.sid + u")";
    }
  }
  return {};
}

void ActivationPipeServerThread() {
  const std::u16string security = ActivationPipeSecurity();
  while (!activationPipeStopFlag.load()) {
    // Without a logon session to name, the pipe keeps the default security of the account.
    const UniqueKernelHandle pipe(
        security.empty()
            ? platform::CreateNamedPipeW(kActivationPipeName, kPipeOpenMode, kPipeMode,
                                         platform::kPipeUnlimitedInstances, kPipeBufferSize,
                                         kPipeBufferSize, kPipeDefaultTimeout)
            : platform::CreateNamedPipeW(kActivationPipeName, kPipeOpenMode, kPipeMode,
                                         platform::kPipeUnlimitedInstances, kPipeBufferSize,
                                         kPipeBufferSize, kPipeDefaultTimeout, security));
    if (!pipe) {
      platform::Sleep(kPipeCreateRetryMs);
      continue;
    }
    if (!platform::ConnectNamedPipe(pipe.get()) &&
        platform::GetLastError() != platform::kErrorPipeConnected) {
      continue;
    }
    char payload[kPipeReadCapacity];
    std::uint32_t read = 0;
    // Only posted: the window is shown on the main thread, which owns it. A longer message fails
    // the read.
    if (platform::ReadFile(pipe.get(), payload, kPipeReadCapacity, &read, kPipeReadWaitMs) &&
        IsShowRequest(std::string_view(payload, read))) {
      PostShowWindow();
    }
    platform::FlushFileBuffers(pipe.get());
    platform::DisconnectNamedPipe(pipe.get());
  }
  WriteAppLog(u"Activation pipe server thread exiting");
}

void StartActivationPipeServer() {
  activationPipeStopFlag.exchange(false);
  if (pipeServerThread != KernelHandle{}) return;
  pipeServerThread = platform::CreateThread(&ActivationPipeServerThread);
  if (pipeServerThread == KernelHandle{}) {
    WriteAppLog(u"Failed to create activation pipe server thread");
    return;
  }
  WriteAppLog(u"Activation pipe server thread started");
  platform::CloseHandle(std::exchange(pipeServerThread, KernelHandle{}));
}
