// The TCP side of the stand-in: listens on 127.0.0.1, serves one driver connection at a time,
// sends the engine's queued frames in order and hands the driver's frames to the engine.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>

#include "standin_core.h"

namespace standin {

class DriverLink {
 public:
  // Nothing when the port cannot be bound; the engine then runs with no listener.
  static std::unique_ptr<DriverLink> Start(uint16_t port, std::shared_ptr<Core> core);

  // Gives a connected driver a bounded time to receive what is still queued (the last frame is
  // engine-destroyed), then closes everything and ends the thread.
  ~DriverLink();
  DriverLink(const DriverLink&) = delete;
  DriverLink& operator=(const DriverLink&) = delete;

 private:
  DriverLink(std::shared_ptr<Core> core, SOCKET listener);
  void Run();

  std::shared_ptr<Core> core_;
  SOCKET listener_ = INVALID_SOCKET;
  HANDLE stopEvent_ = nullptr;
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};

}  // namespace standin
