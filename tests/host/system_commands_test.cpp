#include "host/system_commands.h"

#include <algorithm>
#include <memory>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "channels/binary_messenger_impl.h"
#include "channels/method_channel.h"
#include "channels/standard_codec.h"
#include "sim_messenger.h"
#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_user.h"

namespace {

using ::testing::ElementsAre;

// What the handler answered: exactly one of the three.
struct Answer {
  int answers = 0;
  std::optional<EncodableValue> success;
  bool error = false;
  bool notImplemented = false;
};

Answer Call(const std::string& method, EncodableValue arguments = EncodableValue()) {
  auto answer = std::make_shared<Answer>();
  auto result = std::make_unique<MethodResultFunctions>(
      [answer](const EncodableValue* value) {
        ++answer->answers;
        answer->success = value ? *value : EncodableValue();
      },
      [answer](const std::string&, const std::string&, const EncodableValue*) {
        ++answer->answers;
        answer->error = true;
      },
      [answer] {
        ++answer->answers;
        answer->notImplemented = true;
      });
  HandleSystemCommandsCall(MethodCall(method, std::make_unique<EncodableValue>(arguments)),
                           std::move(result));
  return *answer;
}

class SystemCommandsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    // The display thread waits until the test runs it, so that before and after can be seen.
    sim::SetHoldThreads(true);
  }

  static std::vector<std::string> Journal() { return sim::Journal(); }

  static bool Has(const std::string& entry) {
    const auto journal = sim::Journal();
    return std::find(journal.begin(), journal.end(), entry) != journal.end();
  }

  static void ExpectBool(const Answer& answer, bool expected) {
    EXPECT_EQ(answer.answers, 1);
    ASSERT_TRUE(answer.success.has_value());
    ASSERT_TRUE(std::holds_alternative<bool>(*answer.success));
    EXPECT_EQ(std::get<bool>(*answer.success), expected);
  }
};

// ---- lockScreen ----

TEST_F(SystemCommandsTest, LockScreenAnswersTrueWhenTheSessionLocks) {
  ExpectBool(Call("lockScreen"), true);
  EXPECT_TRUE(sim::SessionLocked());
}

TEST_F(SystemCommandsTest, LockScreenAnswersFalseWhenLockWorkStationFails) {
  sim::SetLockWorkStationSucceeds(false);
  const Answer answer = Call("lockScreen");
  ExpectBool(answer, false);
  EXPECT_FALSE(answer.error);
}

// ---- turnOffDisplay ----

TEST_F(SystemCommandsTest, TurnOffDisplayAnswersTrueBeforeTheDisplayGoesDark) {
  ExpectBool(Call("turnOffDisplay"), true);
  EXPECT_FALSE(sim::DisplayOff());
  EXPECT_EQ(sim::PendingThreadCount(), 1);
  // The handle is closed at once; nobody waits for the thread.
  EXPECT_THAT(Journal(), ElementsAre("CreateThread", "CloseHandle thread"));

  sim::RunPendingThreads();
  EXPECT_TRUE(sim::DisplayOff());
  EXPECT_THAT(Journal(), ElementsAre("CreateThread", "CloseHandle thread", "Sleep 100",
                                     "SendMessageTimeoutW 0xffff 274 61808 2 2 1000"));
}

TEST_F(SystemCommandsTest, TurnOffDisplayAnswersTrueAlsoWhenTheDisplayNeverGoesDark) {
  sim::SetDisplayIgnoresPowerOff(true);
  ExpectBool(Call("turnOffDisplay"), true);
  sim::RunPendingThreads();
  EXPECT_FALSE(sim::DisplayOff());
}

TEST_F(SystemCommandsTest, TurnOffDisplayAnswersFalseWhenNoThreadStarts) {
  sim::SetCreateThreadFails(true);
  ExpectBool(Call("turnOffDisplay"), false);
  EXPECT_THAT(Journal(), ElementsAre("CreateThread"));
}

TEST_F(SystemCommandsTest, RepeatedTurnOffDisplayStartsOneThreadEach) {
  ExpectBool(Call("turnOffDisplay"), true);
  ExpectBool(Call("turnOffDisplay"), true);
  EXPECT_EQ(sim::PendingThreadCount(), 2);
  sim::RunPendingThreads();
  EXPECT_EQ(sim::Sleeps(), (std::vector<unsigned>{100, 100}));
}

TEST_F(SystemCommandsTest, TurnOffDisplayThreadReturnsZero) {
  EXPECT_EQ(TurnOffDisplayThread(nullptr), 0u);
  EXPECT_TRUE(sim::DisplayOff());
}

// ---- restartSystem and shutdownSystem ----

