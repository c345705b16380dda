// Arbitrary DEV_BROADCAST records through the device monitor's event path. The first byte picks
// the event code; the rest is the record, copied to a buffer of exactly its length with its size
// field no larger than that, since Windows never states more than it delivers. Whatever the type,
// size or path says, nothing may be read past the stated size (the sanitizer sees to that) and
// every event must answer 1.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "devices/device_monitor.h"
#include "fuzz_check.h"
#include "platform/setupapi.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  static constexpr std::uint32_t kEvents[] = {platform::kDbtDeviceArrival,
                                              platform::kDbtDeviceRemoveComplete, 0x0007, 0x8001};
  const std::uint32_t event = kEvents[data[0] % std::size(kEvents)];
  const std::size_t length = size - 1;
  if (length < 4) {
    KT_CHECK(HandleDeviceChange(nullptr, event, nullptr) == 1);
    return 0;
  }
  const auto record = std::make_unique<std::uint8_t[]>(length);
  std::memcpy(record.get(), data + 1, length);
  std::uint32_t stated = 0;
  std::memcpy(&stated, record.get(), 4);
  stated = std::min<std::uint32_t>(stated, static_cast<std::uint32_t>(length));
  std::memcpy(record.get(), &stated, 4);
  KT_CHECK(HandleDeviceChange(nullptr, event, record.get()) == 1);
  return 0;
}
