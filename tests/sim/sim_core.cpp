#include "sim_core.h"

#include <mutex>

namespace sim {

namespace {

struct Core {
  std::mutex lock;
  std::vector<std::string> journal;
  std::vector<std::function<void()>> resets;
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
    resets = C().resets;
  }
  for (const auto& reset : resets) reset();
}

std::vector<std::string> Journal() {
  const std::lock_guard guard(C().lock);
  return C().journal;
}

void Record(std::string entry) {
  const std::lock_guard guard(C().lock);
  C().journal.push_back(std::move(entry));
}

bool OnReset(std::function<void()> reset) {
  const std::lock_guard guard(C().lock);
  C().resets.push_back(std::move(reset));
  return true;
}

}  // namespace sim
