// Message queues, timers, registered messages, window events and menus, as the message loops of
// the launch driver and the blocker's hook thread, the activation pipe's posted show request, the
// tray's menu and the lock's timer use them.
//
// Left out: events of other processes' windows, since the seams start no processes (the Wine
// program window_actions_test covers them), and EVENT_OBJECT_SHOW, HIDE and DESTROY, which Wine
// never raises; the blocker's host tests drive those through the simulation.
#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "contract_support.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/user.h"

namespace {

using contract::kAnswerLimit;
using contract::kErrorInvalidThreadId;
using contract::kErrorInvalidWindowHandle;
using contract::MessageLog;
using contract::SeamThread;
using contract::Signal;
using contract::TestWindow;
using contract::UniqueName;
using platform::WindowHandle;

constexpr unsigned kPing = platform::kWmUser + 0x101;

constexpr unsigned kWatchdogMs = 10000;

// The next message of this thread that `wanted` accepts; the others are dispatched on the way.
// A thread timer bounds the wait: when it fires first, the answer is that WM_TIMER.
template <typename Wanted>
platform::Message NextMessage(Wanted wanted) {
  const std::uintptr_t watchdog = platform::SetTimer(nullptr, 0, kWatchdogMs);
  platform::Message message;
  while (platform::GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (wanted(message)) break;
    if (message.message == platform::kWmTimer && message.window == nullptr &&
        message.wParam == watchdog) {
      ADD_FAILURE() << "no such message within " << kWatchdogMs << " ms";
      break;
    }
    platform::TranslateMessage(message);
    platform::DispatchMessageW(message);
  }
  platform::KillTimer(nullptr, watchdog);
  return message;
}

TEST(PostMessageW, ReachesTheQueueWholeAndDispatchGivesItToTheProcedure) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  ASSERT_TRUE(platform::PostMessageW(window.get(), kPing, 0x1234, -5));
  const platform::Message message =
      NextMessage([](const platform::Message& m) { return m.message == kPing; });
  EXPECT_EQ(message.window, window.get());
  EXPECT_EQ(message.message, kPing);
  EXPECT_EQ(message.wParam, 0x1234u);
  EXPECT_EQ(message.lParam, -5);
  EXPECT_TRUE(MessageLog::Instance().SequenceOf(window.get(), {kPing}).empty())
      << "a posted message waits in the queue";
  platform::DispatchMessageW(message);
  EXPECT_EQ(MessageLog::Instance().SequenceOf(window.get(), {kPing}).size(), 1u);
}

TEST(PostMessageW, ToADestroyedWindowFails) {
  const WindowHandle handle = TestWindow().get();
  ASSERT_NE(handle, nullptr);
  EXPECT_FALSE(platform::PostMessageW(handle, platform::kWmClose, 0, 0));
  EXPECT_EQ(platform::GetLastError(), kErrorInvalidWindowHandle);
  EXPECT_FALSE(platform::PostMessageW(handle, platform::kWmSysCommand, platform::kScClose, 0));
}

TEST(SendMessageW, ToAWindowOfThisThreadRunsTheProcedureAtOnce) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  EXPECT_EQ(platform::SendMessageW(window.get(), platform::kWmClose, 0, 0), 0);
  EXPECT_EQ(MessageLog::Instance().SequenceOf(window.get(), {platform::kWmClose}).size(), 1u);
  EXPECT_TRUE(platform::IsWindow(window.get())) << "the recording procedure keeps its window";
}

// Windows whose procedure is Windows' own: a close request ends them, as it ends the windows of
// the programs the blocker closes.
class DefaultWindow {
 public:
  DefaultWindow() {
    static const std::u16string className = [] {
      platform::WindowClass windowClass;
      windowClass.procedure = &platform::DefWindowProcW;
      windowClass.instance = platform::GetModuleHandleW(nullptr);
      windowClass.className = UniqueName(u"KtContractDefault");
      platform::RegisterClassW(windowClass);
      return windowClass.className;
    }();
    window_ =
        platform::CreateWindowExW(0, className, u"Default", platform::kWsPopup, 0, 0, 100, 100,
                                  nullptr, nullptr, platform::GetModuleHandleW(nullptr), nullptr);
  }
  ~DefaultWindow() {
    if (platform::IsWindow(window_)) platform::DestroyWindow(window_);
  }
  DefaultWindow(const DefaultWindow&) = delete;
  DefaultWindow& operator=(const DefaultWindow&) = delete;
  WindowHandle get() const { return window_; }

