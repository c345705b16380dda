// Window events by the thousand while rules, super block, rule mode and snapshots change from
// other threads: built to be run under ThreadSanitizer, which reports any race on the engine's
// state; a watchdog turns a deadlock into a failure instead of a hang.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "blocker/window_block_rule.h"
#include "blocker/window_blocker.h"
#include "sim_user.h"
#include "sim_core.h"
#include "sim_kernel.h"

using blocker::CurrentTimeMs;
using blocker::WindowBlocker;
using blocker::WindowBlockRule;
using platform::WindowHandle;

namespace {

constexpr int kEvents = 2000;
constexpr int kFiringThreads = 2;
constexpr int kWindows = 48;
constexpr int kPrograms = 6;
constexpr auto kBound = std::chrono::seconds(60);
constexpr int kMinRounds = 200;
constexpr int kChangers = 6;  // the joiner of workers included

WindowBlocker& Engine() { return WindowBlocker::Instance(); }

std::u16string ProgramPath(int program) {
  return u"C:\\Apps\\Program" + std::u16string(1, static_cast<char16_t>(u'A' + program)) +
         u"\\prog" + std::u16string(1, static_cast<char16_t>(u'a' + program)) + u".exe";
}

std::u16string ProgramName(int program) {
  return u"prog" + std::u16string(1, static_cast<char16_t>(u'a' + program));
}

WindowHandle AddProgramWindow(int program, int serial) {
  sim::DesktopWindow window;
  window.pid = 2000 + static_cast<std::uint32_t>(program);
  window.className = u"StressPopup";
  window.title = u"Offer " + std::u16string(1, static_cast<char16_t>(u'0' + serial % 10));
  window.frameBounds = Rect{0, 0, 400, 300};
  window.windowRect = Rect{0, 0, 400, 300};
  return sim::AddDesktopWindow(window);
}

WindowBlockRule Rule(std::string id, int program, std::string action, bool enabled = true) {
  WindowBlockRule rule;
  rule.id = std::move(id);
  rule.processName = ProgramName(program);
  rule.action = std::move(action);
  rule.enabled = enabled;
  return rule;
}

// The windows that programs have open; the desktop thread replaces some as the test runs.
class WindowPool {
 public:
  void Add(WindowHandle window) {
    std::lock_guard guard(lock_);
    windows_.push_back(window);
  }
  WindowHandle Pick(std::mt19937& random) {
    std::lock_guard guard(lock_);
    return windows_[random() % windows_.size()];
  }
  void Replace(std::size_t index, WindowHandle window) {
    std::lock_guard guard(lock_);
    windows_[index % windows_.size()] = window;
  }
  std::vector<WindowHandle> All() {
    std::lock_guard guard(lock_);
    return windows_;
  }

 private:
  std::mutex lock_;
  std::vector<WindowHandle> windows_;
};

class Watchdog {
 public:
  Watchdog()
      : thread_([this] {
          std::unique_lock guard(lock_);
          if (!done_changed_.wait_for(guard, kBound + std::chrono::seconds(30),
                                      [this] { return done_; })) {
            std::fputs("window blocker stress: no progress, a deadlock is likely\n", stderr);
            std::abort();
          }
        }) {}
  ~Watchdog() {
    {
      std::lock_guard guard(lock_);
      done_ = true;
    }
    done_changed_.notify_all();
    thread_.join();
  }

