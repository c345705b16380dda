// Window classes and windows, and the facts the logic reads of them: the host window's creation
// and destruction, the blocker's window facts and gate, the single instance's search and the
// hide and show that keep a window where it is.
//
// Left out: the foreground and activation. Windows grants the foreground by rules the simulation
// does not model, and Wine has none of those rules; the foreground calls are tested under Wine
// with the programs that use them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "contract_support.h"
#include "platform/kernel.h"
#include "platform/user.h"

namespace {

using contract::ClassNameOf;
using contract::Folded;
using contract::kErrorClassAlreadyExists;
using contract::kErrorClassDoesNotExist;
using contract::kErrorInvalidWindowHandle;
using contract::MessageLog;
using contract::RecordingClass;
using contract::TestWindow;
using contract::TitleOf;
using contract::UniqueName;
using contract::WindowRequest;
using platform::WindowHandle;

constexpr Rect kPopupRect = {200, 150, 520, 390};

bool HasStyle(WindowHandle window, int index, unsigned long bits) {
  return (static_cast<std::uintptr_t>(platform::GetWindowLongPtrW(window, index)) & bits) == bits;
}

std::vector<WindowHandle> TopLevelWindows() {
  std::vector<WindowHandle> windows;
  platform::EnumWindows([&windows](WindowHandle window) {
    windows.push_back(window);
    return true;
  });
  return windows;
}

// A child window in the corner of `parent`, shown with it or not.
WindowRequest ChildOf(WindowHandle parent, bool visible) {
  WindowRequest request;
  request.style = platform::kWsChild | (visible ? platform::kWsVisible : 0);
  request.rect = {0, 0, 50, 50};
  request.parent = parent;
  return request;
}

bool Contains(const std::vector<WindowHandle>& windows, WindowHandle window) {
  return std::find(windows.begin(), windows.end(), window) != windows.end();
}

TEST(RegisterClassW, TwiceFailsWithClassAlreadyExistsUntilItIsUnregistered) {
  platform::WindowClass windowClass;
  windowClass.procedure = &platform::DefWindowProcW;
  windowClass.instance = platform::GetModuleHandleW(nullptr);
  windowClass.className = UniqueName(u"KtContractClass");
  const std::uint16_t atom = platform::RegisterClassW(windowClass);
  EXPECT_NE(atom, 0u);
  EXPECT_EQ(platform::RegisterClassW(windowClass), 0u);
  EXPECT_EQ(platform::GetLastError(), kErrorClassAlreadyExists);

  EXPECT_TRUE(platform::UnregisterClassW(windowClass.className, windowClass.instance));
  EXPECT_FALSE(platform::UnregisterClassW(windowClass.className, windowClass.instance));
  EXPECT_EQ(platform::GetLastError(), kErrorClassDoesNotExist);
  EXPECT_NE(platform::RegisterClassW(windowClass), 0u) << "registered again once it was gone";
  EXPECT_TRUE(platform::UnregisterClassW(windowClass.className, windowClass.instance));
}

TEST(CreateWindowExW, OfAClassThatIsNotRegisteredFails) {
  EXPECT_EQ(platform::CreateWindowExW(0, UniqueName(u"KtContractNoClass"), u"", platform::kWsPopup,
                                      0, 0, 10, 10, nullptr, nullptr,
                                      platform::GetModuleHandleW(nullptr), nullptr),
            nullptr);
  EXPECT_EQ(platform::GetLastError(), kErrorClassDoesNotExist);
}

TEST(CreateWindowExW, GivesTheCreateParameterWithNcCreateBeforeCreate) {
  int marker = 0;
  WindowRequest request;
  request.createParameter = &marker;
  TestWindow window(request);
  ASSERT_NE(window.get(), nullptr);
  const std::vector<contract::SeenMessage> seen = MessageLog::Instance().For(window.get());
  const auto ncCreate = std::find_if(seen.begin(), seen.end(), [](const auto& message) {
    return message.message == platform::kWmNcCreate;
  });
  ASSERT_NE(ncCreate, seen.end());
  EXPECT_EQ(ncCreate->createParameter, &marker);
  EXPECT_EQ(ncCreate->window, window.get()) << "the procedure knows the handle it will return";
  EXPECT_EQ(ncCreate->threadId, platform::GetCurrentThreadId());
  // A pop-up without a sizing frame is never asked for its tracking sizes.
  const std::vector<unsigned> order = MessageLog::Instance().SequenceOf(
      window.get(), {platform::kWmGetMinMaxInfo, platform::kWmNcCreate, platform::kWmCreate});
  const std::vector<unsigned> expected = {platform::kWmNcCreate, platform::kWmCreate};
  EXPECT_EQ(order, expected);
}

TEST(CreateWindowExW, AsksAnOverlappedWindowForItsTrackingSizesBeforeNcCreate) {
  WindowRequest request;
  request.style = platform::kWsOverlappedWindow;
  TestWindow window(request);
  ASSERT_NE(window.get(), nullptr);
  // The host window finds its object at WM_NCCREATE: what comes before must do without it.
  const std::vector<unsigned> order = MessageLog::Instance().SequenceOf(
      window.get(), {platform::kWmGetMinMaxInfo, platform::kWmNcCreate, platform::kWmCreate});
  const std::vector<unsigned> expected = {platform::kWmGetMinMaxInfo, platform::kWmNcCreate,
                                          platform::kWmCreate};
  EXPECT_EQ(order, expected);
}

TEST(DestroyWindow, SendsDestroyThenNcDestroyAndTheWindowIsGone) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  const WindowHandle handle = window.get();
  EXPECT_TRUE(platform::IsWindow(handle));
  EXPECT_TRUE(platform::DestroyWindow(handle));
  EXPECT_FALSE(platform::IsWindow(handle));
  const std::vector<unsigned> order = MessageLog::Instance().SequenceOf(
      handle, {platform::kWmCreate, platform::kWmDestroy, platform::kWmNcDestroy});
  const std::vector<unsigned> expected = {platform::kWmCreate, platform::kWmDestroy,
                                          platform::kWmNcDestroy};
  EXPECT_EQ(order, expected);
  EXPECT_EQ(MessageLog::Instance().For(handle).back().message, platform::kWmNcDestroy)
      << "nothing reaches the procedure after WM_NCDESTROY";