TEST_F(SystemCommandsTest, RestartEnablesThePrivilegeThenAsksForARestart) {
  ExpectBool(Call("restartSystem"), true);
  EXPECT_THAT(Journal(),
              ElementsAre("OpenProcessToken 40", "LookupPrivilegeValueW SeShutdownPrivilege",
                          "AdjustTokenPrivileges 19 2", "CloseHandle token",
                          "ExitWindowsEx 18 0x80040001"));
  ASSERT_EQ(sim::AcceptedExitRequests().size(), 1u);
  EXPECT_EQ(sim::AcceptedExitRequests()[0].flags, 18u);
  EXPECT_EQ(sim::AcceptedExitRequests()[0].reason, 0x80040001u);
}

TEST_F(SystemCommandsTest, ShutdownEnablesThePrivilegeThenAsksForPowerOff) {
  ExpectBool(Call("shutdownSystem"), true);
  EXPECT_EQ(Journal().back(), "ExitWindowsEx 24 0x80040001");
  ASSERT_EQ(sim::AcceptedExitRequests().size(), 1u);
  EXPECT_EQ(sim::AcceptedExitRequests()[0].flags, 24u);
}

TEST_F(SystemCommandsTest, RestartWithoutThePrivilegeAnswersFalseAndLeavesTheMachineRunning) {
  sim::SetAccountHoldsShutdownPrivilege(false);
  const Answer answer = Call("restartSystem");
  ExpectBool(answer, false);
  EXPECT_FALSE(answer.error);
  EXPECT_FALSE(sim::ShutdownPrivilegeEnabled());
  EXPECT_TRUE(sim::AcceptedExitRequests().empty());
  EXPECT_TRUE(Has("ExitWindowsEx 18 0x80040001"));
}

TEST_F(SystemCommandsTest, ShutdownWithoutThePrivilegeAnswersFalse) {
  sim::SetAccountHoldsShutdownPrivilege(false);
  ExpectBool(Call("shutdownSystem"), false);
  EXPECT_TRUE(sim::AcceptedExitRequests().empty());
}

TEST_F(SystemCommandsTest, UnopenableTokenSkipsThePrivilegeAndStillTriesTheExit) {
  sim::SetOpenProcessTokenFails(true);
  ExpectBool(Call("restartSystem"), false);
  EXPECT_THAT(Journal(), ElementsAre("OpenProcessToken 40", "ExitWindowsEx 18 0x80040001"));
}

TEST_F(SystemCommandsTest, FailedPrivilegeLookupClosesTheToken) {
  sim::SetLookupPrivilegeValueFails(true);
  ExpectBool(Call("shutdownSystem"), false);
  EXPECT_THAT(Journal(),
              ElementsAre("OpenProcessToken 40", "LookupPrivilegeValueW SeShutdownPrivilege",
                          "CloseHandle token", "ExitWindowsEx 24 0x80040001"));
}

TEST_F(SystemCommandsTest, EnableShutdownPrivilegeAloneExitsNothing) {
  EnableShutdownPrivilege();
  EXPECT_TRUE(sim::ShutdownPrivilegeEnabled());
  EXPECT_TRUE(sim::AcceptedExitRequests().empty());
}

// ---- getIdleSeconds ----

TEST_F(SystemCommandsTest, IdleSecondsRightAfterInputIsZero) {
  sim::SetLastInputTick(7'000'000);
  sim::SetTickCount(7'000'000);
  EXPECT_EQ(GetIdleSeconds(), 0);
  sim::SetTickCount(7'000'999);
  EXPECT_EQ(GetIdleSeconds(), 0);
}

