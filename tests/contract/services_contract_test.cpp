// The service control manager as the start-up's service check meets it when the agent's
// service is not installed.
#include <gtest/gtest.h>

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

}  // namespace