  // Windows says ERROR_INVALID_WINDOW_HANDLE, Wine ERROR_ACCESS_DENIED; nothing reads it.
  EXPECT_FALSE(platform::DestroyWindow(handle));
}

TEST(DestroyWindow, OfAParentTakesItsChildrenWithIt) {
  TestWindow parent;
  TestWindow child(ChildOf(parent.get(), true));
  ASSERT_NE(child.get(), nullptr);
  const WindowHandle parentHandle = parent.get();
  const WindowHandle childHandle = child.get();
  ASSERT_TRUE(platform::DestroyWindow(parentHandle));
  EXPECT_FALSE(platform::IsWindow(childHandle));
  // WM_DESTROY goes down from the parent, WM_NCDESTROY comes up from the child.
  const std::vector<std::pair<WindowHandle, unsigned>> order = MessageLog::Instance().Across(
      {parentHandle, childHandle}, {platform::kWmDestroy, platform::kWmNcDestroy});
  const std::vector<std::pair<WindowHandle, unsigned>> expected = {
      {parentHandle, platform::kWmDestroy},
      {childHandle, platform::kWmDestroy},
      {childHandle, platform::kWmNcDestroy},
      {parentHandle, platform::kWmNcDestroy}};
  EXPECT_EQ(order, expected);
}

TEST(WindowLongPtr, KeepsTheUserDataAndAnswersThePreviousValue) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  EXPECT_EQ(platform::GetWindowLongPtrW(window.get(), platform::kGwlpUserData), 0);
  EXPECT_EQ(platform::SetWindowLongPtrW(window.get(), platform::kGwlpUserData, 0x1234), 0);
  EXPECT_EQ(platform::SetWindowLongPtrW(window.get(), platform::kGwlpUserData, 0x5678), 0x1234);
  EXPECT_EQ(platform::GetWindowLongPtrW(window.get(), platform::kGwlpUserData), 0x5678);
}

TEST(WindowLongPtr, CarriesTheStylesAskedForAndTheVisibleBit) {
  WindowRequest request;
  request.exStyle = platform::kWsExToolWindow | platform::kWsExTopmost | platform::kWsExNoActivate;
  TestWindow window(request);
  ASSERT_NE(window.get(), nullptr);
  EXPECT_TRUE(HasStyle(window.get(), platform::kGwlStyle, platform::kWsPopup));
  EXPECT_FALSE(HasStyle(window.get(), platform::kGwlStyle, platform::kWsVisible));
  EXPECT_FALSE(HasStyle(window.get(), platform::kGwlStyle, platform::kWsChild));
  EXPECT_TRUE(HasStyle(window.get(), platform::kGwlExStyle, request.exStyle));
  EXPECT_FALSE(HasStyle(window.get(), platform::kGwlExStyle, platform::kWsExLayered));
  platform::ShowWindow(window.get(), platform::kSwShowNa);
  EXPECT_TRUE(HasStyle(window.get(), platform::kGwlStyle, platform::kWsVisible));
}

