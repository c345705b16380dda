#include "devices/startup_report.h"

#include <string>
#include <vector>

#include "base/text.h"
#include "devices/device_classification.h"
#include "platform/network.h"
#include "platform/user.h"

namespace {

constexpr std::uint32_t kFirstBufferBytes = 0x3C00;
constexpr std::uint32_t kAdapterFlags = platform::kGaaFlagSkipAnycast |
                                        platform::kGaaFlagSkipMulticast |
                                        platform::kGaaFlagSkipDnsServer;
constexpr std::size_t kAddressTextUnits = 22;
constexpr int kWorstScore = 100;

struct BestCandidate {
  std::u16string address;
  std::u16string mac;
  int score = kWorstScore;
  bool wireless = true;
  std::int32_t wired = 0;
};

// One call with the first guess, and one more with the size it asks for.
std::vector<platform::AdapterAddresses> ListAdapters(bool* listed) {
  std::vector<platform::AdapterAddresses> adapters;
  std::uint32_t needed = 0;
  std::uint32_t result = platform::GetAdaptersAddresses(platform::kAfInet, kAdapterFlags,
                                                        kFirstBufferBytes, &needed, &adapters);
  if (result == platform::kErrorBufferOverflow) {
    result = platform::GetAdaptersAddresses(platform::kAfInet, kAdapterFlags, needed, &needed,
                                            &adapters);
  }
  *listed = result == 0;
  return adapters;
}

bool IsCandidateAdapter(const platform::AdapterAddresses& adapter) {
  if (adapter.operStatus != platform::kIfOperStatusUp) return false;
  if (adapter.ifType == platform::kIfTypeSoftwareLoopback ||
      adapter.ifType == platform::kIfTypeTunnel) {
    return false;
  }
  const std::u16string name = LowerCopy(adapter.friendlyName.value_or(std::u16string()));
  const std::u16string description = LowerCopy(adapter.description.value_or(std::u16string()));
  if (ContainsAnyText(name, kAdapterExclusions) ||
      ContainsAnyText(description, kAdapterExclusions)) {
    return false;
  }
  return !adapter.unicast.empty();
}

bool Replaces(const BestCandidate& best, int score, bool wireless) {
  return best.address.empty() || score < best.score ||
         (score == best.score && best.wireless && !wireless);
}

void ConsiderAdapter(const platform::AdapterAddresses& adapter, BestCandidate& best) {
  for (const platform::UnicastAddress& unicast : adapter.unicast) {
    if (unicast.family != platform::kAfInet) continue;
    char16_t buffer[kAddressTextUnits] = {};
    if (!platform::InetNtopW(unicast.family, unicast.ipv4, buffer, kAddressTextUnits)) continue;
    const std::u16string_view text(buffer);
    if (text.starts_with(u"127.") || text == u"0.0.0.0") continue;
    const bool wireless = adapter.ifType == platform::kIfTypeIeee80211;
    const int score = ScoreBindAddress(text);
    if (!Replaces(best, score, wireless)) continue;
    best.address = text;
    best.mac = FormatMacAddress(adapter.physicalAddress.data(), adapter.physicalAddress.size());
    best.score = score;
    best.wireless = wireless;
    best.wired = wireless ? 0 : 1;
  }
}

std::u16string Resolution() {
  const int width = platform::GetSystemMetrics(platform::kSmCxScreen);
  const int height = platform::GetSystemMetrics(platform::kSmCyScreen);
  if (width <= 0 || height <= 0) return {};
  return AsciiToWide(std::to_string(width) + "x" + std::to_string(height));
}

}  // namespace

int ScoreBindAddress(std::u16string_view address) {
  if (address.starts_with(u"192.168.")) return 0;
  if (address.starts_with(u"10.")) return 1;
  if (address.starts_with(u"172.")) {
    const std::size_t first = address.find(u'.');
    const std::size_t second = address.find(u'.', first + 1);
    if (second == std::u16string_view::npos) return 9;
    // Base 10 up to the first non-digit, as a C runtime's parse would; a field of no digits is 0.
    int field = 0;
    for (const char16_t unit : address.substr(first + 1, second - first - 1)) {
      if (unit < u'0' || unit > u'9' || field > 255) break;
      field = field * 10 + (unit - u'0');
    }
    if (field >= 16 && field <= 31) return 2;
  }
  return 9;
}

std::u16string FormatMacAddress(const std::uint8_t* bytes, std::size_t length) {
  if (bytes == nullptr || length == 0) return {};
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  std::u16string text;
  text.reserve(length * 3 - 1);
  for (std::size_t i = 0; i < length; ++i) {
    if (i != 0) text += u'-';
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0x0F];
  }
  return text;
}

bool ContainsAnyText(std::u16string_view text, std::initializer_list<std::u16string_view> needles) {
  for (const std::u16string_view needle : needles) {
    if (ContainsText(text, needle)) return true;
  }
  return false;
}

EncodableMap GetStartupReportInfo() {
  BestCandidate best;
  bool listed = false;
  const std::vector<platform::AdapterAddresses> adapters = ListAdapters(&listed);
  if (listed) {
    for (const platform::AdapterAddresses& adapter : adapters) {
      if (IsCandidateAdapter(adapter)) ConsiderAdapter(adapter, best);
    }
  }
  EncodableMap reply;
  reply.emplace(EncodableValue("bindIp"), EncodableValue(WideToUtf8(best.address)));
  reply.emplace(EncodableValue("mac"), EncodableValue(WideToUtf8(best.mac)));
  reply.emplace(EncodableValue("isWiredNetwork"), EncodableValue(best.wired));
  reply.emplace(EncodableValue("resolution"), EncodableValue(WideToUtf8(Resolution())));
  return reply;
}
