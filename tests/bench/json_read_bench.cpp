// The field reader's cost on a lock file with its key near the end, next to memchr over the
// same bytes: the floor of any scan, measured in the same run so that the ratio carries over
// from one machine to another where an absolute time wouldn't.
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "ratio_report.h"

#include "lock/password_store.h"

namespace {

constexpr size_t kTextUnits = 4096;
constexpr char16_t kKey[] = u"passwordHash";

// Many small quoted fields first, so that the key search meets a quote every few characters,
// and the wanted field last.
const std::u16string& LockText() {
  static const std::u16string text = [] {
    const std::u16string tail =
        u"\"passwordHash\":\"2bb80d537b1da3e38bd30361aa855686bde0eacd7162fef6a25fe97bf527a25b\"}";
    std::u16string body = u"{";
    for (int i = 0; body.size() + tail.size() < kTextUnits; ++i) {
      const std::string field = "\"field" + std::to_string(i) + "\":\"value-abcdefgh\",";
      body.append(field.begin(), field.end());
    }
    body.resize(kTextUnits - tail.size(), u' ');
    return body + tail;
  }();
  return text;
}

void BM_ReadJsonString(benchmark::State& state) {
  const std::u16string& text = LockText();
  for (auto _ : state) {
    std::u16string value = ReadJsonString(text, kKey);
    benchmark::DoNotOptimize(value);
  }
  state.SetBytesProcessed(state.iterations() *
                          static_cast<int64_t>(text.size() * sizeof(char16_t)));
}
BENCHMARK(BM_ReadJsonString);

void BM_MemchrBaseline(benchmark::State& state) {
  const std::u16string& text = LockText();
  const size_t bytes = text.size() * sizeof(char16_t);
  // 0x01 occurs nowhere in the text, so every byte is looked at.
  for (auto _ : state) {
    const void* data = text.data();
    benchmark::DoNotOptimize(data);
    const void* found = std::memchr(data, 0x01, bytes);
    benchmark::DoNotOptimize(found);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}
BENCHMARK(BM_MemchrBaseline);

}  // namespace

int main(int argc, char** argv) {
  return bench::RunWithRatios(argc, argv, "BM_MemchrBaseline", "memchr", {"BM_ReadJsonString"},
                              LockText().size() * sizeof(char16_t));
}
