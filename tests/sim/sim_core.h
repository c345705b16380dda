// What every part of the simulated platform shares: one journal of the calls that matter for
// order, and one reset that puts every part back as it was made. A test calls
// sim::ResetSimulation() first; each part of the simulation registers its own reset.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

void ResetSimulation();

// Every recorded call, in the order it happened, from whichever thread.
std::vector<std::string> Journal();
// The entries that start with `prefix`, in order.
std::vector<std::string> JournalEntries(std::string_view prefix);
// Records the entry, then runs the call hook (if any) with it on the calling thread, outside every
// lock of the simulation: a test changes the world at a chosen step.
void Record(std::string entry);
void SetCallHook(std::function<void(const std::string& entry)> hook);

// "0x" and the lower-case hexadecimal digits, as the journal writes flags and codes.
std::string Hex(std::uint64_t value);

// Registers a part's reset; ResetSimulation runs them in the order they were registered. Meant
// for a namespace-scope initialiser: `const bool registered = sim::OnReset(&ResetThisPart);`.
bool OnReset(std::function<void()> reset);

}  // namespace sim
