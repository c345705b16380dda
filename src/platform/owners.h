// One owning type per handle kind, all here. Each closes on every path with its kind's own close
// call and leaves the caller's last error as it was, so that a failure's code read after the
// clean-up is still the failure's.
#pragma once

#include "base/unique_handle.h"
#include "platform/gdi.h"
#include "platform/handles.h"
#include "platform/kernel.h"
#include "platform/registry.h"
#include "platform/services.h"
#include "platform/setupapi.h"
#include "platform/user.h"

namespace platform {

template <typename Handle, auto CloseFunction>
struct ClosingTraits {
  using Type = Handle;
  static constexpr Type Null() { return Type{}; }
  static bool IsValid(Type handle) { return handle != Type{}; }
  static void Close(Type handle) {
    const unsigned long error = GetLastError();
    CloseFunction(handle);
    SetLastError(error);
  }
};

using UniqueKernelHandle = UniqueHandle<ClosingTraits<KernelHandle, &CloseHandle>>;
using UniqueServiceHandle = UniqueHandle<ClosingTraits<ServiceHandle, &CloseServiceHandle>>;
// A predefined key may be held too: closing one does nothing.
using UniqueRegistryKey = UniqueHandle<ClosingTraits<RegistryKey, &RegCloseKey>>;
using UniqueWinEventHook = UniqueHandle<ClosingTraits<WinEventHookHandle, &UnhookWinEvent>>;
using UniqueWindowsHook = UniqueHandle<ClosingTraits<HookHandle, &UnhookWindowsHookEx>>;
using UniqueMenu = UniqueHandle<ClosingTraits<MenuHandle, &DestroyMenu>>;
using UniqueLibrary = UniqueHandle<ClosingTraits<ModuleHandle, &FreeLibrary>>;
using UniqueDeviceInfoSet =
    UniqueHandle<ClosingTraits<DeviceInfoSet, &SetupDiDestroyDeviceInfoList>>;
using UniqueDeviceNotification =
    UniqueHandle<ClosingTraits<DeviceNotifyHandle, &UnregisterDeviceNotification>>;

}  // namespace platform