TEST(WindowLongPtr, OfADestroyedWindowIsZero) {
  const WindowHandle handle = TestWindow().get();
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(platform::GetWindowLongPtrW(handle, platform::kGwlStyle), 0);
  EXPECT_EQ(platform::GetLastError(), kErrorInvalidWindowHandle);
}

TEST(GetClassNameW, CopiesAtMostOneUnitLessThanTheBufferAndSaysHowMany) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  const std::u16string& name = RecordingClass();
  EXPECT_EQ(ClassNameOf(window.get()), name);

  std::u16string buffer(10, u'#');
  EXPECT_EQ(platform::GetClassNameW(window.get(), buffer.data(), 5), 4);
  EXPECT_EQ(buffer.substr(0, 5), name.substr(0, 4) + u'\0');
  EXPECT_EQ(buffer[5], u'#') << "nothing is written past the buffer it was given";
}

TEST(GetWindowTextW, CopiesAtMostOneUnitLessThanTheBufferAndSaysHowMany) {
  WindowRequest request;
  request.title = u"A title \u5e7f\u544a";
  TestWindow window(request);
  ASSERT_NE(window.get(), nullptr);
  EXPECT_EQ(TitleOf(window.get()), request.title);
  EXPECT_EQ(platform::GetWindowTextLengthW(window.get()), 10);

  std::u16string buffer(10, u'#');
  EXPECT_EQ(platform::GetWindowTextW(window.get(), buffer.data(), 3), 2);
  EXPECT_EQ(buffer.substr(0, 4), std::u16string(u"A \0#", 4));
  EXPECT_EQ(platform::GetWindowTextW(window.get(), buffer.data(), 1), 0);
  EXPECT_EQ(buffer[0], u'\0');
}

TEST(GetWindowTextW, OfAWindowWithoutTitleIsEmpty) {
  WindowRequest request;
  request.title = u"";
  TestWindow window(request);
  ASSERT_NE(window.get(), nullptr);
  std::u16string buffer(4, u'#');
  EXPECT_EQ(platform::GetWindowTextW(window.get(), buffer.data(), 4), 0);
  EXPECT_EQ(buffer[0], u'\0');
  EXPECT_EQ(platform::GetWindowTextLengthW(window.get()), 0);
}

TEST(WindowText, OfADestroyedWindowIsNothing) {
  const WindowHandle handle = TestWindow().get();
  ASSERT_NE(handle, nullptr);
  std::u16string buffer(8, u'#');
  // Windows says ERROR_INVALID_WINDOW_HANDLE, Wine ERROR_INVALID_PARAMETER; nothing reads it.
  EXPECT_EQ(platform::GetClassNameW(handle, buffer.data(), 8), 0);
  EXPECT_EQ(platform::GetWindowTextW(handle, buffer.data(), 8), 0);
  EXPECT_EQ(platform::GetWindowTextLengthW(handle), 0);
}

TEST(ShowWindow, SetsVisibilityAndAnswersWhetherItWasVisible) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  EXPECT_FALSE(platform::IsWindowVisible(window.get()));
  EXPECT_FALSE(platform::ShowWindow(window.get(), platform::kSwShowNa));
  EXPECT_TRUE(platform::IsWindowVisible(window.get()));
  EXPECT_TRUE(platform::ShowWindow(window.get(), platform::kSwShowNa));
  EXPECT_TRUE(platform::ShowWindow(window.get(), platform::kSwHide));
  EXPECT_FALSE(platform::IsWindowVisible(window.get()));
  EXPECT_FALSE(platform::ShowWindow(window.get(), platform::kSwHide));
}

TEST(IsWindowVisible, OfAVisibleChildOfAHiddenParentIsFalse) {
  TestWindow parent;
  TestWindow child(ChildOf(parent.get(), true));
  ASSERT_NE(child.get(), nullptr);
  EXPECT_FALSE(platform::IsWindowVisible(child.get()));
  platform::ShowWindow(parent.get(), platform::kSwShowNa);
  EXPECT_TRUE(platform::IsWindowVisible(child.get()));
}

