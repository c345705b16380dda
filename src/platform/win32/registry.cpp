// The registry seam over advapi32. Sizes and types pass through DWORD locals: the seam's
// std::uint32_t is unsigned int here, DWORD unsigned long.
#include <windows.h>

#include "platform/registry.h"
#include "platform/win32/text.h"

namespace platform {

namespace {

// Null stays null: RegQueryValueExW and RegGetValueW give sizes only when there is no buffer.
struct DwordInOut {
  explicit DwordInOut(std::uint32_t* target) : target_(target), value_(target ? *target : 0) {}
  ~DwordInOut() {
    if (target_) *target_ = value_;
  }
  DwordInOut(const DwordInOut&) = delete;
  DwordInOut& operator=(const DwordInOut&) = delete;
  DWORD* get() { return target_ ? &value_ : nullptr; }

 private:
  std::uint32_t* target_;
  DWORD value_;
};

}  // namespace

long RegOpenKeyExW(RegistryKey key, std::u16string_view subKey, std::uint32_t options,
                   std::uint32_t access, RegistryKey* result) {
  return ::RegOpenKeyExW(key, AsWide(subKey).c_str(), options, access, result);
}

long RegCreateKeyExW(RegistryKey key, std::u16string_view subKey, std::uint32_t options,
                     std::uint32_t access, RegistryKey* result, std::uint32_t* disposition) {
  DwordInOut created(disposition);
  return ::RegCreateKeyExW(key, AsWide(subKey).c_str(), 0, nullptr, options, access, nullptr,
                           result, created.get());
}

long RegQueryValueExW(RegistryKey key, std::u16string_view valueName, std::uint32_t* type,
                      void* data, std::uint32_t* dataSize) {
  DwordInOut valueType(type);
  DwordInOut size(dataSize);
  return ::RegQueryValueExW(key, AsWide(valueName).c_str(), nullptr, valueType.get(),
                            static_cast<BYTE*>(data), size.get());
}

long RegGetValueW(RegistryKey key, std::u16string_view subKey, std::u16string_view valueName,
                  std::uint32_t flags, std::uint32_t* type, void* data, std::uint32_t* dataSize) {
  DwordInOut valueType(type);
  DwordInOut size(dataSize);
  return ::RegGetValueW(key, AsWide(subKey).c_str(), AsWide(valueName).c_str(), flags,
                        valueType.get(), data, size.get());
}

long RegEnumKeyExW(RegistryKey key, std::uint32_t index, char16_t* name, std::uint32_t* nameSize) {
  DwordInOut size(nameSize);
  return ::RegEnumKeyExW(key, index, AsWideBuffer(name), size.get(), nullptr, nullptr, nullptr,
                         nullptr);
}

long RegSetValueExW(RegistryKey key, std::u16string_view valueName, std::uint32_t type,
                    const void* data, std::uint32_t dataSize) {
  return ::RegSetValueExW(key, AsWide(valueName).c_str(), 0, type, static_cast<const BYTE*>(data),
                          dataSize);
}

long RegDeleteTreeW(RegistryKey key, std::u16string_view subKey) {
  return ::RegDeleteTreeW(key, subKey.empty() ? nullptr : AsWide(subKey).c_str());
}

long RegCloseKey(RegistryKey key) { return ::RegCloseKey(key); }

}  // namespace platform
