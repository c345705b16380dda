// The low-level keyboard hook as the lock sets it: global only, removed once.
//
// Left out: which keys reach the hook. Only real input (or SendInput) calls it, on the setting
// thread's message loop; the lock's Wine test drives that.
#include <gtest/gtest.h>

#include <cstdint>

#include "platform/kernel.h"
#include "platform/user.h"

namespace {

std::intptr_t PassEverything(int code, std::uintptr_t wParam, std::intptr_t lParam) {
  return platform::CallNextHookEx(nullptr, code, wParam, lParam);
}

TEST(KeyboardHookContract, AGlobalLowLevelHookIsSetAndRemovedOnce) {
  const platform::HookHandle hook = platform::SetWindowsHookExW(
      platform::kWhKeyboardLl, &PassEverything, platform::GetModuleHandleW(nullptr), 0);
  ASSERT_NE(hook, nullptr);
  EXPECT_TRUE(platform::UnhookWindowsHookEx(hook));
  EXPECT_FALSE(platform::UnhookWindowsHookEx(hook));
}

TEST(KeyboardHookContract, ALowLevelHookForOneThreadIsRefused) {
  EXPECT_EQ(platform::SetWindowsHookExW(platform::kWhKeyboardLl, &PassEverything,
                                        platform::GetModuleHandleW(nullptr),
                                        platform::GetCurrentThreadId()),
            nullptr);
}

TEST(KeyboardHookContract, AHookWithoutAProcedureIsRefused) {
  EXPECT_EQ(platform::SetWindowsHookExW(platform::kWhKeyboardLl, nullptr,
                                        platform::GetModuleHandleW(nullptr), 0),
            nullptr);
}

}  // namespace
