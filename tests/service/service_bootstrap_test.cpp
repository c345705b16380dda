#include "service/service_bootstrap.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/app_log.h"
#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_shell.h"
#include "sim_services.h"

namespace {

using Lines = std::vector<std::string>;

const std::u16string kLogPath = u"C:\\ProgramData\\KelvoTarnel\\logs\\app.log";
const std::string kStamp = "[2026-3-7 9:5:2] ";

constexpr unsigned long kStartAccess = 20;
constexpr unsigned long kErrorAccessDenied = 5;
constexpr unsigned long kErrorServiceDisabled = 1058;
constexpr unsigned long kErrorServiceAlreadyRunning = 1056;
constexpr unsigned long kErrorServiceDoesNotExist = 1060;
constexpr unsigned long kErrorServiceMarkedForDelete = 1072;
constexpr unsigned long kErrorShutdownInProgress = 1115;
constexpr unsigned long kErrorRpcServerUnavailable = 1722;

const std::string kDebugAlreadyRunning = "[KelvoTarnel] Service is already running\n";
const std::string kDebugAttemptingStart =
    "[KelvoTarnel] Service is not running, attempting to start...\n";
const std::string kDebugStartSent =
    "[KelvoTarnel] Service start command sent, waiting for service to start...\n";
const std::string kDebugStarted = "[KelvoTarnel] Service started successfully\n";
const std::string kDebugStoppedWhileStarting =
    "[KelvoTarnel] Service failed to start (stopped state)\n";
const std::string kDebugTimeout = "[KelvoTarnel] Service start timeout\n";

const Lines kLookRunning = {"OpenSCManagerW 1", "OpenServiceW KelvoTarnelService 4",
                            "QueryServiceStatusEx", "CloseServiceHandle service",
                            "CloseServiceHandle manager"};

class ServiceBootstrapTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim::ResetSimulation();
    EnsureLogDirectory();
  }

  void TearDown() override {
    EXPECT_EQ(sim::OpenServiceHandleCount(), 0) << "a service handle was left open";
    EXPECT_EQ(sim::InvalidServiceHandleUses(), 0)
        << "a handle was used after close or never opened";
  }

  // The log as written, one time-stamped line per message.
  static std::string LogOf(const Lines& messages) {
    std::string text;
    for (const std::string& message : messages) text += kStamp + message + "\r\n";
    return text;
  }

  static std::string Log() { return sim::GetFile(kLogPath).value_or(""); }

  // The journal without the log's lines: the calls made, in order.
  static Lines Calls() {
    Lines calls;
    for (const std::string& entry : sim::Journal()) {
      if (!entry.starts_with("append: ")) calls.push_back(entry);
    }
    return calls;
  }

  static int CountOf(const Lines& entries, const std::string& entry) {
    return static_cast<int>(std::count(entries.begin(), entries.end(), entry));
  }

  // Moves the service to `state` right after the `sleepNumber`-th sleep of the wait. The count
  // comes from the simulated clock: the hook itself is copied for every sleep.
  static void ChangeStateAfterSleep(std::size_t sleepNumber, unsigned long state) {
    sim::SetSleepHook([sleepNumber, state](unsigned) {
      if (sim::Sleeps().size() == sleepNumber) sim::SetServiceState(state);
    });
  }
};

// ---- IsServiceRunning ----

TEST_F(ServiceBootstrapTest, IsServiceRunningTrueForRunningServiceAndTellsNothing) {
  sim::SetServiceState(platform::kServiceRunning);
  EXPECT_TRUE(IsServiceRunning());
  EXPECT_EQ(Calls(), kLookRunning);
  EXPECT_TRUE(sim::DebugOutput().empty());
  EXPECT_EQ(Log(), "");
}

TEST_F(ServiceBootstrapTest, IsServiceRunningFalseForEveryOtherStateWithoutATrace) {
  for (const unsigned long state :
       {platform::kServiceStopped, platform::kServiceStartPending, platform::kServiceStopPending,
        platform::kServiceContinuePending, platform::kServicePausePending, platform::kServicePaused}) {
    SCOPED_TRACE(state);
    sim::ResetSimulation();
    EnsureLogDirectory();
    sim::SetServiceState(state);
    EXPECT_FALSE(IsServiceRunning());
    EXPECT_EQ(Calls(), kLookRunning);
    EXPECT_TRUE(sim::DebugOutput().empty());
    EXPECT_EQ(Log(), "");
  }
}

