#include "sim_gdi.h"

#include <cstdint>
#include <mutex>
#include <set>

#include "platform/gdi.h"
#include "sim_core.h"
#include "sim_user.h"

namespace sim {
namespace {

struct Gdi {
  std::mutex lock;
  int dpi = 96;
  std::uintptr_t nextDc = 0x6d0;
  std::set<std::uintptr_t> openDcs;
};

Gdi& G() {
  static Gdi gdi;
  return gdi;
}

void Reset() {
  const std::lock_guard guard(G().lock);
  G().dpi = 96;
  G().openDcs.clear();
}

const bool registered = OnReset(&Reset);

}  // namespace

void SetScreenDpi(int dpi) {
  const std::lock_guard guard(G().lock);
  G().dpi = dpi;
}

int OpenDcCount() {
  const std::lock_guard guard(G().lock);
  return static_cast<int>(G().openDcs.size());
}

}  // namespace sim

namespace platform {

DcHandle GetDC(WindowHandle window) {
  sim::Record("GetDC " + sim::Label(window));
  const std::lock_guard guard(sim::G().lock);
  const std::uintptr_t dc = sim::G().nextDc += 8;
  sim::G().openDcs.insert(dc);
  return reinterpret_cast<DcHandle>(dc);
}

int ReleaseDC(WindowHandle /*window*/, DcHandle dc) {
  const std::lock_guard guard(sim::G().lock);
  return sim::G().openDcs.erase(reinterpret_cast<std::uintptr_t>(dc)) == 1 ? 1 : 0;
}

int GetDeviceCaps(DcHandle dc, int index) {
  const std::lock_guard guard(sim::G().lock);
  if (!sim::G().openDcs.contains(reinterpret_cast<std::uintptr_t>(dc))) return 0;
  return index == kLogPixelsX ? sim::G().dpi : 0;
}

}  // namespace platform
