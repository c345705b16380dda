#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "lock/lock_screen.h"
#include "lock/password_store.h"
#include "sim_core.h"
#include "sim_crypto.h"
#include "sim_gdi.h"
#include "sim_kernel.h"
#include "sim_user.h"

namespace {

// The lock window as the logic sees it: a pop-up of this process over the whole screen.
LockWindowHandle kHwnd = nullptr;
sim::MonitorConfig monitor;

void SetClient(LockSize size) {
  sim::ChangeDesktopWindow(kHwnd, [size](sim::DesktopWindow& window) {
    window.windowRect = Rect{0, 0, size.width, size.height};
  });
}
void SetWindowDpi(unsigned dpi) {
  sim::ChangeDesktopWindow(kHwnd, [dpi](sim::DesktopWindow& window) { window.dpi = dpi; });
}
void SetMonitorSize(std::optional<LockSize> size) {
  monitor.size = size;
  sim::SetMonitor(monitor);
}
void SetPrimaryScreen(LockSize size) {
  monitor.primaryScreen = size;
  sim::SetMonitor(monitor);
}

int Count(const std::vector<std::string>& calls, const std::string& prefix) {
  return static_cast<int>(std::count_if(calls.begin(), calls.end(), [&](const std::string& call) {
    return call.rfind(prefix, 0) == 0;
  }));
}
int Invalidations() { return Count(sim::Journal(), "InvalidateRect " + sim::Label(kHwnd)); }
int Destroyed() { return Count(sim::Journal(), "DestroyWindow " + sim::Label(kHwnd)); }
int Raised() { return Count(sim::Journal(), "SetWindowPos " + sim::Label(kHwnd) + " TOPMOST"); }
int DeviceCapsQueries() { return Count(sim::Journal(), "GetDC "); }

const std::u16string kLockPath = u"C:\\ProgramData\\KelvoTarnel\\pseudo_lock.json";

// printf '2468' | sha256sum
const std::string kDigest2468 = "a1fb4e703a9ef1fa4936801721ff285a97ac85330856674412e054892afe6972";
// printf '12345678901234567890123456789012' | sha256sum: 32 digits
const std::string kDigest32Digits =
    "e1b85b27d6bcb05846c18e6a48f118e89f0c0587140de9fb3359f8370d0dba08";

std::string Upper(std::string text) {
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
  }
  return text;
}

std::string LockFile(bool locked, const std::string& digest) {
  return std::string("{\"locked\":") + (locked ? "true" : "false") + ",\"passwordHash\":\"" +
         digest + "\"}";
}

LockPoint CentreOf(const LockRect& rect) {
  return {(rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2};
}

class LockScreenTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    ResetLockScreenState();
    monitor = {};
    sim::DesktopWindow window;
    window.pid = sim::kOwnProcessId;
    window.threadId = sim::kOwnThreadId;
    window.style = platform::kWsPopup;
    window.exStyle = platform::kWsExTopmost;
    window.windowRect = Rect{0, 0, 1920, 1080};
    kHwnd = sim::AddDesktopWindow(window);
    sim::AddDirectory(u"C:\\ProgramData\\KelvoTarnel");
  }

  // What RunNativeLockScreen and WM_CREATE do before the first message.
  static void StartLock(const std::optional<std::string>& file) {
    if (file) sim::SetFile(kLockPath, *file);
    State().lockStoredHash = ReadLockPasswordHash();
    LayoutLockKeys(kHwnd);
  }

  static LockScreenState& State() { return GetLockScreenState(); }

  static void TypeChars(const std::u16string& text) {
    for (char16_t c : text) HandleLockChar(kHwnd, c);
  }

  // One key press as the message loop delivers it: WM_KEYDOWN, then WM_CHAR if it translates.
  static void PressEnter() {
    HandleLockKeyDown(kHwnd, platform::kVkReturn);
    if (Destroyed() == 0) HandleLockChar(kHwnd, kLockCharEnter);
  }
  static void PressBackspace() {
    HandleLockKeyDown(kHwnd, platform::kVkBack);
    HandleLockChar(kHwnd, kLockCharBackspace);
  }

  static void Click(std::size_t keyIndex) {
    const LockPoint centre = CentreOf(State().keys.at(keyIndex).rect);
    PressLockKeyAt(kHwnd, centre.x, centre.y);
  }

  static LockColor InputBorder() { return PlanLockWindowPaint(kHwnd).input.pen.color; }
};