TEST(IsWindowVisible, OfADestroyedWindowIsFalse) {
  const WindowHandle handle = TestWindow().get();
  ASSERT_NE(handle, nullptr);
  EXPECT_FALSE(platform::IsWindowVisible(handle));
  EXPECT_FALSE(platform::IsWindow(handle));
  EXPECT_FALSE(platform::IsWindow(nullptr));
}

TEST(WindowRect, OfAPopupIsWhereItWasCreatedAndItsClientAreaIsAllOfIt) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  Rect rect;
  ASSERT_TRUE(platform::GetWindowRect(window.get(), &rect));
  EXPECT_EQ(rect, kPopupRect);
  Rect client;
  ASSERT_TRUE(platform::GetClientRect(window.get(), &client));
  EXPECT_EQ(client, (Rect{0, 0, kPopupRect.Width(), kPopupRect.Height()}));
}

TEST(WindowRect, OfACaptionedWindowHasASmallerClientArea) {
  WindowRequest request;
  request.style = platform::kWsOverlappedWindow;
  TestWindow window(request);
  ASSERT_NE(window.get(), nullptr);
  Rect rect;
  ASSERT_TRUE(platform::GetWindowRect(window.get(), &rect));
  EXPECT_EQ(rect, kPopupRect);
  Rect client;
  ASSERT_TRUE(platform::GetClientRect(window.get(), &client));
  EXPECT_EQ(client.left, 0);
  EXPECT_EQ(client.top, 0);
  EXPECT_LT(client.Width(), rect.Width());
  EXPECT_LT(client.Height(), rect.Height());
  std::printf("client area of a 320x240 captioned window: %dx%d\n", client.Width(),
              client.Height());
}

TEST(WindowRect, OfADestroyedWindowFails) {
  const WindowHandle handle = TestWindow().get();
  ASSERT_NE(handle, nullptr);
  Rect rect{1, 2, 3, 4};
  EXPECT_FALSE(platform::GetWindowRect(handle, &rect));
  EXPECT_FALSE(platform::GetClientRect(handle, &rect));
  EXPECT_FALSE(platform::GetWindowRect(nullptr, &rect));
}

TEST(SetWindowPos, HideAndShowFlagsKeepTheRectangle) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  platform::ShowWindow(window.get(), platform::kSwShowNa);
  EXPECT_TRUE(platform::SetWindowPos(window.get(), nullptr, 0, 0, 0, 0, 0x97));
  EXPECT_FALSE(platform::IsWindowVisible(window.get()));
  Rect rect;
  ASSERT_TRUE(platform::GetWindowRect(window.get(), &rect));
  EXPECT_EQ(rect, kPopupRect);
  EXPECT_TRUE(platform::SetWindowPos(window.get(), nullptr, 0, 0, 0, 0, 0x57));
  EXPECT_TRUE(platform::IsWindowVisible(window.get()));
  ASSERT_TRUE(platform::GetWindowRect(window.get(), &rect));
  EXPECT_EQ(rect, kPopupRect);
}

TEST(SetWindowPos, MovesAndSizesWithoutTheKeepFlags) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  EXPECT_TRUE(platform::SetWindowPos(window.get(), nullptr, 10, 20, 300, 200,
                                     platform::kSwpNoZOrder | platform::kSwpNoActivate));
  Rect rect;
  ASSERT_TRUE(platform::GetWindowRect(window.get(), &rect));
  EXPECT_EQ(rect, (Rect{10, 20, 310, 220}));
  EXPECT_TRUE(platform::MoveWindow(window.get(), 30, 40, 100, 50, false));
  ASSERT_TRUE(platform::GetWindowRect(window.get(), &rect));
  EXPECT_EQ(rect, (Rect{30, 40, 130, 90}));
}

TEST(SetWindowPos, TopmostAndBackAsTheExtendedStyleShows) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  constexpr unsigned kKeepPlace =
      platform::kSwpNoSize | platform::kSwpNoMove | platform::kSwpNoActivate;
  EXPECT_TRUE(
      platform::SetWindowPos(window.get(), platform::HwndTopmost(), 0, 0, 0, 0, kKeepPlace));
  EXPECT_TRUE(HasStyle(window.get(), platform::kGwlExStyle, platform::kWsExTopmost));
  EXPECT_TRUE(
      platform::SetWindowPos(window.get(), platform::HwndNoTopmost(), 0, 0, 0, 0, kKeepPlace));
  EXPECT_FALSE(HasStyle(window.get(), platform::kGwlExStyle, platform::kWsExTopmost));
}

