#include "blocker/window_blocker.h"

#include <algorithm>
#include <utility>

#include <system_error>

#include "platform/kernel.h"
#include "platform/owners.h"

namespace blocker {

namespace {

// Hiding and showing again without touching size, place, z-order or activation:
// SWP_NOSIZE | SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE with SWP_HIDEWINDOW or SWP_SHOWWINDOW.
constexpr unsigned kSwpKeepAll =
    platform::kSwpNoSize | platform::kSwpNoMove | platform::kSwpNoZOrder | platform::kSwpNoActivate;
constexpr unsigned kSwpHideFlags = kSwpKeepAll | platform::kSwpHideWindow;
constexpr unsigned kSwpShowFlags = kSwpKeepAll | platform::kSwpShowWindow;
static_assert(kSwpHideFlags == 0x97 && kSwpShowFlags == 0x57);

constexpr std::uint32_t kHookFlags =
    platform::kWineventOutOfContext | platform::kWineventSkipOwnProcess;

// Starts a worker that nobody waits for. A thread that cannot be started raises, as the
// standard thread facility does, and ends the call that wanted it.
void StartDetachedThread(std::function<void()> work) {
  const platform::UniqueKernelHandle thread(platform::CreateThread(std::move(work)));
  if (!thread)
    throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
}

// The system's event callback carries no context, so the hook thread publishes its engine here
// while it runs; only that thread writes and reads it.
WindowBlocker* hookOwner = nullptr;

void SleepDelay(unsigned milliseconds) {
  if (milliseconds != 0) ::platform::Sleep(milliseconds);
}

// Set while this thread is a worker inside the engine's gate: an end of super block found
// there cannot wait for the gate that its own thread holds.
thread_local bool insideWorkerSection = false;

class WorkerSection {
 public:
  explicit WorkerSection(std::shared_mutex& gate) : lock(gate) { insideWorkerSection = true; }
  ~WorkerSection() { insideWorkerSection = false; }
  WorkerSection(const WorkerSection&) = delete;
  WorkerSection& operator=(const WorkerSection&) = delete;