class LockInput : public LockScreenTest {};
class LockSubmit : public LockScreenTest {};
class LockClick : public LockScreenTest {};
class LockTimer : public LockScreenTest {};
class LockCursor : public LockScreenTest {};
class LockWindowScale : public LockScreenTest {};

// ---- Typing ----

TEST_F(LockInput, TypingThirtyThreeDigitsKeepsThirtyTwo) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"123456789012345678901234567890123");
  EXPECT_EQ(State().lockTypedText, u"12345678901234567890123456789012");
  EXPECT_EQ(PlanLockWindowPaint(kHwnd).mask->text, std::u16string(32, u'*'));
}

TEST_F(LockInput, TheThirtyThirdDigitIsDroppedSilentlyButStillRepaints) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(std::u16string(32, u'7'));
  State().lockMessage = std::u16string(kLockWrongPasswordMessage);
  const int before = Invalidations();
  HandleLockChar(kHwnd, u'8');
  EXPECT_EQ(State().lockTypedText, std::u16string(32, u'7'));
  EXPECT_EQ(State().lockMessage, u"");
  EXPECT_EQ(Invalidations(), before + 1);
}

TEST_F(LockInput, ThirtyTwoDigitPasswordStillUnlocksAfterAThirtyThirdDigit) {
  StartLock(LockFile(true, kDigest32Digits));
  TypeChars(u"123456789012345678901234567890129");
  PressEnter();
  EXPECT_EQ(Destroyed(), 1);
}

TEST_F(LockInput, EscEmptiesTheText) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"1234");
  HandleLockChar(kHwnd, kLockCharEscape);
  EXPECT_EQ(State().lockTypedText, u"");
  EXPECT_FALSE(PlanLockWindowPaint(kHwnd).mask.has_value());
}

TEST_F(LockInput, OneBackspaceKeyPressDeletesTwoDigits) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"123456");
  PressBackspace();
  EXPECT_EQ(State().lockTypedText, u"1234");
}

TEST_F(LockInput, BackspaceOnEmptyTextDoesNothingButRepaint) {
  StartLock(LockFile(true, kDigest2468));
  PressBackspace();
  EXPECT_EQ(State().lockTypedText, u"");
  EXPECT_EQ(Invalidations(), 2);
}

TEST_F(LockInput, CharactersOtherThanDigitsBackspaceEnterAndEscAreDropped) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"12");
  State().lockMessage = std::u16string(kLockWrongPasswordMessage);
  const int before = Invalidations();
  TypeChars(u"a ٣１\t");
  EXPECT_EQ(State().lockTypedText, u"12");
  EXPECT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  EXPECT_EQ(Invalidations(), before);
}

TEST_F(LockInput, KeyDownOfOtherKeysDoesNothing) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"12");
  HandleLockKeyDown(kHwnd, 27);    // VK_ESCAPE: acted on as WM_CHAR only
  HandleLockKeyDown(kHwnd, 0x31);  // '1'
  HandleLockKeyDown(kHwnd, 0x2E);  // VK_DELETE
  EXPECT_EQ(State().lockTypedText, u"12");
}

TEST_F(LockInput, TypedCharacterClearsTheMessage) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"9");
  PressEnter();
  EXPECT_EQ(InputBorder(), kLockInputBorderWithMessage);
  TypeChars(u"1");
  EXPECT_EQ(State().lockMessage, u"");
  EXPECT_EQ(InputBorder(), kLockInputBorder);
}

TEST_F(LockInput, EveryChangeRepaintsTheWholeWindowOnce) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"12");
  HandleLockChar(kHwnd, kLockCharEscape);
  EXPECT_EQ(Invalidations(), 3);
  // Every call that named a window named the lock window.
  for (const std::string& call : sim::DesktopCalls()) {
    const std::size_t from = call.find(' ') + 1;
    const std::string target = call.substr(from, call.find(' ', from) - from);
    if (target == "null" || target == "stale" || target.rfind('w', 0) == 0) {
      EXPECT_EQ(target, sim::Label(kHwnd)) << call;
    }
  }
}