TEST_F(ServiceBootstrapTest, IsServiceRunningManagerFailureGoesToTheDebuggerOnly) {
  sim::FailOpenSCManager(kErrorAccessDenied);
  EXPECT_FALSE(IsServiceRunning());
  EXPECT_EQ(Calls(), Lines{"OpenSCManagerW 1"});
  EXPECT_EQ(sim::DebugOutput(), Lines{"[KelvoTarnel] Failed to open service control manager\n"});
  EXPECT_EQ(sim::GetFile(kLogPath), std::nullopt) << "this failure has no log line";
}

TEST_F(ServiceBootstrapTest, IsServiceRunningMissingServiceIsToldInEachChannelsOwnWords) {
  sim::SetServiceInstalled(false);
  EXPECT_FALSE(IsServiceRunning());
  EXPECT_EQ(sim::DebugOutput(), Lines{"[KelvoTarnel] Service does not exist\n"});
  EXPECT_EQ(Log(), LogOf({"Service does not exist"}));
  EXPECT_EQ(Calls(), (Lines{"OpenSCManagerW 1", "OpenServiceW KelvoTarnelService 4",
                            "CloseServiceHandle manager"}));
}

TEST_F(ServiceBootstrapTest, IsServiceRunningOtherOpenFailureCarriesTheCodeInBothLines) {
  sim::FailOpenService(4, kErrorServiceMarkedForDelete);
  EXPECT_FALSE(IsServiceRunning());
  EXPECT_EQ(sim::DebugOutput(), Lines{"[KelvoTarnel] Failed to open service. Error: 1072\n"});
  EXPECT_EQ(Log(), LogOf({"Failed to open service for query. Error: 1072"}));
}

TEST_F(ServiceBootstrapTest, IsServiceRunningDeniedQueryAccessTakesTheOtherFailureRow) {
  sim::FailOpenService(4, kErrorAccessDenied);
  EXPECT_FALSE(IsServiceRunning());
  EXPECT_EQ(sim::DebugOutput(), Lines{"[KelvoTarnel] Failed to open service. Error: 5\n"});
  EXPECT_EQ(Log(), LogOf({"Failed to open service for query. Error: 5"}));
}

TEST_F(ServiceBootstrapTest, IsServiceRunningQueryFailureLogsTheCodeButDebuggerDoesNot) {
  sim::SetServiceState(platform::kServiceRunning);
  sim::ScriptQueries({{std::nullopt, kErrorShutdownInProgress}});
  EXPECT_FALSE(IsServiceRunning());
  EXPECT_EQ(sim::DebugOutput(), Lines{"[KelvoTarnel] Failed to query service status\n"});
  EXPECT_EQ(Log(), LogOf({"Failed to query service status. Error: 1115"}));
  EXPECT_EQ(Calls(), kLookRunning);
}

// ---- EnsureServiceRunning: the listed edge cases ----

TEST_F(ServiceBootstrapTest, ServiceAlreadyRunningMakesOneQueryNoStartAttemptAndNoLogLine) {
  sim::SetServiceState(platform::kServiceRunning);
  EXPECT_TRUE(EnsureServiceRunning());
  EXPECT_EQ(sim::QueryCount(), 1);
  EXPECT_EQ(sim::StartCount(), 0);
  EXPECT_EQ(Calls(), kLookRunning);
  EXPECT_EQ(sim::DebugOutput(), Lines{kDebugAlreadyRunning});
  EXPECT_EQ(sim::GetFile(kLogPath), std::nullopt);
}