TEST_F(SystemCommandsTest, IdleSecondsAreWholeSecondsSinceTheLastInput) {
  sim::SetLastInputTick(1'000);
  sim::SetTickCount(62'500);
  EXPECT_EQ(GetIdleSeconds(), 61);
}

TEST_F(SystemCommandsTest, IdleSecondsAfterTheTickCountWrappedAreTheSmallDifference) {
  sim::SetLastInputTick(4'294'967'000u);  // 296 ms before the wrap
  sim::SetTickCount(3'704);
  EXPECT_EQ(GetIdleSeconds(), 4);
}

TEST_F(SystemCommandsTest, IdleSecondsNeverTurnNegative) {
  sim::SetLastInputTick(1);
  sim::SetTickCount(0);  // 2^32 - 1 ms
  EXPECT_EQ(GetIdleSeconds(), 4'294'967);
}

TEST_F(SystemCommandsTest, IdleSecondsAreMinusOneWhenTheInputTimeCannotBeRead) {
  sim::SetLastInputTick(std::nullopt);
  EXPECT_EQ(GetIdleSeconds(), -1);
}

TEST_F(SystemCommandsTest, GetIdleSecondsAnswersA64BitInteger) {
  sim::SetLastInputTick(10'000);
  sim::SetTickCount(55'000);
  const Answer answer = Call("getIdleSeconds");
  EXPECT_EQ(answer.answers, 1);
  ASSERT_TRUE(answer.success.has_value());
  ASSERT_TRUE(std::holds_alternative<int64_t>(*answer.success));
  EXPECT_EQ(std::get<int64_t>(*answer.success), 45);
}

TEST_F(SystemCommandsTest, GetIdleSecondsAnswersMinusOneAsASuccess) {
  sim::SetLastInputTick(std::nullopt);
  const Answer answer = Call("getIdleSeconds");
  ASSERT_TRUE(answer.success.has_value());
  EXPECT_EQ(std::get<int64_t>(*answer.success), -1);
  EXPECT_FALSE(answer.error);
}

// ---- Names and arguments ----

TEST_F(SystemCommandsTest, EachCommandAnswersABool) {
  for (const char* method : {"lockScreen", "restartSystem", "shutdownSystem", "turnOffDisplay"}) {
    SetUp();
    sim::SetAccountHoldsShutdownPrivilege(false);
    const Answer answer = Call(method);
    EXPECT_EQ(answer.answers, 1) << method;
    ASSERT_TRUE(answer.success.has_value()) << method;
    EXPECT_TRUE(std::holds_alternative<bool>(*answer.success)) << method;
  }
}

TEST_F(SystemCommandsTest, ANameThatDiffersOnlyInLetterCaseIsNotImplemented) {
  for (const char* method : {"LockScreen", "lockscreen", "TURNOFFDISPLAY", "restartsystem",
                             "ShutdownSystem", "getIdleseconds"}) {
    const Answer answer = Call(method);
    EXPECT_EQ(answer.answers, 1) << method;
    EXPECT_TRUE(answer.notImplemented) << method;
  }
  EXPECT_TRUE(Journal().empty());
}

TEST_F(SystemCommandsTest, UnknownMethodIsNotImplemented) {
  for (const char* method : {"", "reboot", "lockScreen ", "getIdleSecondsX"}) {
    const Answer answer = Call(method);
    EXPECT_TRUE(answer.notImplemented) << method;
    EXPECT_FALSE(answer.success.has_value()) << method;
  }
}

TEST_F(SystemCommandsTest, ArgumentsSentWithACallAreIgnored) {
  EncodableMap arguments{{EncodableValue("force"), EncodableValue(true)},
                         {EncodableValue("delay"), EncodableValue(int32_t{30})}};
  sim::SetAccountHoldsShutdownPrivilege(false);
  ExpectBool(Call("restartSystem", EncodableValue(arguments)), false);
  ExpectBool(Call("lockScreen", EncodableValue("now")), true);
  sim::SetLastInputTick(0);
  sim::SetTickCount(3'000);
  const Answer idle = Call("getIdleSeconds", EncodableValue(arguments));
  EXPECT_EQ(std::get<int64_t>(*idle.success), 3);
}

TEST_F(SystemCommandsTest, ExecuteSystemCommandIsFalseForAnythingElse) {
  EXPECT_FALSE(ExecuteSystemCommand("getIdleSeconds"));
  EXPECT_FALSE(ExecuteSystemCommand(""));
  EXPECT_FALSE(ExecuteSystemCommand("LOCKSCREEN"));
  EXPECT_TRUE(Journal().empty());
}

// ---- On the channel ----

class SystemCommandsChannelTest : public SystemCommandsTest {
 protected:
  void SetUp() override {
    SystemCommandsTest::SetUp();
    channel.SetMethodCallHandler(HandleSystemCommandsCall);
  }

  int Deliver(const std::string& method) {
    const auto bytes = StandardMethodCodec::GetInstance().EncodeMethodCall(
        MethodCall(method, std::make_unique<EncodableValue>()));
    return fake.Deliver("com.kelvo.tarnel/system_commands", *bytes);
  }

  sim::FakeMessenger fake;
  BinaryMessengerImpl messenger{fake.ref()};
  MethodChannel channel{&messenger, "com.kelvo.tarnel/system_commands"};
};

TEST_F(SystemCommandsChannelTest, LockScreenRepliesWithTheEncodedTrue) {
  const auto responses = fake.ResponsesTo(Deliver("lockScreen"));
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_EQ(responses[0].bytes, (std::vector<uint8_t>{0x00, 0x01}));
}

TEST_F(SystemCommandsChannelTest, GetIdleSecondsRepliesWithAnEncoded64BitInteger) {
  sim::SetLastInputTick(0);
  sim::SetTickCount(300'000);
  const auto responses = fake.ResponsesTo(Deliver("getIdleSeconds"));
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_EQ(responses[0].bytes,
            (std::vector<uint8_t>{0x00, 0x04, 0x2C, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
}

TEST_F(SystemCommandsChannelTest, UnknownMethodGetsTheNullResponse) {
  const auto responses = fake.ResponsesTo(Deliver("LockScreen"));
  ASSERT_EQ(responses.size(), 1u);
  EXPECT_TRUE(responses[0].nullData);
  EXPECT_TRUE(responses[0].bytes.empty());
}

}  // namespace