// ---- Submitting ----

TEST_F(LockSubmit, RightPasswordWritesUnlockedAndEndsTheWindowAtTheFirstOfTheTwo) {
  StartLock(LockFile(true, kDigest2468) + "\n");
  TypeChars(u"2468");
  HandleLockKeyDown(kHwnd, platform::kVkReturn);
  EXPECT_EQ(Destroyed(), 1);
  EXPECT_EQ(sim::GetFile(kLockPath), LockFile(false, kDigest2468));
}

TEST_F(LockSubmit, RewriteKeepsTheHashAndDropsOtherFields) {
  StartLock("{\"user\":\"ann\",\"locked\":true,\"passwordHash\":\"" + kDigest2468 +
            "\",\"note\":1}");
  TypeChars(u"2468");
  PressEnter();
  EXPECT_EQ(sim::GetFile(kLockPath), LockFile(false, kDigest2468));
}

TEST_F(LockSubmit, WrongEnterSubmitsTwiceAndBothFail) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"1357");
  HandleLockKeyDown(kHwnd, platform::kVkReturn);
  EXPECT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  EXPECT_EQ(State().lockTypedText, u"");
  // The WM_CHAR of the same press clears the message, then submits the empty box.
  HandleLockChar(kHwnd, kLockCharEnter);
  EXPECT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  EXPECT_EQ(State().lockTypedText, u"");
  EXPECT_EQ(Destroyed(), 0);
  EXPECT_EQ(sim::GetFile(kLockPath), LockFile(true, kDigest2468));
  EXPECT_EQ(InputBorder(), kLockInputBorderWithMessage);
}

TEST_F(LockSubmit, NoLimitOnAttempts) {
  StartLock(LockFile(true, kDigest2468));
  for (int i = 0; i < 50; ++i) {
    TypeChars(u"0000");
    PressEnter();
  }
  TypeChars(u"2468");
  PressEnter();
  EXPECT_EQ(Destroyed(), 1);
}

TEST_F(LockSubmit, StoredDigestInCapitalsStillMatches) {
  StartLock(LockFile(true, Upper(kDigest2468)));
  TypeChars(u"2468");
  PressEnter();
  EXPECT_EQ(Destroyed(), 1);
  EXPECT_EQ(sim::GetFile(kLockPath), LockFile(false, Upper(kDigest2468)));
}

TEST_F(LockSubmit, MissingFileStaysLockedAndEverySubmitSaysNoPasswordIsSet) {
  StartLock(std::nullopt);
  EXPECT_EQ(State().lockStoredHash, u"");
  TypeChars(u"2468");
  PressEnter();
  EXPECT_EQ(State().lockMessage, kLockNoPasswordMessage);
  EXPECT_EQ(State().lockTypedText, u"2468");  // the typed text stays
  EXPECT_EQ(Destroyed(), 0);
  EXPECT_FALSE(sim::GetFile(kLockPath).has_value());
  EXPECT_EQ(PlanLockWindowPaint(kHwnd).mask->text, u"****");
  EXPECT_EQ(InputBorder(), kLockInputBorderWithMessage);
}

TEST_F(LockSubmit, EmptyPasswordHashInTheFileIsNoPassword) {
  StartLock(LockFile(true, ""));
  SubmitLockPassword(kHwnd);
  EXPECT_EQ(State().lockMessage, kLockNoPasswordMessage);
}

TEST_F(LockSubmit, TheDigestOfTheEmptyTextCanUnlock) {
  // printf '' | sha256sum: an empty box is hashed like any other text.
  StartLock(LockFile(true, "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
  PressEnter();
  EXPECT_EQ(Destroyed(), 1);
}

TEST_F(LockSubmit, FailedHashReadsAsAWrongPassword) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetSha256Fails(true);
  TypeChars(u"2468");
  SubmitLockPassword(kHwnd);
  EXPECT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  EXPECT_EQ(Destroyed(), 0);
}

TEST_F(LockSubmit, AFailedWriteDoesNotStopTheUnlock) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetReadOnly(kLockPath, true);
  TypeChars(u"2468");
  PressEnter();
  EXPECT_EQ(Destroyed(), 1);
  EXPECT_EQ(sim::GetFile(kLockPath), LockFile(true, kDigest2468));
}

