// The Win32 values the contract cases name themselves, checked against <windows.h>.
#include <windows.h>

#include "contract_support.h"

namespace contract {

static_assert(kErrorPathNotFound == ERROR_PATH_NOT_FOUND &&
              kErrorSharingViolation == ERROR_SHARING_VIOLATION &&
              kErrorBrokenPipe == ERROR_BROKEN_PIPE &&
              kErrorInvalidWindowHandle == ERROR_INVALID_WINDOW_HANDLE &&
              kErrorClassAlreadyExists == ERROR_CLASS_ALREADY_EXISTS &&
              kErrorClassDoesNotExist == ERROR_CLASS_DOES_NOT_EXIST &&
              kErrorInvalidThreadId == ERROR_INVALID_THREAD_ID);
static_assert(kENotImpl == E_NOTIMPL);

}  // namespace contract