 private:
  std::mutex lock_;
  std::condition_variable done_changed_;
  bool done_ = false;
  std::thread thread_;
};

TEST(WindowBlockerStress, TwoThousandEventsWhileEverythingChangesLeaveNoHiddenWindowAfterShutdown) {
  Engine().ResetForTests();
  sim::ResetSimulation();
  for (int program = 0; program < kPrograms; ++program) {
    sim::AddProcess(2000 + static_cast<std::uint32_t>(program), {ProgramPath(program)});
  }
  WindowPool pool;
  for (int i = 0; i < kWindows; ++i) pool.Add(AddProgramWindow(i % kPrograms, i));

  Watchdog watchdog;
  const auto deadline = std::chrono::steady_clock::now() + kBound;
  const auto inTime = [&] { return std::chrono::steady_clock::now() < deadline; };

  Engine().SetEnabled(true);
  Engine().ReplaceRules({Rule("hide-a", 0, "hide"), Rule("close-b", 1, "close")});
  ASSERT_TRUE(Engine().StartMonitoring());
  sim::WaitForWinEventHooks(2);

  std::atomic<int> fired{0};
  std::atomic<int> firingDone{0};
  std::vector<std::thread> threads;

  for (int t = 0; t < kFiringThreads; ++t) {
    threads.emplace_back([&, t] {
      std::mt19937 random(100 + t);
      for (int i = 0; i < kEvents / kFiringThreads && inTime(); ++i) {
        const std::uint32_t event =
            (random() & 1) ? sim::kEventObjectCreate : sim::kEventObjectShow;
        if (sim::DeliverWinEvent(event, pool.Pick(random))) fired.fetch_add(1);
        // Keeps the number of finished, not yet joined workers small.
        if (i % 50 == 49) sim::WaitForWinEventsHandled();
      }
      firingDone.fetch_add(1);
    });
  }
  // Each changer goes on while events fire, and at least kMinRounds times whatever the timing.
  const auto firing = [&](int round) {
    return (firingDone.load() < kFiringThreads || round < kMinRounds) && inTime();
  };
  std::atomic<int> changerRounds{0};

  // Rule lists: hide rules, close rules, a rule with no id, a rule turned off, an odd action.
  threads.emplace_back([&] {
    std::mt19937 random(7);
    const std::vector<std::vector<WindowBlockRule>> lists = {
        {Rule("hide-a", 0, "hide"), Rule("close-b", 1, "close")},
        {Rule("hide-a", 0, "hide"), Rule("hide-c", 2, "hide"), Rule("min-d", 3, "minimize")},
        {Rule("", 0, "hide"), Rule("hide-e", 4, "hide")},
        {Rule("hide-a", 0, "hide", false), Rule(std::string(blocker::SuperBlockRuleId), 5, "hide")},
        {},
    };
    for (int round = 0; firing(round); ++round, changerRounds.fetch_add(1)) {
      Engine().ReplaceRules(lists[random() % lists.size()]);
      std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
  });

  // Super block on and off, with and without an end, with changing whitelists.
  threads.emplace_back([&] {
    std::mt19937 random(11);
    for (int round = 0; firing(round); ++round, changerRounds.fetch_add(1)) {
      switch (random() % 4) {
        case 0:
          Engine().SetSuperBlock(false, 0, {});
          break;
        case 1:
          Engine().SetSuperBlock(true, 0, {ProgramPath(random() % kPrograms)});
          break;
        case 2:
          Engine().SetSuperBlock(true, CurrentTimeMs() + static_cast<std::int64_t>(random() % 4000),
                                 {ProgramPath(random() % kPrograms), u""});
          break;
        default:
          Engine().SetSuperBlock(true, CurrentTimeMs(), {});
          break;
      }
      std::this_thread::sleep_for(std::chrono::microseconds(400));
    }
  });

  threads.emplace_back([&] {
    std::mt19937 random(13);
    for (int round = 0; firing(round); ++round, changerRounds.fetch_add(1)) {
      Engine().SetEnabled(random() % 3 != 0);
      std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
  });

  // What the channel would do: snapshots, log clearing, existing windows, manual blocks.
  std::atomic<int> snapshots{0};
  threads.emplace_back([&] {
    std::mt19937 random(17);
    for (int round = 0; firing(round); ++round, changerRounds.fetch_add(1)) {
      const blocker::BlockerSnapshot snapshot = Engine().GetSnapshotData();
      EXPECT_LE(snapshot.blockedLogs.size(), blocker::kLogLimit);
      EXPECT_LE(snapshot.candidateWindows.size(), blocker::kCandidateLimit);
      snapshots.fetch_add(1);
      switch (random() % 8) {
        case 0:
          Engine().ClearLogs();
          break;
        case 1:
          Engine().ApplyRulesToExistingWindows();
          break;
        case 2:
          Engine().BlockWindowNow(pool.Pick(random), (random() & 1) ? "hide" : "close", "");
          break;
        default:
          break;
      }
      std::this_thread::sleep_for(std::chrono::microseconds(300));
    }
  });

  // Programs show their pop-ups again, close some and open new ones.
  threads.emplace_back([&] {
    std::mt19937 random(19);
    int serial = kWindows;
    for (int round = 0; firing(round); ++round, changerRounds.fetch_add(1)) {
      const WindowHandle window = pool.Pick(random);
      sim::SetDesktopWindowVisible(window, true);
      if (random() % 16 == 0) {
        sim::DestroyDesktopWindow(window);
        const int program = static_cast<int>(random() % kPrograms);
        pool.Replace(random(), AddProgramWindow(program, serial++));
      }
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  });

  // Joins workers as they finish so that finished threads do not pile up.
  threads.emplace_back([&] {
    for (int round = 0; firing(round); ++round, changerRounds.fetch_add(1)) {
      sim::WaitForThreads();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  });

  for (std::thread& thread : threads) thread.join();
  sim::WaitForWinEventsHandled();
  Engine().StopMonitoring();
  sim::WaitForThreads();

  EXPECT_EQ(fired.load(), kEvents);
  EXPECT_GT(snapshots.load(), 0);
  EXPECT_GE(sim::StartedThreads(), kEvents);
  EXPECT_EQ(sim::ActiveWinEventHooks(), 0);
  EXPECT_EQ(sim::PendingWinEvents(), 0);
  // The engine did act while everything changed.
  int hides = 0;
  int closes = 0;
  int shows = 0;
  for (const std::string& call : sim::DesktopCalls()) {
    if (call.rfind("ShowWindowAsync", 0) == 0) {
      (call.back() == '0' ? hides : shows) += 1;
    } else if (call.rfind("PostMessageW", 0) == 0) {
      ++closes;
    }
  }
  // Closes hang on which rules and whitelist happen to be in force, so they are only reported.
  EXPECT_GT(hides, 0);
  EXPECT_GT(shows, 0);
  RecordProperty("hides", hides);
  RecordProperty("closes", closes);
  RecordProperty("shows", shows);
  RecordProperty("workers", sim::StartedThreads());
  EXPECT_GE(changerRounds.load(), kChangers * kMinRounds);

  Engine().ShutdownBlocker();
  sim::WaitForThreads();
  int hidden = 0;
  for (const WindowHandle window : pool.All()) {
    const auto found = sim::Window(window);
    if (found && !found->visible) ++hidden;
  }
  EXPECT_EQ(hidden, 0);
  EXPECT_EQ(Engine().GetSnapshotData().hiddenWindowCount, 0u);

  Engine().ResetForTests();
}

}  // namespace
