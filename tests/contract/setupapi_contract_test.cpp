// Device lists, properties, device nodes and device notifications, on whatever devices the
// system presents: the buffer protocols the device code relies on, and the configuration
// manager agreeing with the lists. What a test has to script (removal answers, missing
// properties, many devices) is tested against the simulation only, and so is what Wine 8 does
// not implement: CM_Locate_DevNodeW answers CR_FAILURE for every id there (so the root and a walk
// up to it cannot be reached), and a second UnregisterDeviceNotification of one handle succeeds.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "contract_support.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/setupapi.h"

namespace {

using contract::TestWindow;
using platform::DeviceInfoData;
using platform::DeviceInfoSet;
using platform::UniqueDeviceInfoSet;

constexpr std::uint32_t kAllPresent = platform::kDigcfPresent | platform::kDigcfAllClasses;
constexpr std::uint32_t kRegSz = 1;

std::vector<DeviceInfoData> DevicesOf(DeviceInfoSet set) {
  std::vector<DeviceInfoData> devices;
  DeviceInfoData device;
  for (std::uint32_t index = 0; platform::SetupDiEnumDeviceInfo(set, index, &device); ++index) {
    devices.push_back(device);
  }
  return devices;
}

std::u16string InstanceIdOf(DeviceInfoSet set, const DeviceInfoData& device) {
  std::uint32_t required = 0;
  platform::SetupDiGetDeviceInstanceIdW(set, device, nullptr, 0, &required);
  std::u16string id(required, u'\0');
  if (!platform::SetupDiGetDeviceInstanceIdW(set, device, id.data(), required, nullptr)) return {};
  id.resize(required > 0 ? required - 1 : 0);
  return id;
}

TEST(SetupDiGetClassDevsW, AListOfAllPresentDevicesOpensHoldsDevicesAndCloses) {
  const DeviceInfoSet set = platform::SetupDiGetClassDevsW(nullptr, kAllPresent);
  ASSERT_NE(set, DeviceInfoSet{});
  EXPECT_FALSE(DevicesOf(set).empty());
  EXPECT_TRUE(platform::SetupDiDestroyDeviceInfoList(set));
}

TEST(SetupDiEnumDeviceInfo, PastTheEndGivesNoMoreItems) {
  const UniqueDeviceInfoSet set(platform::SetupDiGetClassDevsW(nullptr, kAllPresent));
  ASSERT_TRUE(set);
  const auto count = static_cast<std::uint32_t>(DevicesOf(set.get()).size());
  DeviceInfoData device;
  platform::SetLastError(0);
  EXPECT_FALSE(platform::SetupDiEnumDeviceInfo(set.get(), count, &device));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorNoMoreItems);
  EXPECT_FALSE(platform::SetupDiEnumDeviceInfo(set.get(), count + 100, &device));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorNoMoreItems);
}

TEST(SetupDiGetDeviceInstanceIdW, TellsTheUnitsNeededThenFillsAnExactBuffer) {
  const UniqueDeviceInfoSet set(platform::SetupDiGetClassDevsW(nullptr, kAllPresent));
  ASSERT_TRUE(set);
  const std::vector<DeviceInfoData> devices = DevicesOf(set.get());
  ASSERT_FALSE(devices.empty());
  for (const DeviceInfoData& device : devices) {
    std::uint32_t required = 0;
    EXPECT_FALSE(platform::SetupDiGetDeviceInstanceIdW(set.get(), device, nullptr, 0, &required));
    EXPECT_EQ(platform::GetLastError(), platform::kErrorInsufficientBuffer);
    ASSERT_GT(required, 1u);

    std::u16string small(required - 1, u'#');
    std::uint32_t again = 0;
    EXPECT_FALSE(platform::SetupDiGetDeviceInstanceIdW(set.get(), device, small.data(),
                                                       required - 1, &again));
    EXPECT_EQ(platform::GetLastError(), platform::kErrorInsufficientBuffer);
    EXPECT_EQ(again, required);

    std::u16string exact(required, u'#');
    EXPECT_TRUE(
        platform::SetupDiGetDeviceInstanceIdW(set.get(), device, exact.data(), required, nullptr));
    EXPECT_EQ(exact.back(), u'\0');
    EXPECT_EQ(exact.find(u'\0'), required - 1) << "no terminator before the end";
  }
}