TEST_F(ServiceBootstrapTest, ServiceMissingLogsTwoLinesForOneCause) {
  sim::SetServiceInstalled(false);
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(Log(), LogOf({"Service does not exist",
                          "Service does not exist. Please install the service first."}));
  EXPECT_EQ(sim::DebugOutput(),
            (Lines{"[KelvoTarnel] Service does not exist\n", kDebugAttemptingStart,
                   "[KelvoTarnel] Service does not exist. Please install the service first.\n"}));
  EXPECT_EQ(Calls(), (Lines{"OpenSCManagerW 1", "OpenServiceW KelvoTarnelService 4",
                            "CloseServiceHandle manager", "OpenSCManagerW 1",
                            "OpenServiceW KelvoTarnelService 20", "CloseServiceHandle manager"}));
  EXPECT_EQ(sim::StartCount(), 0);
}

TEST_F(ServiceBootstrapTest, OrdinaryUserDeniedStartAccessTakesTheOtherOpenFailureBranch) {
  sim::FailOpenService(kStartAccess, kErrorAccessDenied);
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(sim::DebugOutput(),
            (Lines{kDebugAttemptingStart, "[KelvoTarnel] Failed to open service. Error: 5\n"}));
  EXPECT_EQ(Log(), LogOf({"Failed to open service for start. Error: 5"}))
      << "the access-denied wording belongs to a refused start, not to a refused open";
  EXPECT_EQ(sim::StartCount(), 0);
}

TEST_F(ServiceBootstrapTest, ServiceGoingFromStartPendingToStoppedReturnsFalseAtTheNextPoll) {
  ChangeStateAfterSleep(3, platform::kServiceStopped);
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(sim::Sleeps(), (std::vector<unsigned>{500, 500, 500}));
  EXPECT_EQ(sim::QueryCount(), 1 + 4) << "the look before the start, then four polls";
  EXPECT_EQ(sim::DebugOutput(),
            (Lines{kDebugAttemptingStart, kDebugStartSent, kDebugStoppedWhileStarting}));
  EXPECT_EQ(Log(), "");
}

TEST_F(ServiceBootstrapTest, ServiceStayingInStartPendingGivesUpAfterTwentyPolls) {
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(sim::ServiceState(), platform::kServiceStartPending);
  EXPECT_EQ(sim::Sleeps(), std::vector<unsigned>(20, 500));
  EXPECT_EQ(sim::SleptMilliseconds(), 10000u);
  EXPECT_EQ(sim::QueryCount(), 1 + 20);
  EXPECT_EQ(sim::DebugOutput(), (Lines{kDebugAttemptingStart, kDebugStartSent, kDebugTimeout}));
  EXPECT_EQ(Log(), "");
  const Lines calls = Calls();
  ASSERT_GE(calls.size(), 3u);
  EXPECT_EQ(Lines(calls.end() - 3, calls.end()),
            (Lines{"Sleep 500", "CloseServiceHandle service", "CloseServiceHandle manager"}))
      << "the time-out comes after the last sleep, with no query after it";
}

// ---- EnsureServiceRunning: the other branches ----

TEST_F(ServiceBootstrapTest, StartedServiceRunningAtTheFirstPollNeedsNoSleep) {
  sim::ScriptQueries({{platform::kServiceStopped}, {platform::kServiceRunning}});
  EXPECT_TRUE(EnsureServiceRunning());
  EXPECT_TRUE(sim::Sleeps().empty());
  EXPECT_EQ(sim::DebugOutput(), (Lines{kDebugAttemptingStart, kDebugStartSent, kDebugStarted}));
  EXPECT_EQ(Log(), "");
  Lines expected = kLookRunning;
  expected.insert(expected.end(), {"OpenSCManagerW 1", "OpenServiceW KelvoTarnelService 20",
                                   "StartServiceW", "QueryServiceStatusEx",
                                   "CloseServiceHandle service", "CloseServiceHandle manager"});
  EXPECT_EQ(Calls(), expected);
}

TEST_F(ServiceBootstrapTest, ServiceComingUpDuringTheWaitIsSeenAtTheNextPoll) {
  ChangeStateAfterSleep(2, platform::kServiceRunning);
  EXPECT_TRUE(EnsureServiceRunning());
  EXPECT_EQ(sim::Sleeps(), (std::vector<unsigned>{500, 500}));
  EXPECT_EQ(sim::QueryCount(), 1 + 3);
  EXPECT_EQ(sim::DebugOutput(), (Lines{kDebugAttemptingStart, kDebugStartSent, kDebugStarted}));
  EXPECT_EQ(Log(), "");
}