 private:
  std::shared_lock<std::shared_mutex> lock;
};

// Taken around a change of state that a restore follows; a no-op inside a worker.
std::unique_lock<std::shared_mutex> CloseGate(std::shared_mutex& gate) {
  if (insideWorkerSection) return {};
  return std::unique_lock(gate);
}

}  // namespace

WindowBlocker& WindowBlocker::Instance() {
  // Never destroyed: detached workers may still hold it when the process ends.
  static WindowBlocker* const engine = new WindowBlocker();
  return *engine;
}

// ---- From an event to an action ----

void WindowBlocker::WinEventCallback(platform::WinEventHookHandle hook, std::uint32_t event,
                                     WindowHandle window, std::int32_t objectId,
                                     std::int32_t childId) {
  if (!hook || !window) return;
  if (objectId != platform::kObjidWindow || childId != platform::kChildidSelf) return;
  WindowBlocker* const owner = hookOwner;
  if (!owner) return;
  if (event != platform::kEventObjectCreate && event != platform::kEventObjectShow) return;
  StartDetachedThread([owner, window] { owner->EventRescanThread(window, false); });
}

void WindowBlocker::EventRescanThread(WindowHandle window, bool hideOnly) {
  for (const unsigned delay : kRescanDelaysMs) {
    SleepDelay(delay);
    const WorkerSection section(workerGate);
    if (!running.load() || stopRequested.load()) return;
    if (!platform::IsWindow(window)) return;
    if (EvaluateWindow(window, CurrentTimeMs(), false, false, hideOnly)) return;
  }
}

bool WindowBlocker::EvaluateWindow(WindowHandle window, std::int64_t nowMs, bool recordCandidate,
                                   bool allowHidden, bool hideOnly) {
  const bool ruleMode = enabled.load();
  const bool superActive = IsSuperBlockActive(nowMs);
  if (!ruleMode && !superActive) return false;
  if (!platform::IsWindow(window)) return false;

  WindowHandle target = platform::GetAncestor(window, platform::kGaRoot);
  if (!target) target = window;

  WindowFacts facts;
  if (!CollectWindowFacts(ownProcessId.load(), target, &facts, allowHidden, false)) return false;
  if (!IsBlockableProcess(facts)) return false;

  const std::string superId(SuperBlockRuleId);
  if (superActive && IsSuperBlockTarget(facts)) {
    bool slot = false;
    {
      std::lock_guard guard(mutex);
      if (recordCandidate) RecordCandidateLocked(facts, nowMs);
      slot = TakeLogSlotLocked(facts, nowMs);
    }
    const std::string hide(kActionHide);
    if (!ApplyWindowAction(target, hide, superId)) return false;
    superBlockedCount.fetch_add(1);
    if (slot) AppendBlockLog(facts, superId, hide, nowMs);
    return true;
  }

  // Super block passed this one over; rule mode still gets its say.
  if (!ruleMode) return false;

  RuleMatch match;
  bool slot = false;
  {
    std::lock_guard guard(mutex);
    if (recordCandidate) RecordCandidateLocked(facts, nowMs);
    if (const auto found = FindRuleForWindow(rules, facts, hideOnly)) {
      match = *found;
      slot = TakeLogSlotLocked(facts, nowMs);
    }
  }
  // A matching rule without an id still ends the scan, and leaves the window alone.
  if (match.id.empty()) return false;

  const bool acted = ApplyWindowAction(target, match.action, match.id);
  if (acted && slot) AppendBlockLog(facts, match.id, match.action, nowMs);
  return acted;
}

bool WindowBlocker::TakeLogSlotLocked(const WindowFacts& facts, std::int64_t nowMs) {
  // Spent before the action is tried, so a window that keeps failing is not logged every time.
  const auto it = lastLogTimes.find(facts.hwnd);
  if (it != lastLogTimes.end() && nowMs - it->second < kLogSlotIntervalMs) return false;
  lastLogTimes[facts.hwnd] = nowMs;
  return true;
}

bool WindowBlocker::ApplyWindowAction(WindowHandle window, const std::string& action,
                                      const std::string& ruleId) {
  if (!platform::IsWindow(window)) return false;
  if (action == kActionHide) {
    const bool hidden = HideWindow(window, ruleId);
    StartDetachedThread([this, window, ruleId] { RehideThread(window, ruleId); });
    return hidden;
  }
  // Every other word closes, minimize included: the rule model knows no third action.
  const bool closed = CloseWindow(window);
  StartDetachedThread([this, window] { CloseRepeatThread(window); });
  return closed || !platform::IsWindow(window);
}

bool WindowBlocker::CloseWindow(WindowHandle window) {
  if (!platform::IsWindow(window)) return false;
  // Both are posted: some programs ignore WM_CLOSE but honour the system menu's close.
  const bool closePosted = platform::PostMessageW(window, platform::kWmClose, 0, 0);
  const bool commandPosted =
      platform::PostMessageW(window, platform::kWmSysCommand, platform::kScClose, 0);
  return closePosted || commandPosted;
}

void WindowBlocker::CloseRepeatThread(WindowHandle window) {
  // Runs its course even after monitoring stops: a close once decided is seen through.
  for (const unsigned delay : kCloseRepeatDelaysMs) {
    SleepDelay(delay);
    if (!platform::IsWindow(window)) return;
    platform::PostMessageW(window, platform::kWmClose, 0, 0);
    platform::PostMessageW(window, platform::kWmSysCommand, platform::kScClose, 0);
  }
}

bool WindowBlocker::HideWindow(WindowHandle window, const std::string& ruleId) {
  if (!platform::IsWindow(window)) return true;
  bool done = platform::ShowWindowAsync(window, platform::kSwHide);
  if (!done) {
    done = platform::SetWindowPos(window, nullptr, 0, 0, 0, 0, kSwpHideFlags);
  }
  // ShowWindowAsync does not wait, so the window may still look visible here; the re-hide
  // worker moves it to its group on a later pass. Until then it is kept as asked to hide, so
  // that a restore in between gives it back too.
  const bool alive = platform::IsWindow(window);
  const bool seenHidden = alive && !platform::IsWindowVisible(window);
  if (alive && !ruleId.empty() && (seenHidden || done)) {
    std::lock_guard guard(mutex);
    if (seenHidden) {
      hiddenByRule[ruleId].insert(window);
      const auto requested = hideRequestedByRule.find(ruleId);
      if (requested != hideRequestedByRule.end()) {
        requested->second.erase(window);
        if (requested->second.empty()) hideRequestedByRule.erase(requested);
      }
    } else {
      hideRequestedByRule[ruleId].insert(window);
    }
  }
  if (done) return true;
  if (!platform::IsWindow(window)) return true;
  return !platform::IsWindowVisible(window);
}

void WindowBlocker::RehideThread(WindowHandle window, const std::string& ruleId) {
  for (const unsigned delay : kRehideDelaysMs) {
    SleepDelay(delay);
    const WorkerSection section(workerGate);
    if (!running.load() || stopRequested.load()) return;
    if (!platform::IsWindow(window)) return;
    if (!IsHideRuleActive(ruleId)) return;
    // Rule mode off gave the rules' windows back; hiding them again would undo that.
    if (ruleId != SuperBlockRuleId && !enabled.load()) return;
    // Goes on after the window is hidden: some programs show their pop-up again at once.
    HideWindow(window, ruleId);
  }
}

bool WindowBlocker::IsHideRuleActive(const std::string& ruleId) {
  if (ruleId.empty()) return false;
  if (ruleId == SuperBlockRuleId) return IsSuperBlockActive(CurrentTimeMs());
  std::lock_guard guard(mutex);
  return std::any_of(rules.begin(), rules.end(), [&](const WindowBlockRule& rule) {
    return rule.id == ruleId && rule.enabled && rule.action == kActionHide;
  });
}

void WindowBlocker::AppendBlockLog(const WindowFacts& facts, const std::string& ruleId,
                                   const std::string& action, std::int64_t timeMs) {
  std::lock_guard guard(mutex);
  blockedLogs.push_front(BlockLogEntry{ruleId, action, facts, timeMs});
  while (blockedLogs.size() > kLogLimit) blockedLogs.pop_back();
}

void WindowBlocker::RecordCandidateLocked(const WindowFacts& facts, std::int64_t nowMs) {
  const auto it = candidates.find(facts.hwnd);
  if (it != candidates.end()) {
    WindowFacts& known = it->second;
    known.title = facts.title;
    known.className = facts.className;
    known.processName = facts.processName;
    known.exePath = facts.exePath;
    known.width = facts.width;
    known.height = facts.height;
    known.lastSeenMs = nowMs;
    ++known.hitCount;
    candidateOrder.erase(std::remove(candidateOrder.begin(), candidateOrder.end(), facts.hwnd),
                         candidateOrder.end());
    candidateOrder.push_front(facts.hwnd);
    return;
  }
  WindowFacts added = facts;
  added.firstSeenMs = nowMs;
  added.lastSeenMs = nowMs;
  added.hitCount = 1;
  candidates[facts.hwnd] = std::move(added);
  candidateOrder.push_front(facts.hwnd);
  while (candidateOrder.size() > kCandidateLimit) {
    candidates.erase(candidateOrder.back());
    candidateOrder.pop_back();
  }
}

// ---- Super block ----

void WindowBlocker::SetSuperBlock(bool enable, std::int64_t endTimeMs,
                                  const std::vector<std::u16string>& whitelistExePaths) {
  if (!enable) {
    EndSuperBlock();
    return;
  }
  if (endTimeMs > 0 && endTimeMs <= CurrentTimeMs()) {
    EndSuperBlock();
    return;
  }
  std::unordered_set<std::u16string> paths;
  std::unordered_set<std::u16string> names;
  for (const std::u16string& path : whitelistExePaths) {
    std::u16string normalized = NormalizePath(path);
    if (normalized.empty()) continue;
    std::u16string name = FoldCase(BaseNameWithoutExe(normalized));
    if (!name.empty()) names.insert(std::move(name));
    paths.insert(std::move(normalized));
  }
  {
    std::lock_guard guard(mutex);
    superWhitelistPaths = std::move(paths);
    superWhitelistNames = std::move(names);
  }
  superBlockedCount.store(0);
  superEndTimeMs.store(endTimeMs);
  // Last, so that a worker that sees the mode on finds the whitelist in place.
  superEnabled.store(true);
}

bool WindowBlocker::IsSuperBlockActive(std::int64_t nowMs) {
  if (!superEnabled.load()) return false;
  const std::int64_t end = superEndTimeMs.load();
  if (end < 1 || nowMs < end) return true;
  // No timer stands behind the end time: the mode ends when someone next asks.
  EndSuperBlock();
  return false;
}

bool WindowBlocker::IsSuperBlockTarget(const WindowFacts& facts) {
  if (IsOwnProcessWindow(facts)) return false;
  if (facts.exePath.empty()) return false;
  const std::u16string path = NormalizePath(facts.exePath);
  const std::u16string name = FoldCase(facts.processName);
  std::lock_guard guard(mutex);
  if (superWhitelistPaths.count(path) != 0) return false;
  if (superWhitelistNames.count(name) != 0) return false;
  return true;
}

void WindowBlocker::EndSuperBlock() {
  {
    const auto gate = CloseGate(workerGate);
    superEnabled.store(false);
    superEndTimeMs.store(0);
  }
  RestoreHiddenForRule(std::string(SuperBlockRuleId));
  std::lock_guard guard(mutex);
  superWhitelistPaths.clear();
  superWhitelistNames.clear();
}

// ---- Restoring ----

void WindowBlocker::RestoreWindow(WindowHandle window) {
  if (!platform::IsWindow(window)) return;
  // Neither call activates: a restored pop-up must not take the focus from the user.
  platform::ShowWindowAsync(window, platform::kSwShowNa);
  platform::SetWindowPos(window, nullptr, 0, 0, 0, 0, kSwpShowFlags);
}

std::vector<WindowHandle> WindowBlocker::TakeHiddenLocked(
    const std::function<bool(const std::string&)>& take) {
  std::vector<WindowHandle> windows;
  for (auto* groups : {&hiddenByRule, &hideRequestedByRule}) {
    for (auto it = groups->begin(); it != groups->end();) {
      if (!take(it->first)) {
        ++it;
        continue;
      }
      windows.insert(windows.end(), it->second.begin(), it->second.end());
      it = groups->erase(it);
    }
  }
  return windows;
}

void WindowBlocker::RestoreHiddenForRule(const std::string& ruleId) {
  if (ruleId.empty()) return;
  std::vector<WindowHandle> windows;
  {
    std::lock_guard guard(mutex);
    windows = TakeHiddenLocked([&](const std::string& id) { return id == ruleId; });
  }
  for (const WindowHandle window : windows) RestoreWindow(window);
}

void WindowBlocker::RestoreHiddenExcept(const std::unordered_set<std::string>& keep) {
  std::vector<WindowHandle> windows;
  {
    std::lock_guard guard(mutex);
    windows = TakeHiddenLocked([&](const std::string& id) { return keep.count(id) == 0; });
  }
  for (const WindowHandle window : windows) RestoreWindow(window);
}

void WindowBlocker::RestoreAllHidden() {
  std::vector<WindowHandle> windows;
  {
    std::lock_guard guard(mutex);
    windows = TakeHiddenLocked([](const std::string&) { return true; });
  }
  for (const WindowHandle window : windows) RestoreWindow(window);
}

// ---- Mode changes ----

void WindowBlocker::SetEnabled(bool value) {
  bool was = false;
  {
    const auto gate = CloseGate(workerGate);
    was = enabled.exchange(value);
  }
  // Super block's windows come back too; the mode itself stays on and hides again at the next
  // event.
  if (was && !value) RestoreAllHidden();
}

void WindowBlocker::ReplaceRules(const std::vector<WindowBlockRule>& newRules) {
  std::unordered_set<std::string> keep;
  for (const WindowBlockRule& rule : newRules) {
    if (rule.enabled && rule.action == kActionHide) keep.insert(rule.id);
  }
  if (superEnabled.load()) {
    if (IsSuperBlockActive(CurrentTimeMs())) {
      keep.insert(std::string(SuperBlockRuleId));
    } else {
      EndSuperBlock();
    }
  }
  {
    const auto gate = CloseGate(workerGate);
    std::lock_guard guard(mutex);
    rules = newRules;
    // A new rule list deserves a fresh log of what it does.
    lastLogTimes.clear();
  }
  RestoreHiddenExcept(keep);
}

bool WindowBlocker::ApplyRulesToExistingWindows() {
  if (!enabled.load()) {
    if (!superEnabled.load()) return false;
    const std::int64_t end = superEndTimeMs.load();
    if (end >= 1 && CurrentTimeMs() >= end) {
      EndSuperBlock();
      return false;
    }
  }
  std::vector<WindowHandle> windows;
  platform::EnumWindows([&windows](WindowHandle window) {
    if (platform::IsWindow(window)) windows.push_back(window);
    return true;
  });
  const std::int64_t nowMs = CurrentTimeMs();
  bool any = false;
  for (const WindowHandle window : windows) {
    if (EvaluateWindow(window, nowMs, false, false, false)) any = true;
  }
  return any;
}

bool WindowBlocker::BlockWindowNow(WindowHandle window, const std::string& action,
                                   const std::string& ruleId) {
  if (!platform::IsWindow(window)) return false;
  const std::string id = ruleId.empty() ? std::string(ManualRuleId) : ruleId;
  WindowFacts facts;
  // The user picked this very window, so no step up to its root.
  if (!CollectWindowFacts(ownProcessId.load(), window, &facts, false, false)) return false;
  if (!IsBlockableProcess(facts)) return false;
  if (!ApplyWindowAction(window, action, id)) return false;
  AppendBlockLog(facts, id, action, CurrentTimeMs());
  return true;
}

void WindowBlocker::ClearLogs() {
  std::lock_guard guard(mutex);
  blockedLogs.clear();
}

void WindowBlocker::SetOwnProcessId() { ownProcessId.store(platform::GetCurrentProcessId()); }

// ---- Lifecycle ----

bool WindowBlocker::StartMonitoring() {
  bool expected = false;
  if (!running.compare_exchange_strong(expected, true)) return true;
  stopRequested.store(false);
  hookThread = std::thread([this] { HookThreadMain(); });
  return true;
}

void WindowBlocker::HookThreadMain() {
  hookThreadId.store(platform::GetCurrentThreadId());
  hookOwner = this;
  platform::Message message;
  // Makes the queue exist before StopMonitoring can post WM_QUIT to it.
  platform::PeekMessageW(&message, nullptr, platform::kWmUser, platform::kWmUser,
                         platform::kPmNoRemove);
  {
    const platform::UniqueWinEventHook createHook(
        platform::SetWinEventHook(platform::kEventObjectCreate, platform::kEventObjectCreate,
                                  &WinEventCallback, 0, 0, kHookFlags));
    const platform::UniqueWinEventHook showHook(
        platform::SetWinEventHook(platform::kEventObjectShow, platform::kEventObjectShow,
                                  &WinEventCallback, 0, 0, kHookFlags));
    // A stop that came before this thread had a queue posted nothing, or posted into nothing;
    // it set stopRequested first, so looking once more here, after the queue exists, means no
    // stop is ever left waiting for a message that may never come.
    while (!stopRequested.load() && platform::GetMessageW(&message, nullptr, 0, 0) > 0) {
      if (stopRequested.load()) break;
      platform::TranslateMessage(message);
      platform::DispatchMessageW(message);
    }
  }
  hookOwner = nullptr;
}

void WindowBlocker::StopMonitoring() {
  if (!running.load()) return;
  {
    const auto gate = CloseGate(workerGate);
    stopRequested.store(true);
  }
  const std::uint32_t threadId = hookThreadId.load();
  if (threadId != 0) platform::PostThreadMessageW(threadId, platform::kWmQuit, 0, 0);
  // join raises resource_deadlock_would_occur when called from the hook thread itself.
  if (hookThread.joinable()) hookThread.join();
  running.store(false);
  hookThreadId.store(0);
  // Nothing re-hides them once monitoring stops, so none may stay hidden for good.
  RestoreAllHidden();
}

void WindowBlocker::ShutdownBlocker() {
  StopMonitoring();
  // No hidden window may outlive the agent.
  RestoreAllHidden();
  superEnabled.store(false);
  superEndTimeMs.store(0);
  superBlockedCount.store(0);
  std::lock_guard guard(mutex);
  candidates.clear();
  candidateOrder.clear();
  lastLogTimes.clear();
  hiddenByRule.clear();
  hideRequestedByRule.clear();
  blockedLogs.clear();
  rules.clear();
  superWhitelistPaths.clear();
  superWhitelistNames.clear();
}

BlockerSnapshot WindowBlocker::GetSnapshotData() {
  BlockerSnapshot snapshot;
  // Before the mutex: ending an expired mode takes it.
  snapshot.superEnabled = IsSuperBlockActive(CurrentTimeMs());
  snapshot.superEndTimeMs = superEndTimeMs.load();
  snapshot.superBlockedCount = superBlockedCount.load();
  std::lock_guard guard(mutex);
  snapshot.rules = rules;
  snapshot.blockedLogs.assign(blockedLogs.begin(), blockedLogs.end());
  for (const WindowHandle window : candidateOrder) {
    const auto it = candidates.find(window);
    if (it != candidates.end()) snapshot.candidateWindows.push_back(it->second);
  }
  snapshot.superWhitelistPaths.assign(superWhitelistPaths.begin(), superWhitelistPaths.end());
  std::sort(snapshot.superWhitelistPaths.begin(), snapshot.superWhitelistPaths.end());
  for (const auto& [ruleId, group] : hiddenByRule) snapshot.hiddenWindowCount += group.size();
  snapshot.enabled = enabled.load();
  snapshot.running = running.load();
  return snapshot;
}

void WindowBlocker::ResetForTests() {
  ShutdownBlocker();
  enabled.store(false);
  ownProcessId.store(0);
  stopRequested.store(false);
}

}  // namespace blocker
