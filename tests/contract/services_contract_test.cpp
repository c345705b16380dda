// The service control manager as the start-up's service check meets it when the agent's
// service is not installed.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "contract_support.h"
#include "platform/kernel.h"
#include "platform/owners.h"
#include "platform/services.h"

namespace {

TEST(OpenServiceW, OfAServiceThatIsNotInstalledFailsWithServiceDoesNotExist) {
  const platform::UniqueServiceHandle manager(
      platform::OpenSCManagerW(platform::kScManagerConnect));
  ASSERT_TRUE(manager);
  const platform::UniqueServiceHandle service(
      platform::OpenServiceW(manager.get(), contract::UniqueName(u"KtContractNoService"),
                             platform::kServiceQueryStatus | platform::kServiceStart));
  EXPECT_FALSE(service);
  EXPECT_EQ(platform::GetLastError(), platform::kErrorServiceDoesNotExist);
}

TEST(CloseServiceHandle, ClosesTheManagerOnce) {
  const platform::ServiceHandle manager = platform::OpenSCManagerW(platform::kScManagerConnect);
  ASSERT_NE(manager, nullptr);
  EXPECT_TRUE(platform::CloseServiceHandle(manager));
}

// ---- The driver list's enumeration and configuration reads ----

// Win32 services of either kind (own and shared process): every Windows, and the simulated
// manager with the agent's service, has some.
constexpr std::uint32_t kServiceWin32 = 0x30;

TEST(EnumServicesStatusExW, WithNoBufferAsksForMoreDataAndThatManyBytesHoldEveryRecord) {
  const platform::UniqueServiceHandle manager(
      platform::OpenSCManagerW(platform::kScManagerEnumerateService));
  ASSERT_TRUE(manager);
  std::uint32_t needed = 0;
  std::vector<platform::ServiceStatusRecord> records;
  EXPECT_FALSE(platform::EnumServicesStatusExW(manager.get(), kServiceWin32,
                                               platform::kServiceStateAll, 0, &needed, &records));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorMoreData);
  ASSERT_GT(needed, 0u);
  ASSERT_TRUE(platform::EnumServicesStatusExW(
      manager.get(), kServiceWin32, platform::kServiceStateAll, needed, &needed, &records));
  ASSERT_FALSE(records.empty());
  for (const platform::ServiceStatusRecord& record : records) {
    EXPECT_FALSE(record.serviceName.empty());
    EXPECT_GE(record.currentState, platform::kServiceStopped);
    EXPECT_LE(record.currentState, platform::kServicePaused);
  }
}

TEST(EnumServicesStatusExW, WithoutTheRightToEnumerateIsRefused) {
  const platform::UniqueServiceHandle manager(
      platform::OpenSCManagerW(platform::kScManagerConnect));
  ASSERT_TRUE(manager);
  std::uint32_t needed = 0;
  std::vector<platform::ServiceStatusRecord> records;
  EXPECT_FALSE(platform::EnumServicesStatusExW(manager.get(), kServiceWin32,
                                               platform::kServiceStateAll, 0, &needed, &records));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorAccessDenied);
}

TEST(QueryServiceConfigW, WithNoBufferAsksForTheSizeThenGivesThePath) {
  const platform::UniqueServiceHandle manager(
      platform::OpenSCManagerW(platform::kScManagerEnumerateService));
  ASSERT_TRUE(manager);
  std::uint32_t needed = 0;
  std::vector<platform::ServiceStatusRecord> records;
  platform::EnumServicesStatusExW(manager.get(), kServiceWin32, platform::kServiceStateAll, 0,
                                  &needed, &records);
  ASSERT_TRUE(platform::EnumServicesStatusExW(
      manager.get(), kServiceWin32, platform::kServiceStateAll, needed, &needed, &records));
  ASSERT_FALSE(records.empty());
  const platform::UniqueServiceHandle service(platform::OpenServiceW(
      manager.get(), records.front().serviceName, platform::kServiceQueryConfig));
  ASSERT_TRUE(service);
  std::optional<std::u16string> path;
  EXPECT_FALSE(platform::QueryServiceConfigW(service.get(), 0, &needed, &path));
  EXPECT_EQ(platform::GetLastError(), platform::kErrorInsufficientBuffer);
  ASSERT_GT(needed, 0u);
  EXPECT_TRUE(platform::QueryServiceConfigW(service.get(), needed, &needed, &path));
}

}  // namespace
