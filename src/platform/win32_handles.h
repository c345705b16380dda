// Owning types for the kernel handles the adapters hold.
#pragma once

#include <windows.h>

#include "platform/unique_handle.h"

// Closing keeps the last error: callers read the failure's code after their handles are gone.
struct KernelHandleTraits {
  using Type = HANDLE;
  static constexpr Type Null() { return nullptr; }
  static bool IsValid(Type handle) { return handle != nullptr && handle != INVALID_HANDLE_VALUE; }
  static void Close(Type handle) {
    const DWORD error = ::GetLastError();
    ::CloseHandle(handle);
    ::SetLastError(error);
  }
};
using UniqueKernelHandle = UniqueHandle<KernelHandleTraits>;
