#include "blocker/window_facts.h"

#include <vector>

#include "blocker/window_block_rule.h"
#include "base/log_format.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/user.h"

namespace blocker {

namespace {

using platform::kWsChild;
using platform::kWsExLayered;
using platform::kWsExNoActivate;
using platform::kWsExTransparent;
// The picker will not offer a window this close to invisible.
constexpr std::uint8_t kMaxInvisibleAlpha = 8;

constexpr int kClassNameBuffer = 256;
constexpr int kClassNameLimit = 255;
constexpr std::uint32_t kImagePathBuffer = 1040;
constexpr std::uint32_t kWindowsDirectoryBuffer = 260;
constexpr std::size_t kSkipLineCapacity = 512;

// FILETIME counts from 1601; the blocker's clock from 1970.
constexpr std::uint64_t kUnixEpochAsFileTime = 116444736000000000ULL;
constexpr std::uint64_t kFileTimeTicksPerMs = 10000;

struct WindowStyles {
  std::uintptr_t style = 0;
  std::uintptr_t exStyle = 0;
};

WindowStyles ReadStyles(WindowHandle window) {
  return {static_cast<std::uintptr_t>(platform::GetWindowLongPtrW(window, platform::kGwlStyle)),
          static_cast<std::uintptr_t>(platform::GetWindowLongPtrW(window, platform::kGwlExStyle))};
}

bool IsCloaked(WindowHandle window) {
  std::uint32_t cloaked = 0;
  // Without composition (or where it is not implemented) nothing is cloaked.
  if (platform::DwmGetWindowAttribute(window, platform::kDwmwaCloaked, &cloaked, sizeof(cloaked)) <
      0) {
    return false;
  }
  return cloaked != 0;
}

std::u16string ReadClassName(WindowHandle window) {
  char16_t buffer[kClassNameBuffer] = {};
  const int copied = platform::GetClassNameW(window, buffer, kClassNameLimit);
  if (copied <= 0) return {};
  return std::u16string(buffer, static_cast<std::size_t>(copied));
}

bool IsNoActivateOrTransparent(const WindowStyles& styles) {
  return (styles.exStyle & (kWsExNoActivate | kWsExTransparent)) != 0;
}

bool IsAllButInvisible(WindowHandle window, const WindowStyles& styles) {
  if ((styles.exStyle & kWsExLayered) == 0) return false;
  std::uint32_t colorKey = 0;
  std::uint8_t alpha = 255;
  std::uint32_t flags = 0;
  if (!platform::GetLayeredWindowAttributes(window, &colorKey, &alpha, &flags)) return false;
  return (flags & platform::kLwaAlpha) != 0 && alpha <= kMaxInvisibleAlpha;
}

bool HasArea(const Rect& rect) { return rect.right > rect.left && rect.bottom > rect.top; }

// The visible frame without the invisible resize borders when composition tells it, the window
// rectangle otherwise. A frame that answers decides alone, even when it is too small.
bool ReadWindowBounds(WindowHandle window, Rect* bounds) {
  Rect frame;
  if (platform::DwmGetWindowAttribute(window, platform::kDwmwaExtendedFrameBounds, &frame,
                                      sizeof(frame)) >= 0 &&
      HasArea(frame)) {
    *bounds = frame;
    return true;
  }
  Rect rect;
  if (platform::GetWindowRect(window, &rect) && HasArea(rect)) {
    *bounds = rect;
    return true;
  }
  return false;
}

bool IsLargeEnough(const Rect& bounds) {
  return bounds.right - bounds.left >= kMinGateWidth &&
         bounds.bottom - bounds.top >= kMinGateHeight;
}

std::u16string ReadTitle(WindowHandle window) {
  const int length = platform::GetWindowTextLengthW(window);
  if (length <= 0) return {};
  // The reported length stands even if the title changed before it was copied.
  std::vector<char16_t> buffer(static_cast<std::size_t>(length) + 1, u'\0');
  platform::GetWindowTextW(window, buffer.data(), length + 1);
  return std::u16string(buffer.data(), static_cast<std::size_t>(length));
}

std::u16string ReadExePath(std::uint32_t processId) {
  const platform::UniqueKernelHandle process(
      platform::OpenProcess(platform::kProcessQueryLimitedInformation, false, processId));
  if (!process) return {};
  std::vector<char16_t> buffer(kImagePathBuffer, u'\0');
  std::uint32_t size = kImagePathBuffer;
  if (!platform::QueryFullProcessImageNameW(process.get(), 0, buffer.data(), &size)) return {};
  if (size > kImagePathBuffer) size = kImagePathBuffer;
  return std::u16string(buffer.data(), size);
}

bool IsListed(std::u16string_view name, const std::u16string_view* begin,
              const std::u16string_view* end) {
  for (const std::u16string_view* entry = begin; entry != end; ++entry) {
    if (*entry == name) return true;
  }
  return false;
}

template <std::size_t N>
bool IsListed(std::u16string_view name, const std::u16string_view (&list)[N]) {
  return IsListed(name, list, list + N);
}

std::u16string WindowsDirectoryPrefix(bool* known) {
  char16_t buffer[kWindowsDirectoryBuffer] = {};
  const std::uint32_t length = platform::GetWindowsDirectoryW(buffer, kWindowsDirectoryBuffer);
  *known = length != 0 && length < kWindowsDirectoryBuffer;
  if (!*known) return {};
  std::u16string directory(buffer, length);
  if (!directory.empty() && directory.back() != u'\\') directory.push_back(u'\\');
  return directory;
}

}  // namespace

std::int64_t CurrentTimeMs() {
  const std::uint64_t ticks = platform::GetSystemTimeAsFileTime();
  return (static_cast<std::int64_t>(ticks) - static_cast<std::int64_t>(kUnixEpochAsFileTime)) /
         static_cast<std::int64_t>(kFileTimeTicksPerMs);
}

bool IsIgnoredWindowClass(std::u16string_view className) {
  return IsListed(className, kIgnoredWindowClasses);
}

bool PassesWindowShapeGate(WindowHandle window, bool allowHidden, bool logSkip) {
  if (!window || !platform::IsWindow(window)) return false;
  const WindowStyles styles = ReadStyles(window);
  if (!allowHidden && !platform::IsWindowVisible(window)) return false;
  if ((styles.style & kWsChild) != 0) return false;
  if (IsCloaked(window)) {
    if (logSkip) LogSkipReason(kSkipTagPicker, window, kSkipReasonCloaked);
    return false;
  }
  if (IsIgnoredWindowClass(ReadClassName(window))) {
    if (logSkip) LogSkipReason(kSkipTagPicker, window, kSkipReasonIgnoredClass);
    return false;
  }
  // Only the picker refuses these: a rule may still block a click-through or faded window.
  if (logSkip && (IsNoActivateOrTransparent(styles) || IsAllButInvisible(window, styles))) {
    LogSkipReason(kSkipTagPicker, window, kSkipReasonNoActivate);
    return false;
  }
  Rect bounds;
  if (!ReadWindowBounds(window, &bounds)) return false;
  return IsLargeEnough(bounds);
}

bool CollectWindowFacts(std::uint32_t ownProcessId, WindowHandle window, WindowFacts* out,
                        bool allowHidden, bool logSkip) {
  if (!window || !out) return false;
  if (!PassesWindowShapeGate(window, allowHidden, logSkip)) return false;
  std::uint32_t processId = 0;
  platform::GetWindowThreadProcessId(window, &processId);
  if (processId == 0 || processId == ownProcessId) return false;

  WindowFacts facts;
  facts.hwnd = window;
  facts.pid = processId;
  Rect bounds;
  if (ReadWindowBounds(window, &bounds)) {
    facts.width = bounds.right - bounds.left;
    facts.height = bounds.bottom - bounds.top;
  }
  facts.title = ReadTitle(window);
  facts.className = ReadClassName(window);
  facts.exePath = ReadExePath(processId);
  facts.processName = BaseNameWithoutExe(facts.exePath);
  facts.firstSeenMs = CurrentTimeMs();
  facts.lastSeenMs = facts.firstSeenMs;
  facts.hitCount = 0;
  if (facts.title.empty() && facts.className.empty()) return false;
  *out = std::move(facts);
  return true;
}

bool IsBlockableProcess(const WindowFacts& facts) {
  const std::u16string name = FoldCase(facts.processName);
  // An unreadable executable could be anything, the system's own included.
  if (name.empty()) return false;
  if (IsListed(name, kSystemProcessNames)) return false;
  bool known = false;
  const std::u16string windowsDirectory = WindowsDirectoryPrefix(&known);
  // Not knowing the directory must not turn into blocking nothing at all.
  if (!known) return true;
  return !StartsWithFolded(facts.exePath, windowsDirectory);
}

bool IsOwnProcessWindow(const WindowFacts& facts) {
  if (IsListed(FoldCase(facts.processName), kOwnProcessNames)) return true;
  constexpr std::u16string_view kOwnFolder = u"\\kelvotarnel\\";
  const std::u16string path = NormalizePath(facts.exePath);
  return path.size() >= kOwnFolder.size() && path.find(kOwnFolder) != std::u16string::npos;
}

void LogSkipReason(std::u16string_view tag, WindowHandle window, std::u16string_view reason) {
  const std::u16string tagText(tag);
  const std::u16string reasonText(reason);
  const LogArg args[] = {LogArg(tagText.c_str()), LogArg(static_cast<const void*>(window)),
                         LogArg(reasonText.c_str())};
  const std::u16string line =
      FormatLogLineV(kSkipLineCapacity, u"[WindowBlocker] %ls hwnd=%p %ls\n", args, 3);
  ::platform::OutputDebugStringW(line);
}

}  // namespace blocker
