// The pop-up blocker's engine: watches window events on a hook thread of its own, decides for
// each window whether to close or hide it, keeps what it hid so that it can be shown again, and
// keeps a log of what it did. One engine per process, made on first use.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "blocker/window_block_rule.h"
#include "blocker/window_facts.h"
#include "platform/user.h"

namespace blocker {

struct BlockLogEntry {
  std::string ruleId;
  std::string action;
  WindowFacts facts;
  std::int64_t blockedAtMs = 0;
};

constexpr std::size_t kCandidateLimit = 80;
constexpr std::size_t kLogLimit = 200;
constexpr std::int64_t kLogSlotIntervalMs = 3000;
constexpr std::array<unsigned, 4> kRescanDelaysMs = {0, 12, 40, 120};
constexpr std::array<unsigned, 4> kCloseRepeatDelaysMs = {40, 120, 260, 520};
constexpr std::array<unsigned, 7> kRehideDelaysMs = {10, 30, 80, 160, 320, 700, 1200};

// A copy of what the channel reports, taken under the engine's mutex in one go.
struct BlockerSnapshot {
  bool enabled = false;
  bool running = false;
  bool superEnabled = false;
  std::int64_t superEndTimeMs = 0;
  std::int32_t superBlockedCount = 0;
  std::vector<WindowBlockRule> rules;
  std::vector<BlockLogEntry> blockedLogs;     // newest first
  std::vector<WindowFacts> candidateWindows;  // newest first
  std::vector<std::u16string> superWhitelistPaths;
  std::size_t hiddenWindowCount = 0;
};

class WindowBlocker {
 public:
  static WindowBlocker& Instance();

  WindowBlocker(const WindowBlocker&) = delete;
  WindowBlocker& operator=(const WindowBlocker&) = delete;

  bool StartMonitoring();
  void StopMonitoring();
  void SetEnabled(bool value);
  void ReplaceRules(const std::vector<WindowBlockRule>& newRules);
  void SetSuperBlock(bool enable, std::int64_t endTimeMs,
                     const std::vector<std::u16string>& whitelistExePaths);
  bool ApplyRulesToExistingWindows();
  bool BlockWindowNow(WindowHandle window, const std::string& action, const std::string& ruleId);
  void ClearLogs();
  void SetOwnProcessId();
  void ShutdownBlocker();

  bool EvaluateWindow(WindowHandle window, std::int64_t nowMs, bool recordCandidate,
                      bool allowHidden, bool hideOnly);
  bool ApplyWindowAction(WindowHandle window, const std::string& action, const std::string& ruleId);
  void AppendBlockLog(const WindowFacts& facts, const std::string& ruleId,
                      const std::string& action, std::int64_t timeMs);
  bool IsSuperBlockActive(std::int64_t nowMs);

  // Ends an expired super block first, as every reader of the mode does.
  BlockerSnapshot GetSnapshotData();
  bool IsRunning() const { return running.load(); }
  std::uint32_t OwnProcessId() const { return ownProcessId.load(); }

  // Puts the engine back as it was made. Only for tests, with every worker finished and
  // monitoring stopped.
  void ResetForTests();

 private:
  WindowBlocker() = default;

  static void WinEventCallback(platform::WinEventHookHandle hook, std::uint32_t event,
                               WindowHandle window, std::int32_t objectId, std::int32_t childId);
  void HookThreadMain();
  void EventRescanThread(WindowHandle window, bool hideOnly);
  void CloseRepeatThread(WindowHandle window);
  void RehideThread(WindowHandle window, const std::string& ruleId);

  bool CloseWindow(WindowHandle window);
  bool HideWindow(WindowHandle window, const std::string& ruleId);
  bool IsHideRuleActive(const std::string& ruleId);
  bool IsSuperBlockTarget(const WindowFacts& facts);
  void EndSuperBlock();
  void RestoreHiddenForRule(const std::string& ruleId);
  void RestoreHiddenExcept(const std::unordered_set<std::string>& keep);
  void RestoreAllHidden();
  static void RestoreWindow(WindowHandle window);
  // Moves every group whose rule id `take` accepts out of both hide maps.
  std::vector<WindowHandle> TakeHiddenLocked(const std::function<bool(const std::string&)>& take);

  // Both run with `mutex` held.
  bool TakeLogSlotLocked(const WindowFacts& facts, std::int64_t nowMs);
  void RecordCandidateLocked(const WindowFacts& facts, std::int64_t nowMs);

  // Only the platform thread writes it, before the hook starts; atomic all the same since the
  // workers read it.
  std::atomic<std::uint32_t> ownProcessId{0};
  std::atomic<bool> enabled{false};
  std::atomic<bool> superEnabled{false};
  std::atomic<std::int64_t> superEndTimeMs{0};
  std::atomic<std::int32_t> superBlockedCount{0};
  std::atomic<bool> running{false};
  std::atomic<bool> stopRequested{false};
  std::atomic<std::uint32_t> hookThreadId{0};
  std::thread hookThread;
  // Workers hold it shared from their look at the engine's state until their action is
  // recorded; whatever is followed by a restore (stop, rule mode off, new rules, the end of
  // super block) changes that state holding it alone, so that no worker can hide a window
  // after the restore has passed it by.
  std::shared_mutex workerGate;

  std::mutex mutex;
  std::unordered_map<WindowHandle, WindowFacts> candidates;
  std::unordered_map<WindowHandle, std::int64_t> lastLogTimes;
  std::unordered_map<std::string, std::unordered_set<WindowHandle>> hiddenByRule;
  // Windows asked to hide that did not yet look hidden (ShowWindowAsync does not wait): not
  // counted as hidden, but given back with their rule's group all the same.
  std::unordered_map<std::string, std::unordered_set<WindowHandle>> hideRequestedByRule;
  std::deque<WindowHandle> candidateOrder;
  std::deque<BlockLogEntry> blockedLogs;
  std::vector<WindowBlockRule> rules;
  std::unordered_set<std::u16string> superWhitelistPaths;
  std::unordered_set<std::u16string> superWhitelistNames;
};

}  // namespace blocker
