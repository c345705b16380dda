#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "lock/lock_screen.h"
#include "lock/password_store.h"
#include "sim_platform.h"

namespace {

// The one window the lock logic sees, scripted by each test.
struct FakeLockWindow {
  LockSize client{1920, 1080};
  unsigned windowDpi = 96;
  unsigned deviceDpi = 96;
  std::optional<LockSize> monitor = LockSize{1920, 1080};
  LockSize primaryScreen{1920, 1080};
  std::optional<LockPoint> cursor;
  int invalidations = 0;
  int destroyed = 0;
  int raised = 0;
  int deviceCapsQueries = 0;
  std::vector<lock::platform::WindowHandle> handles;
};

FakeLockWindow& Window() {
  static FakeLockWindow window;
  return window;
}

}  // namespace

namespace lock::platform {

LockSize GetClientSize(WindowHandle window) {
  Window().handles.push_back(window);
  return Window().client;
}
unsigned GetDpiForWindow(WindowHandle) { return Window().windowDpi; }
unsigned GetDeviceCapsLogPixelsX(WindowHandle) {
  ++Window().deviceCapsQueries;
  return Window().deviceDpi;
}
std::optional<LockSize> GetNearestMonitorSize(WindowHandle) { return Window().monitor; }
LockSize GetPrimaryScreenSize() { return Window().primaryScreen; }
std::optional<LockPoint> GetCursorClientPos(WindowHandle) { return Window().cursor; }
void InvalidateRect(WindowHandle window) {
  Window().handles.push_back(window);
  ++Window().invalidations;
}
void DestroyWindow(WindowHandle window) {
  Window().handles.push_back(window);
  ++Window().destroyed;
}
void SetWindowPosTopmost(WindowHandle window) {
  Window().handles.push_back(window);
  ++Window().raised;
}

}  // namespace lock::platform

namespace {

LockWindowHandle const kHwnd = reinterpret_cast<LockWindowHandle>(0x4C0C);
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
    sim::ResetLaunch();
    ResetLockScreenState();
    Window() = FakeLockWindow{};
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
    HandleLockKeyDown(kHwnd, kLockVirtualKeyEnter);
    if (Window().destroyed == 0) HandleLockChar(kHwnd, kLockCharEnter);
  }
  static void PressBackspace() {
    HandleLockKeyDown(kHwnd, kLockVirtualKeyBackspace);
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
  const int before = Window().invalidations;
  HandleLockChar(kHwnd, u'8');
  EXPECT_EQ(State().lockTypedText, std::u16string(32, u'7'));
  EXPECT_EQ(State().lockMessage, u"");
  EXPECT_EQ(Window().invalidations, before + 1);
}

TEST_F(LockInput, ThirtyTwoDigitPasswordStillUnlocksAfterAThirtyThirdDigit) {
  StartLock(LockFile(true, kDigest32Digits));
  TypeChars(u"123456789012345678901234567890129");
  PressEnter();
  EXPECT_EQ(Window().destroyed, 1);
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
  EXPECT_EQ(Window().invalidations, 2);
}

TEST_F(LockInput, CharactersOtherThanDigitsBackspaceEnterAndEscAreDropped) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"12");
  State().lockMessage = std::u16string(kLockWrongPasswordMessage);
  const int before = Window().invalidations;
  TypeChars(u"a ٣１\t");
  EXPECT_EQ(State().lockTypedText, u"12");
  EXPECT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  EXPECT_EQ(Window().invalidations, before);
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
  EXPECT_EQ(Window().invalidations, 3);
  for (auto handle : Window().handles) EXPECT_EQ(handle, kHwnd);
}

// ---- Submitting ----

TEST_F(LockSubmit, RightPasswordWritesUnlockedAndEndsTheWindowAtTheFirstOfTheTwo) {
  StartLock(LockFile(true, kDigest2468) + "\n");
  TypeChars(u"2468");
  HandleLockKeyDown(kHwnd, kLockVirtualKeyEnter);
  EXPECT_EQ(Window().destroyed, 1);
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
  HandleLockKeyDown(kHwnd, kLockVirtualKeyEnter);
  EXPECT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  EXPECT_EQ(State().lockTypedText, u"");
  // The WM_CHAR of the same press clears the message, then submits the empty box.
  HandleLockChar(kHwnd, kLockCharEnter);
  EXPECT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  EXPECT_EQ(State().lockTypedText, u"");
  EXPECT_EQ(Window().destroyed, 0);
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
  EXPECT_EQ(Window().destroyed, 1);
}

