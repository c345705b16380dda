// The service bootstrap with its real adapters against a real service control manager. The
// caller puts KelvoTarnelService into one situation and names it: running, stopped or missing.
// Exit code 0 when everything held, 1 with the reasons on standard error otherwise, 2 for a
// wrong command line.
#include <windows.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "app/app_log.h"
#include "app/files.h"
#include "base/text.h"
#include "service/service_bootstrap.h"

namespace {

using Lines = std::vector<std::string>;

// Debugger lines reach no debugger here; they are caught as the exceptions that carry them to
// one, and passed on unhandled so that the call behaves as it does without this program.
Lines debugLines;
std::string lastWideLine;

LONG CALLBACK CatchDebugString(EXCEPTION_POINTERS* pointers) {
  const EXCEPTION_RECORD* record = pointers->ExceptionRecord;
  if (record->ExceptionCode == DBG_PRINTEXCEPTION_WIDE_C && record->NumberParameters >= 2) {
    const auto* text = reinterpret_cast<const char16_t*>(record->ExceptionInformation[1]);
    const auto length = static_cast<std::size_t>(record->ExceptionInformation[0]);
    lastWideLine = WideToUtf8(std::u16string_view(text, length > 0 ? length - 1 : 0));
    debugLines.push_back(lastWideLine);
  } else if (record->ExceptionCode == DBG_PRINTEXCEPTION_C && record->NumberParameters >= 2) {
    const auto* text = reinterpret_cast<const char*>(record->ExceptionInformation[1]);
    const auto length = static_cast<std::size_t>(record->ExceptionInformation[0]);
    std::string line(text, length > 0 ? length - 1 : 0);
    // Where the wide exception goes unanswered, the same line follows as a narrow one.
    if (!lastWideLine.empty() && line == lastWideLine) {
      lastWideLine.clear();
    } else {
      lastWideLine.clear();
      debugLines.push_back(std::move(line));
    }
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

int failures = 0;

void Check(bool condition, const std::string& what) {
  if (condition) return;
  ++failures;
  std::fprintf(stderr, "FAILED: %s\n", what.c_str());
}

std::string Show(const Lines& lines) {
  std::string text = "{";
  for (const std::string& line : lines) {
    std::string escaped;
    for (const char c : line) escaped += c == '\n' ? std::string("\\n") : std::string(1, c);
    text += (text.size() > 1 ? ", \"" : "\"") + escaped + "\"";
  }
  return text + "}";
}

void ExpectLines(const Lines& actual, const Lines& expected, const std::string& what) {
  Check(actual == expected, what + ": expected " + Show(expected) + ", got " + Show(actual));
}

// The messages of the log lines written since `before`, each checked for its time stamp
// "[y-m-d h:m:s] " and its CR LF ending.
Lines NewLogMessages(const std::u16string& path, const std::string& before) {
  const std::string now = ReadFileShared(path).value_or("");
  Check(now.compare(0, before.size(), before) == 0, "the log kept what it held before");
  Lines messages;
  std::size_t start = before.size();
  while (start < now.size()) {
    const std::size_t end = now.find("\r\n", start);
    if (end == std::string::npos) {
      Check(false, "a log line without CR LF: " + now.substr(start));
      break;
    }
    const std::string line = now.substr(start, end - start);
    start = end + 2;
    const std::size_t close = line.find("] ");
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    char tail = 0;
    const bool stamped = !line.empty() && line[0] == '[' && close != std::string::npos &&
                         std::sscanf(line.substr(0, close + 1).c_str(), "[%d-%d-%d %d:%d:%d%c", &y,
                                     &mo, &d, &h, &mi, &s, &tail) == 7 &&
                         tail == ']';
    Check(stamped, "a log line without its time stamp: " + line);
    messages.push_back(stamped ? line.substr(close + 2) : line);
  }
  return messages;
}

const std::string kAlreadyRunning = "[KelvoTarnel] Service is already running\n";
const std::string kAttemptingStart =
    "[KelvoTarnel] Service is not running, attempting to start...\n";
const std::string kStartSent =
    "[KelvoTarnel] Service start command sent, waiting for service to start...\n";
const std::string kStarted = "[KelvoTarnel] Service started successfully\n";
const std::string kMissingForQuery = "[KelvoTarnel] Service does not exist\n";
const std::string kMissingForStart =
    "[KelvoTarnel] Service does not exist. Please install the service first.\n";

void RunningServiceIsFoundAndNotStarted(const std::u16string& log, const std::string& before) {
  Check(IsServiceRunning(), "IsServiceRunning is true for the running service");
  ExpectLines(debugLines, {}, "debugger after IsServiceRunning");
  debugLines.clear();
  Check(EnsureServiceRunning(), "EnsureServiceRunning is true for the running service");
  ExpectLines(debugLines, {kAlreadyRunning}, "debugger after EnsureServiceRunning (no start)");
  ExpectLines(NewLogMessages(log, before), {}, "log lines");
}

void StoppedServiceIsStarted(const std::u16string& log, const std::string& before) {
  Check(!IsServiceRunning(), "IsServiceRunning is false for the stopped service");
  ExpectLines(debugLines, {}, "debugger after IsServiceRunning");
  debugLines.clear();
  Check(EnsureServiceRunning(), "EnsureServiceRunning starts the stopped service");
  ExpectLines(debugLines, {kAttemptingStart, kStartSent, kStarted},
              "debugger after EnsureServiceRunning");
  Check(IsServiceRunning(), "IsServiceRunning is true once the service was started");
  ExpectLines(NewLogMessages(log, before), {}, "log lines");
}

void MissingServiceIsReported(const std::u16string& log, const std::string& before) {
  Check(!IsServiceRunning(), "IsServiceRunning is false for the missing service");
  ExpectLines(debugLines, {kMissingForQuery}, "debugger after IsServiceRunning");
  debugLines.clear();
  Check(!EnsureServiceRunning(), "EnsureServiceRunning is false for the missing service");
  ExpectLines(debugLines, {kMissingForQuery, kAttemptingStart, kMissingForStart},
              "debugger after EnsureServiceRunning");
  ExpectLines(NewLogMessages(log, before),
              {"Service does not exist", "Service does not exist",
               "Service does not exist. Please install the service first."},
              "log lines");
}

}  // namespace

int main(int argc, char** argv) {
  const std::string situation = argc == 2 ? argv[1] : "";
  if (situation != "running" && situation != "stopped" && situation != "missing") {
    std::fprintf(stderr, "usage: service_adapter_test running|stopped|missing\n");
    return 2;
  }
  if (!::AddVectoredExceptionHandler(1, CatchDebugString)) {
    std::fprintf(stderr, "FAILED: no exception handler for the debugger lines\n");
    return 1;
  }
  EnsureLogDirectory();
  const std::u16string log = GetAppLogPath();
  const std::string before = ReadFileShared(log).value_or("");

  if (situation == "running") RunningServiceIsFoundAndNotStarted(log, before);
  if (situation == "stopped") StoppedServiceIsStarted(log, before);
  if (situation == "missing") MissingServiceIsReported(log, before);

  if (failures != 0) {
    std::fprintf(stderr, "%s: %d check(s) failed\n", situation.c_str(), failures);
    return 1;
  }
  std::printf("%s: passed\n", situation.c_str());
  return 0;
}