TEST(SetWindowPos, OfADestroyedWindowFails) {
  const WindowHandle handle = TestWindow().get();
  ASSERT_NE(handle, nullptr);
  EXPECT_FALSE(platform::SetWindowPos(handle, nullptr, 0, 0, 0, 0, 0x97));
  EXPECT_EQ(platform::GetLastError(), kErrorInvalidWindowHandle);
  EXPECT_FALSE(platform::ShowWindowAsync(handle, platform::kSwHide));
}

TEST(EnumWindows, VisitsTopLevelWindowsOnlyAndStopsWhenAsked) {
  TestWindow shown;
  TestWindow hidden;
  TestWindow child(ChildOf(shown.get(), true));
  ASSERT_NE(child.get(), nullptr);
  platform::ShowWindow(shown.get(), platform::kSwShowNa);

  const std::vector<WindowHandle> all = TopLevelWindows();
  EXPECT_TRUE(Contains(all, shown.get()));
  EXPECT_TRUE(Contains(all, hidden.get()));
  EXPECT_FALSE(Contains(all, child.get()));
  ASSERT_GE(all.size(), 2u);

  int visited = 0;
  const bool completed = platform::EnumWindows([&visited](WindowHandle) { return ++visited < 2; });
  EXPECT_FALSE(completed);
  EXPECT_EQ(visited, 2);
  EXPECT_TRUE(platform::EnumWindows([](WindowHandle) { return true; }));
}

TEST(GetAncestor, RootOfAChildIsItsTopLevelWindow) {
  TestWindow top;
  TestWindow child(ChildOf(top.get(), true));
  TestWindow grandchild(ChildOf(child.get(), true));
  ASSERT_NE(grandchild.get(), nullptr);
  EXPECT_EQ(platform::GetAncestor(child.get(), platform::kGaRoot), top.get());
  EXPECT_EQ(platform::GetAncestor(grandchild.get(), platform::kGaRoot), top.get());
  EXPECT_EQ(platform::GetAncestor(top.get(), platform::kGaRoot), top.get());
}

TEST(GetAncestor, OfADestroyedWindowIsNull) {
  const WindowHandle handle = TestWindow().get();
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(platform::GetAncestor(handle, platform::kGaRoot), nullptr);
}

TEST(GetWindow, OwnerOfAPopupMadeWithAParentIsThatWindowAndItStaysTopLevel) {
  TestWindow owner;
  WindowRequest ownedRequest;
  ownedRequest.parent = owner.get();
  TestWindow owned(ownedRequest);
  ASSERT_NE(owned.get(), nullptr);
  EXPECT_EQ(platform::GetWindow(owned.get(), platform::kGwOwner), owner.get());
  EXPECT_EQ(platform::GetWindow(owner.get(), platform::kGwOwner), nullptr);
  EXPECT_EQ(platform::GetAncestor(owned.get(), platform::kGaRoot), owned.get());
  EXPECT_TRUE(Contains(TopLevelWindows(), owned.get()));
}

TEST(GetWindow, OwnerOfAChildIsNull) {
  TestWindow top;
  TestWindow child(ChildOf(top.get(), false));
  ASSERT_NE(child.get(), nullptr);
  EXPECT_EQ(platform::GetWindow(child.get(), platform::kGwOwner), nullptr);
}

TEST(GetWindowThreadProcessId, NamesTheCreatingThreadAndThisProcess) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  std::uint32_t processId = 0;
  EXPECT_EQ(platform::GetWindowThreadProcessId(window.get(), &processId),
            platform::GetCurrentThreadId());
  EXPECT_EQ(processId, platform::GetCurrentProcessId());
  EXPECT_EQ(platform::GetWindowThreadProcessId(window.get(), nullptr),
            platform::GetCurrentThreadId());
}

TEST(GetWindowThreadProcessId, OfADestroyedWindowIsZero) {
  const WindowHandle handle = TestWindow().get();
  ASSERT_NE(handle, nullptr);
  std::uint32_t processId = 1234;
  EXPECT_EQ(platform::GetWindowThreadProcessId(handle, &processId), 0u);
  EXPECT_EQ(processId, 0u);
}