TEST_F(LockSubmit, StoredDigestInCapitalsStillMatches) {
  StartLock(LockFile(true, Upper(kDigest2468)));
  TypeChars(u"2468");
  PressEnter();
  EXPECT_EQ(Window().destroyed, 1);
  EXPECT_EQ(sim::GetFile(kLockPath), LockFile(false, Upper(kDigest2468)));
}

TEST_F(LockSubmit, MissingFileStaysLockedAndEverySubmitSaysNoPasswordIsSet) {
  StartLock(std::nullopt);
  EXPECT_EQ(State().lockStoredHash, u"");
  TypeChars(u"2468");
  PressEnter();
  EXPECT_EQ(State().lockMessage, kLockNoPasswordMessage);
  EXPECT_EQ(State().lockTypedText, u"2468");  // the typed text stays
  EXPECT_EQ(Window().destroyed, 0);
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
  EXPECT_EQ(Window().destroyed, 1);
}

TEST_F(LockSubmit, FailedHashReadsAsAWrongPassword) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetSha256Fails(true);
  TypeChars(u"2468");
  SubmitLockPassword(kHwnd);
  EXPECT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  EXPECT_EQ(Window().destroyed, 0);
}

TEST_F(LockSubmit, AFailedWriteDoesNotStopTheUnlock) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetReadOnly(kLockPath, true);
  TypeChars(u"2468");
  PressEnter();
  EXPECT_EQ(Window().destroyed, 1);
  EXPECT_EQ(sim::GetFile(kLockPath), LockFile(true, kDigest2468));
}

TEST_F(LockSubmit, TheDigestIsReadOnceAtStart) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetFile(kLockPath, LockFile(true, "0000"));
  TypeChars(u"2468");
  PressEnter();
  EXPECT_EQ(Window().destroyed, 1);
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
  const int before = Window().invalidations;
  Click(9);
  EXPECT_EQ(State().lockTypedText, u"");
  EXPECT_EQ(Window().invalidations, before + 1);
}

TEST_F(LockClick, SubmitKeySubmitsOnce) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"2468");
  Click(12);
  EXPECT_EQ(Window().destroyed, 1);
}

TEST_F(LockClick, ClickOutsideAllKeysKeepsTheMessageAndTheRedBorder) {
  StartLock(LockFile(true, kDigest2468));
  TypeChars(u"11");
  Click(12);
  ASSERT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  const int before = Window().invalidations;
  PressLockKeyAt(kHwnd, 10, 10);
  const LockPoint inBox = CentreOf(State().lockInputRect);
  PressLockKeyAt(kHwnd, inBox.x, inBox.y);
  EXPECT_EQ(State().lockMessage, kLockWrongPasswordMessage);
  EXPECT_EQ(InputBorder(), kLockInputBorderWithMessage);
  EXPECT_EQ(Window().invalidations, before);
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
  Window().client = {3840, 2160};
  Window().monitor = LockSize{3840, 2160};
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
  EXPECT_EQ(Window().raised, 2);
  EXPECT_EQ(Window().destroyed, 0);
}

TEST_F(LockTimer, FileChangedToUnlockedEndsTheLockWithoutAPasswordOrAWrite) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetFile(kLockPath, "{\"locked\":false}");
  OnLockTimer(kHwnd);
  EXPECT_EQ(Window().destroyed, 1);
  EXPECT_EQ(Window().raised, 0);
  EXPECT_EQ(sim::GetFile(kLockPath), "{\"locked\":false}");
}

TEST_F(LockTimer, DeletedFileKeepsTheLock) {
  StartLock(LockFile(true, kDigest2468));
  sim::RemoveFile(kLockPath);
  OnLockTimer(kHwnd);
  EXPECT_EQ(Window().destroyed, 0);
  EXPECT_EQ(Window().raised, 1);
}

