#include "sim_core.h"

#include <mutex>

namespace sim {

namespace {

struct Core {
  std::mutex lock;
  std::vector<std::string> journal;
  std::vector<std::function<void()>> resets;
  std::function<void(const std::string&)> hook;
};

Core& C() {
  static Core core;
  return core;
}

}  // namespace

void ResetSimulation() {
  std::vector<std::function<void()>> resets;
  {
    const std::lock_guard guard(C().lock);
    C().journal.clear();
    C().hook = nullptr;
    resets = C().resets;
  }
  for (const auto& reset : resets) reset();
}

std::vector<std::string> Journal() {
  const std::lock_guard guard(C().lock);
  return C().journal;
}

std::vector<std::string> JournalEntries(std::string_view prefix) {
  const std::lock_guard guard(C().lock);
  std::vector<std::string> entries;
  for (const std::string& entry : C().journal) {
    if (entry.starts_with(prefix)) entries.push_back(entry);
  }
  return entries;
}

void Record(std::string entry) {
  std::function<void(const std::string&)> hook;
  {
    const std::lock_guard guard(C().lock);
    C().journal.push_back(entry);
    hook = C().hook;
  }
  if (hook) hook(entry);
}

void SetCallHook(std::function<void(const std::string& entry)> hook) {
  const std::lock_guard guard(C().lock);
  C().hook = std::move(hook);
}

std::string Hex(std::uint64_t value) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  do {
    text.insert(text.begin(), kDigits[value % 16]);
    value /= 16;
  } while (value != 0);
  return "0x" + text;
}

bool OnReset(std::function<void()> reset) {
  const std::lock_guard guard(C().lock);
  C().resets.push_back(std::move(reset));
  return true;
}

}  // namespace sim