 private:
  WindowHandle window_ = nullptr;
};

TEST(DefWindowProcW, EndsAWindowOnAPostedCloseOrSystemClose) {
  DefaultWindow closed;
  DefaultWindow sysClosed;
  ASSERT_NE(closed.get(), nullptr);
  ASSERT_NE(sysClosed.get(), nullptr);
  ASSERT_TRUE(platform::PostMessageW(closed.get(), platform::kWmClose, 0, 0));
  ASSERT_TRUE(
      platform::PostMessageW(sysClosed.get(), platform::kWmSysCommand, platform::kScClose, 0));
  // The ping comes after both requests, so both have been dispatched when it arrives. It goes to
  // the thread: a destroyed window's messages leave the queue with it.
  ASSERT_TRUE(platform::PostThreadMessageW(platform::GetCurrentThreadId(), kPing, 0, 0));
  NextMessage([](const platform::Message& m) { return m.message == kPing; });
  EXPECT_FALSE(platform::IsWindow(closed.get()));
  EXPECT_FALSE(platform::IsWindow(sysClosed.get()));
}

// A thread with no queue until it is told to make one, then a GetMessageW loop that writes down
// what it got.
struct QueueThreadReport {
  Signal started;
  Signal go;
  Signal queued;
  std::uint32_t threadId = 0;
  std::vector<platform::Message> got;
  int lastResult = -2;
};

TEST(PostThreadMessageW, FailsBeforeTheThreadHasAQueueAndWorksAfter) {
  const auto report = std::make_shared<QueueThreadReport>();
  SeamThread thread([report] {
    report->threadId = platform::GetCurrentThreadId();
    report->started.Raise();
    if (!report->go.Wait()) return;
    platform::Message message;
    platform::PeekMessageW(&message, nullptr, platform::kWmUser, platform::kWmUser,
                           platform::kPmNoRemove);
    report->queued.Raise();
    int result = 0;
    while ((result = platform::GetMessageW(&message, nullptr, 0, 0)) > 0) {
      report->got.push_back(message);
    }
    report->got.push_back(message);
    report->lastResult = result;
  });
  ASSERT_TRUE(thread.started());
  ASSERT_TRUE(report->started.Wait());

  EXPECT_FALSE(platform::PostThreadMessageW(report->threadId, platform::kWmUser, 1, 0));
  EXPECT_EQ(platform::GetLastError(), kErrorInvalidThreadId);
  report->go.Raise();
  ASSERT_TRUE(report->queued.Wait());
  EXPECT_TRUE(platform::PostThreadMessageW(report->threadId, platform::kWmUser, 7, 8));
  ASSERT_TRUE(platform::PostThreadMessageW(report->threadId, platform::kWmQuit, 9, 0));
  ASSERT_TRUE(thread.Join());

  ASSERT_EQ(report->got.size(), 2u);
  EXPECT_EQ(report->got[0].window, nullptr);
  EXPECT_EQ(report->got[0].message, platform::kWmUser);
  EXPECT_EQ(report->got[0].wParam, 7u);
  EXPECT_EQ(report->got[0].lParam, 8);
  EXPECT_EQ(report->got[1].message, platform::kWmQuit);
  EXPECT_EQ(report->got[1].wParam, 9u);
  EXPECT_EQ(report->lastResult, 0) << "GetMessageW answers 0 for WM_QUIT";
}

TEST(PostQuitMessage, GetMessageWAnswersZeroWithTheExitCodeOnceThePostedMessagesAreOut) {
  const auto report = std::make_shared<QueueThreadReport>();
  SeamThread thread([report] {
    TestWindow window;
    platform::PostMessageW(window.get(), kPing, 1, 0);
    platform::PostQuitMessage(3);
    platform::PostMessageW(window.get(), kPing, 2, 0);
    platform::Message message;
    int result = 0;
    while ((result = platform::GetMessageW(&message, nullptr, 0, 0)) > 0) {
      report->got.push_back(message);
    }
    report->got.push_back(message);
    report->lastResult = result;
  });
  ASSERT_TRUE(thread.started());
  ASSERT_TRUE(thread.Join());
  ASSERT_EQ(report->got.size(), 3u);
  EXPECT_EQ(report->got[0].message, kPing);
  EXPECT_EQ(report->got[0].wParam, 1u);
  EXPECT_EQ(report->got[1].message, kPing);
  EXPECT_EQ(report->got[1].wParam, 2u);
  EXPECT_EQ(report->got[2].message, platform::kWmQuit);
  EXPECT_EQ(report->got[2].wParam, 3u);
  EXPECT_EQ(report->lastResult, 0);
}

