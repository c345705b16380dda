// The standard codec on a message the size of the blocker's snapshot, next to memcpy of the
// same bytes: the floor of any pass over them, measured in the same run so that the ratios
// carry over from one machine to another where an absolute time wouldn't.
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "ratio_report.h"

#include "channels/standard_codec.h"

namespace {

EncodableValue Text(const std::string& text) { return EncodableValue(text); }

EncodableMap LogEntry(int i) {
  EncodableMap entry;
  const char* textKeys[] = {"ruleId",  "action",  "title",       "className",
                            "exePath", "process", "matchedText", "reason"};
  for (const char* key : textKeys) {
    entry[Text(key)] = Text(std::string(key) + " of entry " + std::to_string(i) +
                            " C:\\Program Files\\Vendor\\app.exe");
  }
  entry[Text("timeMs")] = EncodableValue(int64_t{1700000000000} + i);
  entry[Text("processId")] = EncodableValue(int32_t{4000 + i});
  entry[Text("windowHandle")] = EncodableValue(int64_t{0x10000 + i});
  entry[Text("left")] = EncodableValue(int32_t{10 * i});
  entry[Text("top")] = EncodableValue(int32_t{20 * i});
  entry[Text("width")] = EncodableValue(int32_t{800});
  entry[Text("height")] = EncodableValue(int32_t{600});
  return entry;
}

EncodableMap Window(int i) {
  return EncodableMap{
      {Text("hwnd"), EncodableValue(int64_t{0x20000 + i})},
      {Text("title"), Text("Hidden window " + std::to_string(i))},
      {Text("exePath"), Text("C:\\Windows\\System32\\notepad.exe")},
      {Text("processId"), EncodableValue(int32_t{5000 + i})},
      {Text("hiddenAtMs"), EncodableValue(int64_t{1700000000000} + i)},
      {Text("group"), Text("rule-" + std::to_string(i % 7))},
  };
}

EncodableMap Rule(int i) {
  return EncodableMap{
      {Text("id"), Text("rule-" + std::to_string(i))},
      {Text("action"), Text(i % 2 ? "close" : "hide")},
      {Text("titleContains"), Text("Advertisement " + std::to_string(i))},
      {Text("className"), Text("Chrome_WidgetWin_1")},
      {Text("exeName"), Text("browser.exe")},
      {Text("enabled"), EncodableValue(true)},
      {Text("minWidth"), EncodableValue(int32_t{100})},
      {Text("maxWidth"), EncodableValue(int32_t{900})},
  };
}

const EncodableValue& Snapshot() {
  static const EncodableValue snapshot = [] {
    EncodableList logs;
    for (int i = 0; i < 200; ++i) logs.emplace_back(LogEntry(i));
    EncodableList windows;
    for (int i = 0; i < 80; ++i) windows.emplace_back(Window(i));
    EncodableList rules;
    for (int i = 0; i < 100; ++i) rules.emplace_back(Rule(i));
    return EncodableValue(EncodableMap{
        {Text("ruleMode"), EncodableValue(true)},
        {Text("superBlockEndMs"), EncodableValue(int64_t{0})},
        {Text("logs"), EncodableValue(std::move(logs))},
        {Text("hiddenWindows"), EncodableValue(std::move(windows))},
        {Text("rules"), EncodableValue(std::move(rules))},
    });
  }();
  return snapshot;
}

const std::vector<uint8_t>& SnapshotBytes() {
  static const std::vector<uint8_t> bytes =
      *StandardMethodCodec::GetInstance().EncodeSuccessEnvelope(&Snapshot());
  return bytes;
}

void BM_EncodeSnapshot(benchmark::State& state) {
  const StandardMethodCodec& codec = StandardMethodCodec::GetInstance();
  for (auto _ : state) {
    auto bytes = codec.EncodeSuccessEnvelope(&Snapshot());
    benchmark::DoNotOptimize(bytes->data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(SnapshotBytes().size()));
}
BENCHMARK(BM_EncodeSnapshot);

void BM_DecodeSnapshot(benchmark::State& state) {
  const StandardMethodCodec& codec = StandardMethodCodec::GetInstance();
  const std::vector<uint8_t>& bytes = SnapshotBytes();
  size_t entries = 0;
  MethodResultFunctions result(
      [&entries](const EncodableValue* value) { entries += std::get<EncodableMap>(*value).size(); },
      nullptr, nullptr);
  for (auto _ : state) {
    const bool decoded =
        codec.DecodeAndProcessResponseEnvelope(bytes.data(), bytes.size(), &result);
    benchmark::DoNotOptimize(decoded);
  }
  benchmark::DoNotOptimize(entries);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}
BENCHMARK(BM_DecodeSnapshot);

void BM_MemcpyBaseline(benchmark::State& state) {
  const std::vector<uint8_t>& bytes = SnapshotBytes();
  std::vector<uint8_t> target(bytes.size());
  for (auto _ : state) {
    const void* source = bytes.data();
    benchmark::DoNotOptimize(source);
    std::memcpy(target.data(), source, bytes.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}
BENCHMARK(BM_MemcpyBaseline);

}  // namespace

int main(int argc, char** argv) {
  return bench::RunWithRatios(argc, argv, "BM_MemcpyBaseline", "memcpy",
                              {"BM_EncodeSnapshot", "BM_DecodeSnapshot"}, SnapshotBytes().size());
}
