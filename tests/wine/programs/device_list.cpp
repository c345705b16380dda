// Lists the present devices the way a second opinion should: SetupAPI called directly, none of
// the application's code. One line per device on stdout, UTF-8:
// instance id, friendly name, description, separated by tabs (an unreadable property is empty).
#include <windows.h>
#include <setupapi.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string Utf8(const std::wstring& text) {
  if (text.empty()) return {};
  const int size = ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()),
                                         nullptr, 0, nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()), utf8.data(), size,
                        nullptr, nullptr);
  return utf8;
}

std::wstring Property(HDEVINFO set, SP_DEVINFO_DATA& device, DWORD property) {
  DWORD type = 0;
  DWORD required = 0;
  ::SetupDiGetDeviceRegistryPropertyW(set, &device, property, &type, nullptr, 0, &required);
  if (required == 0) return {};
  std::vector<BYTE> buffer(required + sizeof(wchar_t), 0);
  if (!::SetupDiGetDeviceRegistryPropertyW(set, &device, property, &type, buffer.data(), required,
                                           nullptr)) {
    return {};
  }
  return reinterpret_cast<const wchar_t*>(buffer.data());
}

}  // namespace

int main() {
  const HDEVINFO set =
      ::SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_PRESENT | DIGCF_ALLCLASSES);
  if (set == INVALID_HANDLE_VALUE) return 1;
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof device;
  for (DWORD index = 0; ::SetupDiEnumDeviceInfo(set, index, &device); ++index) {
    wchar_t id[512] = {};
    if (!::SetupDiGetDeviceInstanceIdW(set, &device, id, 512, nullptr)) continue;
    std::printf("%s\t%s\t%s\n", Utf8(id).c_str(),
                Utf8(Property(set, device, SPDRP_FRIENDLYNAME)).c_str(),
                Utf8(Property(set, device, SPDRP_DEVICEDESC)).c_str());
  }
  ::SetupDiDestroyDeviceInfoList(set);
  return 0;
}