TEST(SetupDiGetDeviceRegistryPropertyW, ADescriptionComesAsSizedUtf16WithItsTerminator) {
  const UniqueDeviceInfoSet set(platform::SetupDiGetClassDevsW(nullptr, kAllPresent));
  ASSERT_TRUE(set);
  int described = 0;
  for (const DeviceInfoData& device : DevicesOf(set.get())) {
    std::uint32_t type = 0;
    std::uint32_t required = 0;
    if (platform::SetupDiGetDeviceRegistryPropertyW(set.get(), device, platform::kSpdrpDeviceDesc,
                                                    &type, nullptr, 0, &required)) {
      ADD_FAILURE() << "a null buffer cannot take a description";
      continue;
    }
    if (platform::GetLastError() != platform::kErrorInsufficientBuffer) continue;  // not set
    ++described;
    ASSERT_GE(required, 4u);
    EXPECT_EQ(required % 2, 0u);
    EXPECT_EQ(type, kRegSz);

    std::vector<std::uint8_t> small(required - 2, 0xAB);
    std::uint32_t again = 0;
    EXPECT_FALSE(platform::SetupDiGetDeviceRegistryPropertyW(
        set.get(), device, platform::kSpdrpDeviceDesc, &type, small.data(),
        static_cast<std::uint32_t>(small.size()), &again));
    EXPECT_EQ(platform::GetLastError(), platform::kErrorInsufficientBuffer);
    EXPECT_EQ(again, required);

    std::vector<std::uint8_t> bytes(required, 0xAB);
    type = 0;
    EXPECT_TRUE(platform::SetupDiGetDeviceRegistryPropertyW(
        set.get(), device, platform::kSpdrpDeviceDesc, &type, bytes.data(), required, &again));
    EXPECT_EQ(type, kRegSz);
    EXPECT_EQ(again, required);
    EXPECT_EQ(bytes[required - 2], 0);
    EXPECT_EQ(bytes[required - 1], 0);
    EXPECT_FALSE(bytes[0] == 0 && bytes[1] == 0) << "a description of no text";
  }
  EXPECT_GT(described, 0) << "no present device has a description";
}

TEST(CM_Get_Device_IDW, OfAListedDeviceAgreesWithTheListsInstanceId) {
  const UniqueDeviceInfoSet set(platform::SetupDiGetClassDevsW(nullptr, kAllPresent));
  ASSERT_TRUE(set);
  const std::vector<DeviceInfoData> devices = DevicesOf(set.get());
  ASSERT_FALSE(devices.empty());
  for (const DeviceInfoData& device : devices) {
    const std::u16string id = InstanceIdOf(set.get(), device);
    ASSERT_FALSE(id.empty());
    std::u16string back(id.size() + 1, u'#');
    ASSERT_EQ(platform::CM_Get_Device_IDW(device.devInst, back.data(),
                                          static_cast<std::uint32_t>(back.size()), 0),
              platform::kCrSuccess);
    EXPECT_EQ(back, id + u'\0');
  }
}

TEST(RegisterDeviceNotificationW, ForARealWindowSucceedsAndUnregisters) {
  const TestWindow window;
  ASSERT_NE(window.get(), nullptr);
  const platform::DeviceNotifyHandle handle = platform::RegisterDeviceNotificationW(
      window.get(),
      Guid{0xA5DCBF10, 0x6530, 0x11D2, {0x90, 0x1F, 0x00, 0xC0, 0x4F, 0xB9, 0x51, 0xED}},
      platform::kDeviceNotifyWindowHandle);
  ASSERT_NE(handle, platform::DeviceNotifyHandle{});
  EXPECT_TRUE(platform::UnregisterDeviceNotification(handle));
}

}  // namespace