TEST_F(LockSubmit, TheDigestIsReadOnceAtStart) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetFile(kLockPath, LockFile(true, "0000"));
  TypeChars(u"2468");
  PressEnter();
  EXPECT_EQ(Destroyed(), 1);
}

// ---- Clicks ----

TEST_F(LockClick, DigitKeysTypeTheirDigits) {
  StartLock(LockFile(true, kDigest2468));
  Click(1);
  Click(3);
  Click(10);
  EXPECT_EQ(State().lockTypedText, u"240");
}

TEST_F(LockClick, BackspaceKeyDeletesOneDigit) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"123");
  Click(11);
  EXPECT_EQ(State().lockTypedText, u"12");
}

TEST_F(LockClick, ClickOnTheClearKeyEmptiesTheText) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"123");
  const int before = Invalidations();
  Click(9);
  EXPECT_EQ(State().lockTypedText, u"");
  EXPECT_EQ(Invalidations(), before + 1);
}

TEST_F(LockClick, SubmitKeySubmitsOnce) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"2468");
  Click(12);
  EXPECT_EQ(Destroyed(), 1);
}

TEST_F(LockClick, ClickOutsideAllKeysKeepsTheMessageAndTheRedBorder) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"11");
  Click(12);
  ASSERT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  const int before = Invalidations();
  PressLockKeyAt(kHwnd, 10, 10);
  const LockPoint inBox = CentreOf(State().lockInputRect);
  PressLockKeyAt(kHwnd, inBox.x, inBox.y);
  EXPECT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  EXPECT_EQ(InputBorder(), kLockInputBorderWithMessage);
  EXPECT_EQ(Invalidations(), before);
}

TEST_F(LockClick, AnyKeyPressClearsTheMessage) {
  for (std::size_t key : {0u, 9u, 11u}) {
    ResetLockScreenState();
    StartLock(LockFile(true, kDigest2468));
    State().lockMessage = std::u16string(kLockWrongPasswordMessage);
    Click(key);
    EXPECT_EQ(State().lockMessage, u"") << key;
    EXPECT_EQ(InputBorder(), kLockInputBorder) << key;
  }
}

TEST_F(LockClick, KeysAreFoundWhereTheLayoutPutThemAt4K) {
  SetClient({3840, 2160});
  SetMonitorSize(LockSize{3840, 2160});
  StartLock(LockFile(true, kDigest2468));
  PressLockKeyAt(kHwnd, 1700, 888);   // key 1's top-left pixel
  PressLockKeyAt(kHwnd, 1827, 1015);  // and its bottom-right one
  PressLockKeyAt(kHwnd, 1828, 1015);  // the gap after it
  EXPECT_EQ(State().lockTypedText, u"11");
}

// ---- Timer ----

TEST_F(LockTimer, DecisionFollowsTheLockedFlag) {
  EXPECT_EQ(DecideLockTimerAction(true), LockTimerAction::kRaiseTopmost);
  EXPECT_EQ(DecideLockTimerAction(false), LockTimerAction::kDestroy);
}

TEST_F(LockTimer, LockedFileLiftsTheWindowAgain) {
  StartLock(LockFile(true, kDigest2468));
  OnLockTimer(kHwnd);
  OnLockTimer(kHwnd);
  EXPECT_EQ(Raised(), 2);
  EXPECT_EQ(Destroyed(), 0);
}

TEST_F(LockTimer, FileChangedToUnlockedEndsTheLockWithoutAPasswordOrAWrite) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetFile(kLockPath, "{\"locked\":false}");
  OnLockTimer(kHwnd);
  EXPECT_EQ(Destroyed(), 1);
  EXPECT_EQ(Raised(), 0);
  EXPECT_EQ(sim::GetFile(kLockPath), "{\"locked\":false}");
}

TEST_F(LockTimer, DeletedFileKeepsTheLock) {
  StartLock(LockFile(true, kDigest2468));
  sim::RemoveFile(kLockPath);
  OnLockTimer(kHwnd);
  EXPECT_EQ(Destroyed(), 0);
  EXPECT_EQ(Raised(), 1);
}

