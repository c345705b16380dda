// The COM seam over ole32.
#include <windows.h>
#include <objbase.h>

#include <algorithm>
#include <iterator>

#include "platform/com.h"
#include "platform/win32/text.h"

namespace platform {

std::int32_t CoInitializeEx() { return ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }

void CoUninitialize() { ::CoUninitialize(); }

std::int32_t CLSIDFromString(std::u16string_view text, Guid* guid) {
  CLSID clsid = {};
  const HRESULT result = ::CLSIDFromString(AsWide(text).c_str(), &clsid);
  if (result != NOERROR) return result;
  guid->data1 = clsid.Data1;
  guid->data2 = clsid.Data2;
  guid->data3 = clsid.Data3;
  std::copy(std::begin(clsid.Data4), std::end(clsid.Data4), guid->data4.begin());
  return result;
}

}  // namespace platform
