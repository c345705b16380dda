// Fakes of the modules the launch driver starts; each call lands in sim::Journal().
#pragma once

#include <optional>

namespace fake {

struct Stages {
  int verifyResult = 0;
  int lockResult = 0;
  std::optional<int> activationResult;  // nullopt: go on without a mutex
  bool serviceRuns = true;
  bool windowCreates = true;
  unsigned long windowCreateError = 1400;
};

Stages& stages();
void ResetStages();

}  // namespace fake