TEST(SetTimer, OfAWindowComesAsWmTimerWithItsIdUntilKilled) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  EXPECT_NE(platform::SetTimer(window.get(), 7, 10), 0u);
  const platform::Message message = NextMessage([&window](const platform::Message& m) {
    return m.message == platform::kWmTimer && m.window == window.get();
  });
  EXPECT_EQ(message.message, platform::kWmTimer);
  EXPECT_EQ(message.wParam, 7u);
  platform::DispatchMessageW(message);
  const std::vector<contract::SeenMessage> seen = MessageLog::Instance().For(window.get());
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen.back().message, platform::kWmTimer);
  EXPECT_EQ(seen.back().wParam, 7u);
  EXPECT_TRUE(platform::KillTimer(window.get(), 7));
  EXPECT_FALSE(platform::KillTimer(window.get(), 7));
}

TEST(SetTimer, OfNoWindowGivesAnIdOfItsOwn) {
  const std::uintptr_t id = platform::SetTimer(nullptr, 0, 10);
  ASSERT_NE(id, 0u);
  const platform::Message message = NextMessage([id](const platform::Message& m) {
    return m.message == platform::kWmTimer && m.window == nullptr && m.wParam == id;
  });
  EXPECT_EQ(message.message, platform::kWmTimer);
  EXPECT_TRUE(platform::KillTimer(nullptr, id));
  EXPECT_FALSE(platform::KillTimer(nullptr, id));
}

TEST(RegisterWindowMessageW, GivesTheSameNumberForTheSameNameInTheRegisteredRange) {
  const std::u16string name = UniqueName(u"KtContractMessage");
  const unsigned first = platform::RegisterWindowMessageW(name);
  EXPECT_GE(first, 0xC000u);
  EXPECT_LE(first, 0xFFFFu);
  EXPECT_EQ(platform::RegisterWindowMessageW(name), first);
  EXPECT_NE(platform::RegisterWindowMessageW(UniqueName(u"KtContractMessage")), first);
  const unsigned taskbar = platform::RegisterWindowMessageW(u"TaskbarCreated");
  EXPECT_GE(taskbar, 0xC000u);
  EXPECT_EQ(platform::RegisterWindowMessageW(u"TaskbarCreated"), taskbar);
}

// Window events as the hook callback saw them, with the thread it ran on.
struct HookEvent {
  platform::WinEventHookHandle hook = nullptr;
  std::uint32_t event = 0;
  WindowHandle window = nullptr;
  std::int32_t objectId = -1;
  std::int32_t childId = -1;
  std::uint32_t threadId = 0;
};

std::mutex eventsMutex;
std::condition_variable eventsChanged;
std::vector<HookEvent> events;

void RecordEvent(platform::WinEventHookHandle hook, std::uint32_t event, WindowHandle window,
                 std::int32_t objectId, std::int32_t childId) {
  {
    const std::lock_guard guard(eventsMutex);
    events.push_back({hook, event, window, objectId, childId, platform::GetCurrentThreadId()});
  }
  eventsChanged.notify_all();
}

std::vector<HookEvent> EventsFor(WindowHandle window) {
  std::unique_lock lock(eventsMutex);
  eventsChanged.wait_for(lock, kAnswerLimit, [window] {
    for (const HookEvent& event : events) {
      if (event.window == window) return true;
    }
    return false;
  });
  std::vector<HookEvent> found;
  for (const HookEvent& event : events) {
    if (event.window == window) found.push_back(event);
  }
  return found;
}

struct HookThreadReport {
  Signal hooked;
  std::uint32_t threadId = 0;
  platform::WinEventHookHandle hook = nullptr;
  int lastResult = -2;
  bool unhooked = false;
  bool unhookedTwice = true;
};

