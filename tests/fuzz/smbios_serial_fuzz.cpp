// Arbitrary firmware tables through the SMBIOS serial parser, directly and through the firmware
// call. The sanitizers watch that nothing is read outside the buffer whatever lengths the bytes
// claim; the checks hold what the answer promises.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "devices/product_serial.h"
#include "platform/kernel.h"
#include "sim_kernel.h"
#include "fuzz_check.h"

namespace {

bool IsValidUtf8(const std::string& text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t extra = 0;
    if (lead < 0x80) {
      extra = 0;
    } else if ((lead & 0xE0) == 0xC0 && lead >= 0xC2) {
      extra = 1;
    } else {
      return false;  // Latin-1 needs two bytes at most
    }
    if (text.size() - i <= extra) return extra == 0;
    for (std::size_t k = 1; k <= extra; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
    }
    i += extra + 1;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // An exact-size copy, so that one byte too far is a heap overflow the sanitizer sees.
  const std::vector<std::uint8_t> table(data, data + size);
  const std::string serial = ParseSmbiosSerial(table.data(), table.size());
  KT_CHECK(IsValidUtf8(serial));
  KT_CHECK(serial.size() <= 2 * size);
  KT_CHECK(serial.empty() || (serial.front() != ' ' && serial.back() != ' '));
  KT_CHECK(serial.empty() || !IsPlaceholderSerial(serial));

  sim::SetFirmwareTable(platform::kFirmwareTableRsmb, table);
  KT_CHECK(GetWindowsProductSerialNumber() == serial);
  return 0;
}