TEST_F(ServiceBootstrapTest, ServiceComingUpAtTheTwentiethPollStillCounts) {
  ChangeStateAfterSleep(19, platform::kServiceRunning);
  EXPECT_TRUE(EnsureServiceRunning());
  EXPECT_EQ(sim::SleptMilliseconds(), 9500u);
  EXPECT_EQ(sim::QueryCount(), 1 + 20);
  EXPECT_EQ(sim::DebugOutput().back(), kDebugStarted);
}

TEST_F(ServiceBootstrapTest, ServiceComingUpOnlyAfterTheLastSleepIsNotLookedAtAgain) {
  ChangeStateAfterSleep(20, platform::kServiceRunning);
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(sim::ServiceState(), platform::kServiceRunning);
  EXPECT_EQ(sim::QueryCount(), 1 + 20);
  EXPECT_EQ(sim::DebugOutput().back(), kDebugTimeout);
}

TEST_F(ServiceBootstrapTest, ServiceStoppedAtTheFirstPollFailsWithoutWaiting) {
  sim::ScriptQueries({{platform::kServiceStopped}, {platform::kServiceStopped}});
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_TRUE(sim::Sleeps().empty());
  EXPECT_EQ(sim::DebugOutput(),
            (Lines{kDebugAttemptingStart, kDebugStartSent, kDebugStoppedWhileStarting}));
  EXPECT_EQ(Log(), "");
}

TEST_F(ServiceBootstrapTest, QueryFailureDuringTheWaitReturnsFalseAndTellsNothingMore) {
  sim::ScriptQueries({{platform::kServiceStopped},
                      {platform::kServiceStartPending},
                      {std::nullopt, kErrorShutdownInProgress}});
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(sim::Sleeps(), std::vector<unsigned>{500});
  EXPECT_EQ(sim::QueryCount(), 1 + 2);
  EXPECT_EQ(sim::DebugOutput(), (Lines{kDebugAttemptingStart, kDebugStartSent}));
  EXPECT_EQ(Log(), "");
}

TEST_F(ServiceBootstrapTest, StartRefusedAsAlreadyRunningCountsAsRunning) {
  // Someone else starts the service between the look and the start.
  sim::SetServiceState(platform::kServiceRunning);
  sim::ScriptQueries({{platform::kServiceStopped}});
  EXPECT_TRUE(EnsureServiceRunning());
  EXPECT_EQ(sim::DebugOutput(), (Lines{kDebugAttemptingStart, kDebugAlreadyRunning}));
  EXPECT_EQ(Log(), LogOf({"Service is already running"}));
  EXPECT_EQ(sim::QueryCount(), 1) << "a refused start is not polled";
  const Lines journal = sim::Journal();
  ASSERT_GE(journal.size(), 4u);
  EXPECT_EQ(Lines(journal.end() - 4, journal.end()),
            (Lines{"StartServiceW", "CloseServiceHandle service", "CloseServiceHandle manager",
                   "append: " + kStamp + "Service is already running"}))
      << "both handles are closed before the outcome is told";
}

TEST_F(ServiceBootstrapTest, StartRefusedWithAccessDeniedAsksForAdministratorPrivileges) {
  sim::FailStartService(kErrorAccessDenied);
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(sim::DebugOutput(),
            (Lines{kDebugAttemptingStart,
                   "[KelvoTarnel] Access denied. Administrator privileges may be required to "
                   "start the service.\n"}));
  EXPECT_EQ(
      Log(),
      LogOf({"Access denied while starting service. Administrator privileges are required."}));
  EXPECT_EQ(sim::QueryCount(), 1);
  const Lines journal = sim::Journal();
  ASSERT_GE(journal.size(), 3u);
  EXPECT_EQ(Lines(journal.end() - 3, journal.end() - 1),
            (Lines{"CloseServiceHandle service", "CloseServiceHandle manager"}));
}