TEST_F(LockTimer, QuotedFalseStillReadsAsLocked) {
  StartLock(LockFile(true, kDigest2468));
  sim::SetFile(kLockPath, "{\"locked\":\"false\"}");
  OnLockTimer(kHwnd);
  EXPECT_EQ(Window().destroyed, 1);  // a quoted value is not "true": unlocked
}

// ---- Cursor ----

TEST_F(LockCursor, HandOverAKeyInTheClientArea) {
  StartLock(LockFile(true, kDigest2468));
  Window().cursor = CentreOf(State().keys[4].rect);
  EXPECT_TRUE(WantsLockHandCursor(kHwnd, kLockHitClient));
}

TEST_F(LockCursor, ArrowOffTheKeys) {
  StartLock(LockFile(true, kDigest2468));
  Window().cursor = CentreOf(State().lockInputRect);
  EXPECT_FALSE(WantsLockHandCursor(kHwnd, kLockHitClient));
  Window().cursor = std::nullopt;
  EXPECT_FALSE(WantsLockHandCursor(kHwnd, kLockHitClient));
}

TEST_F(LockCursor, ArrowForHitTestCodesOtherThanClient) {
  StartLock(LockFile(true, kDigest2468));
  Window().cursor = CentreOf(State().keys[4].rect);
  EXPECT_FALSE(WantsLockHandCursor(kHwnd, 2));  // HTCAPTION
  EXPECT_FALSE(WantsLockHandCursor(kHwnd, 0));  // HTNOWHERE
}

TEST_F(LockCursor, NoKeysAfterDestroyNoHand) {
  StartLock(LockFile(true, kDigest2468));
  Window().cursor = CentreOf(State().keys[4].rect);
  State().keys.clear();
  EXPECT_FALSE(WantsLockHandCursor(kHwnd, kLockHitClient));
}

// ---- Scale of the window ----

TEST_F(LockWindowScale, WindowDpiFirst) {
  Window().windowDpi = 144;
  Window().deviceDpi = 192;
  EXPECT_DOUBLE_EQ(ComputeLockScale(kHwnd), 1.5);
  EXPECT_EQ(Window().deviceCapsQueries, 0);
}

TEST_F(LockWindowScale, DeviceCapsWhenTheWindowDpiIsMissing) {
  Window().windowDpi = 0;
  Window().deviceDpi = 192;
  EXPECT_DOUBLE_EQ(ComputeLockScale(kHwnd), 2.0);
}

TEST_F(LockWindowScale, NinetySixWhenNeitherAnswers) {
  Window().windowDpi = 0;
  Window().deviceDpi = 0;
  Window().monitor = LockSize{1280, 720};
  EXPECT_DOUBLE_EQ(ComputeLockScale(kHwnd), 1.0);
}

TEST_F(LockWindowScale, PrimaryScreenWhenTheMonitorCannotBeRead) {
  Window().monitor = std::nullopt;
  Window().primaryScreen = {3840, 2160};
  EXPECT_DOUBLE_EQ(ComputeLockScale(kHwnd), 2.0);
}

TEST_F(LockWindowScale, LayoutUsesTheClientSizeAndTheMonitorScale) {
  // Two 1920x1080 monitors side by side: the window spans both, the scale is one monitor's.
  Window().client = {3840, 1080};
  LayoutLockKeys(kHwnd);
  EXPECT_EQ(State().keys.size(), 13u);
  EXPECT_EQ(State().lockInputRect, LayoutLockKeysFrom({3840, 1080}, 1.0).inputRect);
  EXPECT_EQ(ComputeLockPanelRect(kHwnd), (LockRect{1650, 195, 2190, 885}));
}

TEST_F(LockWindowScale, LayoutReplacesTheKeyList) {
  LayoutLockKeys(kHwnd);
  Window().client = {1280, 720};
  LayoutLockKeys(kHwnd);
  EXPECT_EQ(State().keys.size(), 13u);
  EXPECT_EQ(State().keys[0].rect, LayoutLockKeysFrom({1280, 720}, 1.0).keys[0].rect);
}

TEST_F(LockWindowScale, PaintPlanOfAnEmptyClientPaintsNothing) {
  Window().client = {0, 0};
  EXPECT_FALSE(PlanLockWindowPaint(kHwnd).paints);
}

}  // namespace
