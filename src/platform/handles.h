// The platform's handle types. Window-system, GDI, registry and service handles are pointers to
// the same incomplete structures that <windows.h> declares under STRICT, so each kind is a type of
// its own and adapters pass them through unchanged. The void* handles of Win32 (kernel objects,
// device information sets, device notifications) get enumerations of their own; their empty
// value is the failed or absent handle.
#pragma once

#include <cstdint>

// The names are <windows.h>'s own, reserved or not, so that both declare the same types.
// NOLINTBEGIN(bugprone-reserved-identifier)
struct HWND__;
struct HMENU__;
struct HICON__;
struct HINSTANCE__;
struct HMONITOR__;
struct HDC__;
struct HBRUSH__;
struct HPEN__;
struct HFONT__;
struct HBITMAP__;
struct HRGN__;
struct HKEY__;
struct SC_HANDLE__;
struct HWINEVENTHOOK__;
struct HHOOK__;
// NOLINTEND(bugprone-reserved-identifier)

namespace platform {

using WindowHandle = HWND__*;
using MenuHandle = HMENU__*;
using IconHandle = HICON__*;
using CursorHandle = HICON__*;  // HCURSOR is HICON
using ModuleHandle = HINSTANCE__*;
using MonitorHandle = HMONITOR__*;
using DcHandle = HDC__*;
using BrushHandle = HBRUSH__*;
using PenHandle = HPEN__*;
using FontHandle = HFONT__*;
using BitmapHandle = HBITMAP__*;
using RegionHandle = HRGN__*;
// HGDIOBJ: any of the drawing objects above, as SelectObject and DeleteObject take them.
using GdiObjectHandle = void*;
using RegistryKey = HKEY__*;
using ServiceHandle = SC_HANDLE__*;
using WinEventHookHandle = HWINEVENTHOOK__*;
using HookHandle = HHOOK__*;

// A HANDLE of a kernel object: thread, mutex, pipe, file, process or token. INVALID_HANDLE_VALUE
// from a failed open arrives as {} too, so one test tells failure for every kind.
enum class KernelHandle : std::uintptr_t {};
// HDEVINFO; INVALID_HANDLE_VALUE arrives as {}.
enum class DeviceInfoSet : std::uintptr_t {};
// HDEVNOTIFY.
enum class DeviceNotifyHandle : std::uintptr_t {};

}  // namespace platform
