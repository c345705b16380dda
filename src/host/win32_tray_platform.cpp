#include <windows.h>
#include <shellapi.h>

#include <cstring>

#include "host/tray_platform.h"
#include "platform/win32_text.h"

namespace host::platform {

static_assert(sizeof(NOTIFYICONDATAW) == 976, "the record size the tray announces");
static_assert(sizeof(NotifyIconData::tip) == sizeof(NOTIFYICONDATAW::szTip));

bool Shell_NotifyIconW(unsigned message, const NotifyIconData& data) {
  NOTIFYICONDATAW native = {};
  native.cbSize = data.size;
  native.hWnd = static_cast<HWND>(data.window);
  native.uID = data.id;
  native.uFlags = data.flags;
  native.uCallbackMessage = data.callbackMessage;
  native.hIcon = static_cast<HICON>(data.icon);
  std::memcpy(native.szTip, data.tip.data(), sizeof(native.szTip));
  return ::Shell_NotifyIconW(message, &native) != 0;
}

Point GetCursorPos() {
  POINT point = {};
  ::GetCursorPos(&point);
  return {point.x, point.y};
}

NativeHandle CreatePopupMenu() { return ::CreatePopupMenu(); }

bool AppendMenuW(NativeHandle menu, unsigned flags, std::uintptr_t id, const std::u16string& text) {
  const std::wstring wide = AsWide(text);
  const wchar_t* item = (flags & MF_SEPARATOR) ? nullptr : wide.c_str();
  return ::AppendMenuW(static_cast<HMENU>(menu), flags, id, item) != 0;
}

int TrackPopupMenu(NativeHandle menu, unsigned flags, int x, int y, NativeHandle owner) {
  return ::TrackPopupMenu(static_cast<HMENU>(menu), flags, x, y, 0, static_cast<HWND>(owner),
                          nullptr);
}

bool DestroyMenu(NativeHandle menu) { return ::DestroyMenu(static_cast<HMENU>(menu)) != 0; }

void ExitProcess(unsigned exitCode) { ::ExitProcess(exitCode); }

}  // namespace host::platform
