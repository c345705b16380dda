// The classification chain over a thousand devices whose facts are already read, next to one
// scan of the same search texts for a unit none of them holds: the floor of any substring test,
// measured in the same run so that the ratio carries from one machine to another.
#include <cstdint>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "ratio_report.h"

#include "base/text.h"
#include "devices/device_classification.h"

namespace {

constexpr int kDevices = 1000;

struct Shape {
  const char16_t* idPrefix;
  const char16_t* friendlyName;
  const char16_t* description;
  const char16_t* manufacturer;
  const char16_t* service;
  const char16_t* pnpClass;
};

// What a busy machine lists: most devices fall through every word test or are filtered early.
constexpr Shape kShapes[] = {
    {u"USB\\VID_046D&PID_C52B&MI_00\\", u"", u"USB Input Device", u"(Standard system devices)",
     u"HidUsb", u"HIDClass"},
    {u"HID\\VID_046D&PID_C077\\", u"", u"HID-compliant mouse", u"Microsoft", u"mouhid", u"Mouse"},
    {u"HID\\VID_04D9&PID_1702&MI_00\\", u"", u"HID Keyboard Device", u"(Standard keyboards)",
     u"kbdhid", u"Keyboard"},
    {u"USB\\VID_0781&PID_5567\\", u"SanDisk Cruzer Blade", u"USB Mass Storage Device",
     u"Compatible USB storage device", u"USBSTOR", u"USB"},
    {u"USB\\ROOT_HUB30\\", u"", u"USB Root Hub (USB 3.0)", u"(Standard USB HUBs)", u"USBHUB3",
     u"USB"},
    {u"PCI\\VEN_8086&DEV_A36D\\", u"", u"Intel(R) USB 3.1 eXtensible Host Controller",
     u"Generic USB xHCI Host Controller", u"USBXHCI", u"USB"},
    {u"DISPLAY\\DELA0B1\\", u"", u"Generic PnP Monitor", u"(Standard monitor types)", u"monitor",
     u"Monitor"},
    {u"ACPI\\PNP0C0A\\", u"", u"Microsoft ACPI-Compliant Control Method Battery", u"Microsoft",
     u"CmBatt", u"Battery"},
    {u"USB\\VID_328F&PID_00D4\\", u"KELVO Camera", u"USB Video Device", u"Microsoft", u"usbvideo",
     u"Camera"},
    {u"USB\\VID_1915&PID_0040\\", u"", u"2.4G Wireless Receiver", u"Nordic", u"HidUsb",
     u"HIDClass"},
    {u"SWD\\MMDEVAPI\\", u"Speakers (Realtek(R) Audio)", u"Speakers", u"Realtek", u"",
     u"AudioEndpoint"},
    {u"USB\\VID_8087&PID_0026\\", u"", u"Intel(R) Wireless Bluetooth(R)", u"Intel Corporation",
     u"BTHUSB", u"Bluetooth"},
};

std::vector<DeviceFacts> MakeFacts() {
  std::vector<DeviceFacts> all;
  all.reserve(kDevices);
  for (int i = 0; i < kDevices; ++i) {
    const Shape& shape = kShapes[i % std::size(kShapes)];
    DeviceFacts facts;
    facts.instanceId = shape.idPrefix + Utf8ToWide(std::to_string(i));
    facts.friendlyName = shape.friendlyName;
    facts.deviceDescription = shape.description;
    facts.manufacturer = shape.manufacturer;
    facts.service = shape.service;
    facts.pnpClass = shape.pnpClass;
    facts.displayName = !facts.friendlyName.empty() ? facts.friendlyName : facts.deviceDescription;
    ParseVidPid(facts.instanceId, facts.vid, facts.pid);
    facts.serviceLower = LowerCopy(facts.service);
    facts.pnpClassLower = LowerCopy(facts.pnpClass);
    facts.instanceIdLower = LowerCopy(facts.instanceId);
    facts.searchText = StatusSearchText(facts);
    all.push_back(std::move(facts));
  }
  return all;
}

const std::vector<DeviceFacts>& Facts() {
  static const std::vector<DeviceFacts> facts = MakeFacts();
  return facts;
}

std::size_t SearchTextBytes() {
  std::size_t bytes = 0;
  for (const DeviceFacts& facts : Facts()) bytes += facts.searchText.size() * sizeof(char16_t);
  return bytes;
}

void BM_ClassifyDevices(benchmark::State& state) {
  const std::vector<DeviceFacts>& facts = Facts();
  int reported = 0;
  for (auto _ : state) {
    for (const DeviceFacts& device : facts) {
      const auto classification = ClassifyDevice(device);
      benchmark::DoNotOptimize(classification);
      reported += classification.has_value() ? 1 : 0;
    }
  }
  state.counters["reported"] =
      static_cast<double>(reported) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_ClassifyDevices);

void BM_ScanSearchTextsBaseline(benchmark::State& state) {
  const std::vector<DeviceFacts>& facts = Facts();
  for (auto _ : state) {
    for (const DeviceFacts& device : facts) {
      std::u16string_view text = device.searchText;
      benchmark::DoNotOptimize(text);
      // U+0001 is in no search text, so every unit is looked at.
      const std::size_t found = text.find(u'\x01');
      benchmark::DoNotOptimize(found);
    }
  }
}
BENCHMARK(BM_ScanSearchTextsBaseline);

}  // namespace

int main(int argc, char** argv) {
  return bench::RunWithRatios(argc, argv, "BM_ScanSearchTextsBaseline", "one scan of the texts",
                              {"BM_ClassifyDevices"}, SearchTextBytes());
}
