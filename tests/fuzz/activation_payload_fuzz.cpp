// Any bytes a local client writes to the activation pipe, through the real server loop on the
// simulated pipe: the server serves that client to its end, asks for the window exactly when
// the message fits the read and holds the request, and is ready for the next client.
#include <cstddef>
#include <cstdint>
#include <string>

#include "app/product.h"
#include "fuzz_check.h"
#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_user.h"
#include "single_instance/single_instance.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string payload(reinterpret_cast<const char*>(data), size);
  sim::ResetSimulation();
  sim::DesktopWindow main;
  main.pid = sim::kOwnProcessId;
  main.threadId = sim::kOwnThreadId;
  main.className = u"FLUTTER_RUNNER_WIN32_WINDOW";
  main.title = u"ZMS";
  mainWindowHandle = sim::AddDesktopWindow(main);
  activationPipeStopFlag.store(false);

  sim::QueueClient({.payload = payload});
  int closed = 0;
  int connects = 0;
  // After the one client, the loop must be back waiting on a fresh pipe: that wait ends it.
  sim::SetCallHook([&closed, &connects](const std::string& entry) {
    if (entry == "CloseHandle pipe") ++closed;
    if (entry == "ConnectNamedPipe" && ++connects == 2) {
      activationPipeStopFlag.store(true);
      sim::ReleaseBlockedConnect();
    }
  });
  ActivationPipeServerThread();
  sim::SetCallHook(nullptr);

  const bool asks = payload.find(product::kActivationRequest) != std::string::npos;
  KT_CHECK(IsShowRequest(payload) == asks);
  const bool fits = size <= 64;
  KT_CHECK(sim::PostedMessages().size() == ((fits && asks) ? 1u : 0u));
  KT_CHECK(connects == 2);
  KT_CHECK(closed == 2);
  KT_CHECK(sim::OpenPipeHandles() == 0);
  KT_CHECK(sim::InvalidHandleUses() == 0);
  return 0;
}
