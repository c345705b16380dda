// Registry values of any type and any bytes, odd lengths and missing terminators included, through
// the readers of text and numbers. The sanitizers watch that no reader reaches past a buffer; the
// checks below hold what each promises of its answer whatever the value holds.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "app/registry_reader.h"
#include "sim_registry.h"
#include "fuzz_check.h"

namespace {

constexpr std::u16string_view kKey = u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

bool IsText(std::uint32_t type) {
  return type == platform::kRegSz || type == platform::kRegExpandSz;
}

}  // namespace

// The first byte is the value's type (the low four bits, so that types past REG_QWORD come too),
// the rest its data.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::uint32_t type = data[0] & 0x0F;
  const std::vector<std::uint8_t> bytes(data + 1, data + size);
  sim::SetRegistryValue(platform::kHkeyLocalMachine, kKey, u"Value", type, bytes);

  const std::u16string text = ReadRegistryText(platform::kHkeyLocalMachine, kKey, u"Value");
  KT_CHECK(IsText(type) || text.empty());
  KT_CHECK(text.find(u'\0') == std::u16string::npos);
  KT_CHECK(text.size() <= (bytes.size() + 1) / 2);

  {
    const auto key = OpenRegistryKey(platform::kHkeyLocalMachine, kKey, platform::kKeyRead);
    KT_CHECK(key);
    const std::u16string string = ReadRegistryString(key.get(), u"Value");
    KT_CHECK(IsText(type) || string.empty());
    KT_CHECK(string.empty() || string.back() != u'\0');
    KT_CHECK(string.size() <= bytes.size() / 2);

    const RegistryDword number = QueryRegistryDword(key.get(), u"Value");
    KT_CHECK(number.type == type);
    KT_CHECK(bytes.size() <= 4 || number.value == 0);
  }
  const RegistryNumber dword =
      ReadRegistryDword(platform::kHkeyLocalMachine, kKey, u"Value", platform::kKeyWow6464Key);
  KT_CHECK(dword.status != platform::kErrorSuccess || type == platform::kRegDword);
  KT_CHECK(sim::OpenRegistryKeyCount() == 0);
  return 0;
}