TEST(FindWindowW, FindsByClassOrByTitleAndNothingForNeither) {
  WindowRequest request;
  request.title = UniqueName(u"KtContractTitle");
  TestWindow window(request);
  ASSERT_NE(window.get(), nullptr);
  EXPECT_EQ(platform::FindWindowW(RecordingClass().c_str(), request.title.c_str()), window.get());
  EXPECT_EQ(platform::FindWindowW(nullptr, request.title.c_str()), window.get())
      << "hidden windows are found too";
  const std::u16string missing = UniqueName(u"KtContractMissing");
  EXPECT_EQ(platform::FindWindowW(missing.c_str(), nullptr), nullptr);
  EXPECT_EQ(platform::FindWindowW(nullptr, missing.c_str()), nullptr);
}

TEST(FindWindowW, ComparesTitlesAndClassesWithoutCase) {
  WindowRequest request;
  request.title = UniqueName(u"KtContractTitle");
  TestWindow window(request);
  ASSERT_NE(window.get(), nullptr);
  const std::u16string title = Folded(request.title);
  const std::u16string className = Folded(RecordingClass());
  EXPECT_EQ(platform::FindWindowW(nullptr, title.c_str()), window.get());
  EXPECT_EQ(platform::FindWindowW(className.c_str(), title.c_str()), window.get());
}

TEST(FindWindowW, PassesOverChildWindows) {
  TestWindow top;
  WindowRequest childRequest = ChildOf(top.get(), false);
  childRequest.title = UniqueName(u"KtContractChild");
  TestWindow child(childRequest);
  ASSERT_NE(child.get(), nullptr);
  EXPECT_EQ(platform::FindWindowW(nullptr, childRequest.title.c_str()), nullptr);
}

TEST(GetLayeredWindowAttributes, FailsForAWindowThatIsNotLayered) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  std::uint32_t key = 7;
  std::uint8_t alpha = 7;
  std::uint32_t flags = 7;
  EXPECT_FALSE(platform::GetLayeredWindowAttributes(window.get(), &key, &alpha, &flags));
}

TEST(GetLayeredWindowAttributes, FailsForALayeredWindowWhoseAttributesWereNeverSet) {
  WindowRequest request;
  request.exStyle = platform::kWsExLayered;
  TestWindow window(request);
  ASSERT_NE(window.get(), nullptr);
  std::uint32_t key = 7;
  std::uint8_t alpha = 7;
  std::uint32_t flags = 7;
  EXPECT_FALSE(platform::GetLayeredWindowAttributes(window.get(), &key, &alpha, &flags));
}

// Wine has no composition: the query fails with E_NOTIMPL and leaves the output alone, and the
// window facts then take the window rectangle. The simulation answers a plain window the same way.
TEST(DwmGetWindowAttribute, FailsWithoutCompositionAndLeavesTheOutputAlone) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  platform::ShowWindow(window.get(), platform::kSwShowNa);
  std::uint32_t cloaked = 0xDEADBEEF;
  EXPECT_EQ(platform::DwmGetWindowAttribute(window.get(), platform::kDwmwaCloaked, &cloaked,
                                            sizeof(cloaked)),
            contract::kENotImpl);
  EXPECT_EQ(cloaked, 0xDEADBEEFu);
  Rect frame{-1, -1, -1, -1};
  EXPECT_EQ(platform::DwmGetWindowAttribute(window.get(), platform::kDwmwaExtendedFrameBounds,
                                            &frame, sizeof(frame)),
            contract::kENotImpl);
  EXPECT_EQ(frame, (Rect{-1, -1, -1, -1}));
}

// ---- Layered windows, as the overlay windows are ----

TEST(SetLayeredWindowAttributes, SetsTheAlphaOfALayeredWindowThatGetLayeredReadsBack) {
  WindowRequest request;
  request.exStyle = platform::kWsExLayered | platform::kWsExToolWindow | platform::kWsExTopmost;
  TestWindow window(request);
  ASSERT_NE(window.get(), nullptr);
  EXPECT_TRUE(platform::SetLayeredWindowAttributes(window.get(), 0, 255, platform::kLwaAlpha));
  std::uint8_t alpha = 0;
  std::uint32_t flags = 0;
  ASSERT_TRUE(platform::GetLayeredWindowAttributes(window.get(), nullptr, &alpha, &flags));
  EXPECT_EQ(alpha, 255);
  EXPECT_EQ(flags, platform::kLwaAlpha);
}

TEST(SetLayeredWindowAttributes, RefusesAWindowThatIsNotLayered) {
  TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  EXPECT_FALSE(platform::SetLayeredWindowAttributes(window.get(), 0, 255, platform::kLwaAlpha));
}

}  // namespace