TEST_F(ServiceBootstrapTest, OtherStartFailureCarriesTheCodeInBothLines) {
  sim::FailStartService(kErrorServiceDisabled);
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(sim::DebugOutput(),
            (Lines{kDebugAttemptingStart, "[KelvoTarnel] Failed to start service. Error: 1058\n"}));
  EXPECT_EQ(Log(), LogOf({"Failed to start service. Error: 1058"}));
  EXPECT_EQ(sim::QueryCount(), 1);
}

TEST_F(ServiceBootstrapTest, ManagerUnavailableForTheStartCarriesTheCodeInBothLines) {
  sim::FailOpenSCManager(kErrorAccessDenied, 1);
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(sim::DebugOutput(),
            (Lines{kDebugAttemptingStart,
                   "[KelvoTarnel] Failed to open service control manager. Error: 5\n"}));
  EXPECT_EQ(Log(), LogOf({"Failed to open service control manager. Error: 5"}));
  EXPECT_EQ(sim::StartCount(), 0);
}

TEST_F(ServiceBootstrapTest, ManagerUnavailableThroughoutIsLoggedOnlyByTheStartAttempt) {
  sim::FailOpenSCManager(kErrorRpcServerUnavailable);
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(sim::DebugOutput(),
            (Lines{"[KelvoTarnel] Failed to open service control manager\n", kDebugAttemptingStart,
                   "[KelvoTarnel] Failed to open service control manager. Error: 1722\n"}));
  EXPECT_EQ(Log(), LogOf({"Failed to open service control manager. Error: 1722"}));
  EXPECT_EQ(Calls(), (Lines{"OpenSCManagerW 1", "OpenSCManagerW 1"}));
}

TEST_F(ServiceBootstrapTest, ServiceRemovedBetweenTheLookAndTheStartIsToldAsMissing) {
  sim::FailOpenService(kStartAccess, kErrorServiceDoesNotExist);
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(sim::DebugOutput(),
            (Lines{kDebugAttemptingStart,
                   "[KelvoTarnel] Service does not exist. Please install the service first.\n"}));
  EXPECT_EQ(Log(), LogOf({"Service does not exist. Please install the service first."}));
}

TEST_F(ServiceBootstrapTest, OtherOpenFailureForTheStartCarriesTheCodeInBothLines) {
  sim::FailOpenService(kStartAccess, kErrorServiceMarkedForDelete);
  EXPECT_FALSE(EnsureServiceRunning());
  EXPECT_EQ(sim::DebugOutput(),
            (Lines{kDebugAttemptingStart, "[KelvoTarnel] Failed to open service. Error: 1072\n"}));
  EXPECT_EQ(Log(), LogOf({"Failed to open service for start. Error: 1072"}));
}

TEST_F(ServiceBootstrapTest, FailedFirstLookStillLeadsToAStart) {
  sim::ScriptQueries({{std::nullopt, kErrorShutdownInProgress}});
  ChangeStateAfterSleep(1, platform::kServiceRunning);
  EXPECT_TRUE(EnsureServiceRunning());
  EXPECT_EQ(sim::StartCount(), 1);
  EXPECT_EQ(Log(), LogOf({"Failed to query service status. Error: 1115"}));
  EXPECT_EQ(sim::DebugOutput(), (Lines{"[KelvoTarnel] Failed to query service status\n",
                                       kDebugAttemptingStart, kDebugStartSent, kDebugStarted}));
}

TEST_F(ServiceBootstrapTest, StartOpensWithConnectThenStartAndQueryAccess) {
  ChangeStateAfterSleep(1, platform::kServiceRunning);
  EXPECT_TRUE(EnsureServiceRunning());
  const Lines calls = Calls();
  EXPECT_EQ(CountOf(calls, "OpenSCManagerW 1"), 2);
  EXPECT_EQ(CountOf(calls, "OpenServiceW KelvoTarnelService 4"), 1);
  EXPECT_EQ(CountOf(calls, "OpenServiceW KelvoTarnelService 20"), 1);
  EXPECT_EQ(CountOf(calls, "StartServiceW"), 1);
  EXPECT_EQ(CountOf(calls, "CloseServiceHandle service"), 2);
  EXPECT_EQ(CountOf(calls, "CloseServiceHandle manager"), 2);
}

}  // namespace
