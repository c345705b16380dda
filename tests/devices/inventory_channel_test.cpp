// The four inventory methods on the device monitor's channel read no arguments: whatever Dart
// sends along, each answers its value with Success, once.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <variant>

#include "answer_recorder.h"
#include "devices/device_monitor.h"
#include "sim_core.h"

namespace {

constexpr const char* kMethods[] = {"getHardwareSpecs", "getStartupReportInfo", "getDriverList",
                                    "getWindowsProductSerialNumber"};

Answer CallWith(const char* method, std::unique_ptr<EncodableValue> arguments) {
  Answer answer;
  HandleDeviceMonitorCall(MethodCall(method, std::move(arguments)), Recorder(answer));
  return answer;
}

void ExpectItsValue(const char* method, const Answer& answer) {
  ASSERT_EQ(answer.kind, Answer::kSuccess) << method;
  EXPECT_EQ(answer.count, 1) << method;
  ASSERT_TRUE(answer.value.has_value()) << method;
  const std::string name(method);
  if (name == "getDriverList") {
    EXPECT_TRUE(std::holds_alternative<EncodableList>(*answer.value));
  } else if (name == "getWindowsProductSerialNumber") {
    EXPECT_TRUE(std::holds_alternative<std::string>(*answer.value));
  } else {
    EXPECT_TRUE(std::holds_alternative<EncodableMap>(*answer.value)) << method;
  }
}

class InventoryChannel : public ::testing::Test {
 protected:
  void SetUp() override { sim::ResetSimulation(); }
};

TEST_F(InventoryChannel, ArgumentsOfAnyTypeAreIgnored) {
  for (const char* method : kMethods) {
    ExpectItsValue(method, CallWith(method, nullptr));
    ExpectItsValue(method, CallWith(method, std::make_unique<EncodableValue>()));
    ExpectItsValue(method, CallWith(method, std::make_unique<EncodableValue>(42)));
    ExpectItsValue(method, CallWith(method, std::make_unique<EncodableValue>("x")));
    EncodableMap map;
    map.emplace(EncodableValue("deviceType"), EncodableValue(EncodableList{}));
    ExpectItsValue(method, CallWith(method, std::make_unique<EncodableValue>(map)));
  }
}

TEST_F(InventoryChannel, NamesCompareExactly) {
  for (const char* method : {"GetHardwareSpecs", "getStartupReportinfo", "getDriverList ",
                             "getWindowsProductSerialNumbe"}) {
    EXPECT_EQ(CallWith(method, nullptr).kind, Answer::kNotImplemented) << method;
  }
}

}  // namespace
