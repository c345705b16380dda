// The blocker's two hot paths on the platform thread: the rule scan for one window, and the
// snapshot the Dart side polls, each reported as a ratio to a plain baseline of the same run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "blocker/window_block_rule.h"
#include "blocker/window_blocker.h"
#include "blocker/window_blocker_channel.h"
#include "channels/standard_codec.h"
#include "base/text.h"
#include "ratio_report.h"
#include "sim_user.h"
#include "sim_core.h"
#include "sim_kernel.h"

namespace {

constexpr int kRuleCount = 500;

std::vector<blocker::WindowBlockRule> ScanRules() {
  std::vector<blocker::WindowBlockRule> rules;
  for (int i = 0; i < kRuleCount; ++i) {
    blocker::WindowBlockRule rule;
    rule.id = "r" + std::to_string(i);
    // Same length as the window's name so that no comparison stops at the size.
    rule.processName = u"adpop" + Utf8ToWide(std::to_string(10000 + i));
    rule.action = "hide";
    rules.push_back(std::move(rule));
  }
  return rules;
}

blocker::WindowFacts ScanFacts() {
  blocker::WindowFacts facts;
  facts.processName = u"adpop99999";
  facts.exePath = u"C:\\Apps\\adpop99999.exe";
  facts.title = u"Pop-up";
  facts.className = u"AdPopupWindow";
  facts.width = 400;
  facts.height = 300;
  return facts;
}

void BM_FindRuleForWindow500(benchmark::State& state) {
  const auto rules = ScanRules();
  const auto facts = ScanFacts();
  for (auto _ : state) {
    auto match = blocker::FindRuleForWindow(rules, facts, false);
    benchmark::DoNotOptimize(match);
  }
}
BENCHMARK(BM_FindRuleForWindow500);

// The same number of folded name comparisons, nothing else.
void BM_CompareNames500(benchmark::State& state) {
  const auto rules = ScanRules();
  const auto facts = ScanFacts();
  for (auto _ : state) {
    int equal = 0;
    for (const auto& rule : rules) equal += EqualsFolded(rule.processName, facts.processName);
    benchmark::DoNotOptimize(equal);
  }
}
BENCHMARK(BM_CompareNames500);

std::size_t gSnapshotBytes = 0;

// 200 logs, 80 candidates recorded through the engine's own evaluation, 100 rules.
void FillEngine() {
  blocker::WindowBlocker& engine = blocker::WindowBlocker::Instance();
  engine.ResetForTests();
  sim::ResetSimulation();
  sim::SetSystemTimeMs(1'700'000'000'000);
  sim::AddProcess(1300, {u"D:\\Tools\\notes.exe"});
  std::vector<blocker::WindowBlockRule> rules;
  for (int i = 0; i < 100; ++i) {
    blocker::WindowBlockRule rule;
    rule.id = "rule-" + std::to_string(i);
    rule.processName = u"nomatch" + Utf8ToWide(std::to_string(i));
    rule.titleKeyword = u"keyword";
    rule.action = "close";
    rules.push_back(std::move(rule));
  }
  engine.ReplaceRules(rules);
  engine.SetEnabled(true);
  const std::int64_t now = blocker::CurrentTimeMs();
  for (int i = 0; i < 80; ++i) {
    sim::DesktopWindow window;
    window.pid = 1300;
    window.className = u"NotesWindow";
    window.title = u"Notes window " + Utf8ToWide(std::to_string(i));
    window.frameBounds = Rect{100, 100, 500, 400};
    window.windowRect = Rect{100, 100, 500, 400};
    engine.EvaluateWindow(sim::AddDesktopWindow(window), now + i, true, false, false);
  }
  blocker::WindowFacts facts = ScanFacts();
  for (int i = 0; i < 200; ++i) {
    facts.title = u"Blocked pop-up " + Utf8ToWide(std::to_string(i));
    engine.AppendBlockLog(facts, "rule-" + std::to_string(i % 100), "close", now + i);
  }
}

std::vector<uint8_t> EncodedSnapshot() {
  const EncodableValue snapshot(blocker::GetSnapshot());
  return *StandardMethodCodec::GetInstance().EncodeSuccessEnvelope(&snapshot);
}

void BM_SnapshotBuildAndEncode(benchmark::State& state) {
  FillEngine();
  const EncodableMap check = blocker::GetSnapshot();
  if (std::get<EncodableList>(check.at(EncodableValue("blockedLogs"))).size() != 200 ||
      std::get<EncodableList>(check.at(EncodableValue("candidateWindows"))).size() != 80 ||
      std::get<EncodableList>(check.at(EncodableValue("rules"))).size() != 100) {
    state.SkipWithError("the engine did not take the intended contents");
    return;
  }
  for (auto _ : state) {
    auto bytes = EncodedSnapshot();
    benchmark::DoNotOptimize(bytes.data());
  }
  gSnapshotBytes = EncodedSnapshot().size();
}
BENCHMARK(BM_SnapshotBuildAndEncode);

void BM_MemcpySnapshotBytes(benchmark::State& state) {
  FillEngine();
  const std::vector<uint8_t> source = EncodedSnapshot();
  std::vector<uint8_t> target(source.size());
  for (auto _ : state) {
    std::memcpy(target.data(), source.data(), source.size());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_MemcpySnapshotBytes);

void PrintRatio(const std::map<std::string, double>& times, const char* measured,
                const char* baseline) {
  const auto m = times.find(measured);
  const auto b = times.find(baseline);
  if (m == times.end() || b == times.end() || b->second <= 0) return;
  std::printf("ratio = t(%s)/t(%s) = %.1f (%.0f ns / %.0f ns)\n", measured + 3, baseline + 3,
              m->second / b->second, m->second, b->second);
}

}  // namespace

// Two measured paths, each with its own baseline, so the shared one-baseline runner is not used;
// its reporter is.
int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  PrintRatio(reporter.Nanoseconds(), "BM_FindRuleForWindow500", "BM_CompareNames500");
  PrintRatio(reporter.Nanoseconds(), "BM_SnapshotBuildAndEncode", "BM_MemcpySnapshotBytes");
  std::printf("snapshot: %zu encoded bytes\n", gSnapshotBytes);
  blocker::WindowBlocker::Instance().ResetForTests();
  return 0;
}
