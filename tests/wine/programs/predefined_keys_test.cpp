// The predefined keys of platform/registry.h are made at run time, like <windows.h>'s, so their
// check against those runs here rather than among the static checks of the adapters.
#include <windows.h>

#include <gtest/gtest.h>

#include "platform/registry.h"

namespace {

TEST(PredefinedKeys, AreTheHandlesOfWindowsH) {
  EXPECT_EQ(platform::kHkeyClassesRoot, HKEY_CLASSES_ROOT);
  EXPECT_EQ(platform::kHkeyCurrentUser, HKEY_CURRENT_USER);
  EXPECT_EQ(platform::kHkeyLocalMachine, HKEY_LOCAL_MACHINE);
  EXPECT_EQ(platform::kHkeyUsers, HKEY_USERS);
  EXPECT_EQ(platform::kHkeyCurrentConfig, HKEY_CURRENT_CONFIG);
}

}  // namespace
