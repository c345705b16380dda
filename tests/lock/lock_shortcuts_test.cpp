#include "lock/lock_shortcuts.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/user.h"
#include "sim_core.h"
#include "sim_user.h"

namespace {

constexpr unsigned kVk0 = 0x30;
constexpr unsigned kVk9 = 0x39;
constexpr unsigned kVkAlt = platform::kVkMenu;

// ---- The decision ----

TEST(ShouldSwallowLockKey, BothWindowsKeysAreSwallowedWhateverElseIsDown) {
  for (const unsigned key : {platform::kVkLWin, platform::kVkRWin}) {
    EXPECT_TRUE(ShouldSwallowLockKey(key, false, false));
    EXPECT_TRUE(ShouldSwallowLockKey(key, true, false));
    EXPECT_TRUE(ShouldSwallowLockKey(key, false, true));
    EXPECT_TRUE(ShouldSwallowLockKey(key, true, true));
  }
}

TEST(ShouldSwallowLockKey, AltTabIsSwallowed) {
  EXPECT_TRUE(ShouldSwallowLockKey(platform::kVkTab, true, false));
}

TEST(ShouldSwallowLockKey, AltEscIsSwallowed) {
  EXPECT_TRUE(ShouldSwallowLockKey(platform::kVkEscape, true, false));
}

TEST(ShouldSwallowLockKey, CtrlEscIsSwallowed) {
  EXPECT_TRUE(ShouldSwallowLockKey(platform::kVkEscape, false, true));
}

TEST(ShouldSwallowLockKey, AltF4IsSwallowed) {
  EXPECT_TRUE(ShouldSwallowLockKey(platform::kVkF4, true, false));
}

TEST(ShouldSwallowLockKey, CtrlAltDelPassesToTheSystem) {
  EXPECT_FALSE(ShouldSwallowLockKey(platform::kVkDelete, true, true));
}

TEST(ShouldSwallowLockKey, PlainEscPassesBecauseItEmptiesTheBox) {
  EXPECT_FALSE(ShouldSwallowLockKey(platform::kVkEscape, false, false));
}

TEST(ShouldSwallowLockKey, TabAndF4WithoutAltPass) {
  EXPECT_FALSE(ShouldSwallowLockKey(platform::kVkTab, false, false));
  EXPECT_FALSE(ShouldSwallowLockKey(platform::kVkTab, false, true));
  EXPECT_FALSE(ShouldSwallowLockKey(platform::kVkF4, false, false));
  EXPECT_FALSE(ShouldSwallowLockKey(platform::kVkF4, false, true));
}

TEST(ShouldSwallowLockKey, DigitsEnterAndBackspacePass) {
  for (unsigned key = kVk0; key <= kVk9; ++key) {
    EXPECT_FALSE(ShouldSwallowLockKey(key, false, false)) << key;
  }
  EXPECT_FALSE(ShouldSwallowLockKey(platform::kVkReturn, false, false));
  EXPECT_FALSE(ShouldSwallowLockKey(platform::kVkBack, false, false));
}

TEST(ShouldSwallowLockKey, AltAndCtrlThemselvesPass) {
  EXPECT_FALSE(ShouldSwallowLockKey(kVkAlt, true, false));
  EXPECT_FALSE(ShouldSwallowLockKey(platform::kVkControl, false, true));
}

// ---- The hook ----

class LockKeyboardHook : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
};

TEST_F(LockKeyboardHook, IsSetWhileItsOwnerLivesAndRemovedAfter) {
  {
    const platform::UniqueWindowsHook hook = InstallLockKeyboardHook(nullptr);
    ASSERT_TRUE(hook);
    EXPECT_EQ(sim::ActiveKeyboardHooks(), 1);
  }
  EXPECT_EQ(sim::ActiveKeyboardHooks(), 0);
  EXPECT_EQ(sim::SendLowLevelKey(platform::kVkLWin), 0);
}

TEST_F(LockKeyboardHook, IsAGlobalLowLevelKeyboardHook) {
  const platform::UniqueWindowsHook hook = InstallLockKeyboardHook(nullptr);
  const std::vector<std::string> journal = sim::Journal();
  EXPECT_NE(std::find(journal.begin(), journal.end(), "SetWindowsHookExW 13 0"), journal.end());
}

TEST_F(LockKeyboardHook, ARefusedHookLeavesNothingToRemove) {
  sim::SetWindowsHooksFail(true);
  {
    const platform::UniqueWindowsHook hook = InstallLockKeyboardHook(nullptr);
    EXPECT_FALSE(hook);
  }
  const std::vector<std::string> journal = sim::Journal();
  EXPECT_EQ(std::find(journal.begin(), journal.end(), "UnhookWindowsHookEx"), journal.end());
}

TEST_F(LockKeyboardHook, SwallowsTheWindowsKeyDownAndUp) {
  const platform::UniqueWindowsHook hook = InstallLockKeyboardHook(nullptr);
  EXPECT_NE(sim::SendLowLevelKey(platform::kVkLWin), 0);
  EXPECT_NE(sim::SendLowLevelKey(platform::kVkLWin, platform::kLlkhfUp), 0);
}

TEST_F(LockKeyboardHook, ReadsAltFromTheEventFlags) {
  const platform::UniqueWindowsHook hook = InstallLockKeyboardHook(nullptr);
  EXPECT_NE(sim::SendLowLevelKey(platform::kVkTab, platform::kLlkhfAltDown), 0);
  EXPECT_NE(sim::SendLowLevelKey(platform::kVkF4, platform::kLlkhfAltDown), 0);
  EXPECT_EQ(sim::SendLowLevelKey(platform::kVkTab), 0);
}

TEST_F(LockKeyboardHook, ReadsAltFromTheKeyboardStateWhenTheFlagsLackIt) {
  const platform::UniqueWindowsHook hook = InstallLockKeyboardHook(nullptr);
  sim::SetAsyncKeyDown(kVkAlt, true);
  EXPECT_NE(sim::SendLowLevelKey(platform::kVkTab), 0);
  EXPECT_NE(sim::SendLowLevelKey(platform::kVkEscape), 0);
  EXPECT_NE(sim::SendLowLevelKey(platform::kVkF4), 0);
  EXPECT_EQ(sim::SendLowLevelKey(kVk0 + 5), 0);
}

TEST_F(LockKeyboardHook, ReadsCtrlFromTheKeyboardState) {
  const platform::UniqueWindowsHook hook = InstallLockKeyboardHook(nullptr);
  EXPECT_EQ(sim::SendLowLevelKey(platform::kVkEscape), 0);
  sim::SetAsyncKeyDown(platform::kVkControl, true);
  EXPECT_NE(sim::SendLowLevelKey(platform::kVkEscape), 0);
}

int NextHookCalls() {
  const std::vector<std::string> calls = sim::DesktopCalls();
  return static_cast<int>(std::count(calls.begin(), calls.end(), "CallNextHookEx"));
}

TEST_F(LockKeyboardHook, PassedKeysGoOnDownTheChainAndSwallowedOnesDoNot) {
  const platform::UniqueWindowsHook hook = InstallLockKeyboardHook(nullptr);
  EXPECT_EQ(sim::SendLowLevelKey(kVk0 + 2), 0);
  EXPECT_EQ(NextHookCalls(), 1);
  EXPECT_NE(sim::SendLowLevelKey(platform::kVkRWin), 0);
  EXPECT_EQ(NextHookCalls(), 1);
}

}  // namespace