struct CreatorReport {
  Signal created;
  Signal finish;
  WindowHandle window = nullptr;
};

TEST(SetWinEventHook, RefusesANullProcedure) {
  EXPECT_EQ(platform::SetWinEventHook(platform::kEventObjectCreate, platform::kEventObjectCreate,
                                      nullptr, 0, 0, platform::kWineventOutOfContext),
            nullptr);
}

// The blocker's hook thread in small: a queue, the hook, GetMessageW until WM_QUIT, and the
// hook undone on the same thread.
TEST(SetWinEventHook, OutOfContextGetsTheCreationOfAWindowAnotherThreadMakes) {
  const auto hookReport = std::make_shared<HookThreadReport>();
  SeamThread hookThread([hookReport] {
    hookReport->threadId = platform::GetCurrentThreadId();
    platform::Message message;
    platform::PeekMessageW(&message, nullptr, platform::kWmUser, platform::kWmUser,
                           platform::kPmNoRemove);
    hookReport->hook =
        platform::SetWinEventHook(platform::kEventObjectCreate, platform::kEventObjectCreate,
                                  &RecordEvent, 0, 0, platform::kWineventOutOfContext);
    hookReport->hooked.Raise();
    int result = 0;
    while ((result = platform::GetMessageW(&message, nullptr, 0, 0)) > 0) {
      platform::TranslateMessage(message);
      platform::DispatchMessageW(message);
    }
    hookReport->lastResult = result;
    hookReport->unhooked = platform::UnhookWinEvent(hookReport->hook);
    hookReport->unhookedTwice = platform::UnhookWinEvent(hookReport->hook);
  });
  ASSERT_TRUE(hookThread.started());
  ASSERT_TRUE(hookReport->hooked.Wait());
  ASSERT_NE(hookReport->hook, nullptr);

  // A thread that starts after the hook, as a program started later does.
  const auto creator = std::make_shared<CreatorReport>();
  SeamThread creatorThread([creator] {
    TestWindow window;
    creator->window = window.get();
    creator->created.Raise();
    creator->finish.Wait();
  });
  ASSERT_TRUE(creatorThread.started());
  ASSERT_TRUE(creator->created.Wait());
  ASSERT_NE(creator->window, nullptr);

  const std::vector<HookEvent> seen = EventsFor(creator->window);
  creator->finish.Raise();
  ASSERT_TRUE(creatorThread.Join());
  ASSERT_FALSE(seen.empty()) << "no event for the new window";
  EXPECT_EQ(seen[0].hook, hookReport->hook);
  EXPECT_EQ(seen[0].event, platform::kEventObjectCreate);
  EXPECT_EQ(seen[0].objectId, platform::kObjidWindow);
  EXPECT_EQ(seen[0].childId, platform::kChildidSelf);
  EXPECT_EQ(seen[0].threadId, hookReport->threadId) << "delivered inside the hook thread's loop";

  ASSERT_TRUE(platform::PostThreadMessageW(hookReport->threadId, platform::kWmQuit, 0, 0));
  ASSERT_TRUE(hookThread.Join());
  EXPECT_EQ(hookReport->lastResult, 0);
  EXPECT_TRUE(hookReport->unhooked);
  EXPECT_FALSE(hookReport->unhookedTwice);
}

TEST(Menus, AreMadeFilledAndDestroyedOnce) {
  platform::UniqueMenu menu(platform::CreatePopupMenu());
  ASSERT_TRUE(menu);
  EXPECT_TRUE(platform::AppendMenuW(menu.get(), platform::kMfString, 1, u"Show"));
  EXPECT_TRUE(platform::AppendMenuW(menu.get(), platform::kMfSeparator, 0, u""));
  EXPECT_TRUE(platform::AppendMenuW(menu.get(), platform::kMfString, 2, u"\u9000\u51fa"));
  const platform::MenuHandle handle = menu.release();
  EXPECT_TRUE(platform::DestroyMenu(handle));
  // Windows says ERROR_INVALID_MENU_HANDLE; Wine leaves the last error as it was. Nothing reads it.
  EXPECT_FALSE(platform::DestroyMenu(handle));
  EXPECT_FALSE(platform::AppendMenuW(handle, platform::kMfString, 3, u"Late"));
}

}  // namespace