TEST_F(LockTimer, QuotedFalseStillReadsAsLocked) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetFile(kLockPath, "{\"locked\":\"false\"}");
  OnLockTimer(kHwnd);
  EXPECT_EQ(Destroyed(), 1);  // a quoted value is not "true": unlocked
}

// ---- Cursor ----

TEST_F(LockCursor, HandOverAKeyInTheClientArea) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetCursorPos(CentreOf(State().keys[4].rect));
  EXPECT_TRUE(WantsLockHandCursor(kHwnd, platform::kHtClient));
}

TEST_F(LockCursor, ArrowOffTheKeys) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetCursorPos(CentreOf(State().lockInputRect));
  EXPECT_FALSE(WantsLockHandCursor(kHwnd, platform::kHtClient));
  sim::SetCursorPos(std::nullopt);
  EXPECT_FALSE(WantsLockHandCursor(kHwnd, platform::kHtClient));
}

TEST_F(LockCursor, ArrowForHitTestCodesOtherThanClient) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetCursorPos(CentreOf(State().keys[4].rect));
  EXPECT_FALSE(WantsLockHandCursor(kHwnd, 2));  // HTCAPTION
  EXPECT_FALSE(WantsLockHandCursor(kHwnd, 0));  // HTNOWHERE
}

TEST_F(LockCursor, NoKeysAfterDestroyNoHand) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetCursorPos(CentreOf(State().keys[4].rect));
  State().keys.clear();
  EXPECT_FALSE(WantsLockHandCursor(kHwnd, platform::kHtClient));
}

// ---- Scale of the window ----

TEST_F(LockWindowScale, WindowDpiFirst) {
  SetWindowDpi(144);
  sim::SetScreenDpi(192);
  EXPECT_DOUBLE_EQ(ComputeLockScale(kHwnd), 1.5);
  EXPECT_EQ(DeviceCapsQueries(), 0);
}

TEST_F(LockWindowScale, DeviceCapsWhenTheWindowDpiIsMissing) {
  SetWindowDpi(0);
  sim::SetScreenDpi(192);
  EXPECT_DOUBLE_EQ(ComputeLockScale(kHwnd), 2.0);
}

TEST_F(LockWindowScale, NinetySixWhenNeitherAnswers) {
  SetWindowDpi(0);
  sim::SetScreenDpi(0);
  SetMonitorSize(LockSize{1280, 720});
  EXPECT_DOUBLE_EQ(ComputeLockScale(kHwnd), 1.0);
}

TEST_F(LockWindowScale, PrimaryScreenWhenTheMonitorCannotBeRead) {
  SetMonitorSize(std::nullopt);
  SetPrimaryScreen({3840, 2160});
  EXPECT_DOUBLE_EQ(ComputeLockScale(kHwnd), 2.0);
}

TEST_F(LockWindowScale, LayoutUsesTheClientSizeAndTheMonitorScale) {
  // Two 1920x1080 monitors side by side: the window spans both, the scale is one monitor's.
  SetClient({3840, 1080});
  LayoutLockKeys(kHwnd);
  EXPECT_EQ(State().keys.size(), 13u);
  EXPECT_EQ(State().lockInputRect, LayoutLockKeysFrom({3840, 1080}, 1.0).inputRect);
  EXPECT_EQ(ComputeLockPanelRect(kHwnd), (LockRect{1650, 195, 2190, 885}));
}

TEST_F(LockWindowScale, LayoutReplacesTheKeyList) {
  LayoutLockKeys(kHwnd);
  SetClient({1280, 720});
  LayoutLockKeys(kHwnd);
  EXPECT_EQ(State().keys.size(), 13u);
  EXPECT_EQ(State().keys[0].rect, LayoutLockKeysFrom({1280, 720}, 1.0).keys[0].rect);
}

TEST_F(LockWindowScale, PaintPlanOfAnEmptyClientPaintsNothing) {
  SetClient({0, 0});
  EXPECT_FALSE(PlanLockWindowPaint(kHwnd).paints);
}

}  // namespace
