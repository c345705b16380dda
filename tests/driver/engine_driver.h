// The test side of the engine stand-in: plays Dart over one TCP connection. Payloads are plain
// bytes here; encoding method calls is left to whoever builds on this.
//
// Every wait has a time-out and every failure (time-out, closed connection, a malformed frame
// from the app) throws DriverError with a text that says what was awaited and what arrived, so a
// test fails loudly instead of hanging or passing on nothing.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "frames/frames.h"

namespace driver {

using Bytes = frames::Bytes;
using Timeout = std::chrono::milliseconds;

class DriverError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

Bytes ToBytes(const std::string& text);
std::string ToString(const Bytes& bytes);

class EngineDriver {
 public:
  // Connects to 127.0.0.1:port, retrying while the app is still starting, until the time-out.
  static std::unique_ptr<EngineDriver> Connect(uint16_t port, Timeout timeout);

  ~EngineDriver();
  EngineDriver(const EngineDriver&) = delete;
  EngineDriver& operator=(const EngineDriver&) = delete;

  void Close();

  // Ids are unique across all drivers of this process, so that an answer meant for an earlier
  // connection can never be taken for one of this connection.
  static uint32_t NextId();

  // --- Raw frames ---
  void SendFrame(const frames::Frame& frame);
  void SendBytes(const Bytes& bytes);
  // The oldest frame not yet taken by a wait, in arrival order.
  frames::Frame NextFrame(Timeout timeout);
  const std::deque<frames::Frame>& pending() const { return pending_; }

  // --- Dart to native (kinds 1 and 2) ---
  uint32_t PostMessage(const std::string& channel, const Bytes& payload);
  Bytes WaitForResponse(uint32_t id, Timeout timeout);
  Bytes SendMessage(const std::string& channel, const Bytes& payload, Timeout timeout);

  // --- Native to Dart (kinds 3 and 4) ---
  // The answer of a handler goes back as the kind-4 reply when the message wants one; nothing
  // means the handler answers later with Reply. Messages on a channel with a handler are taken
  // by the handler while the driver reads, and never become pending.
  using NativeHandler = std::function<std::optional<Bytes>(const frames::NativeMessage&)>;
  void SetNativeHandler(const std::string& channel, NativeHandler handler);
  frames::NativeMessage WaitForNativeMessage(const std::string& channel, Timeout timeout);
  void Reply(uint32_t id, const Bytes& payload);

  // --- Events (kind 5) ---
  // The text of the first event of that name.
  std::string WaitForEvent(const std::string& name, Timeout timeout);
  void WaitForHandlerSet(const std::string& channel, Timeout timeout);

  // --- The runner window and exports (kinds 6 to 9) ---
  int64_t SendWindowMessage(uint32_t message, uint64_t wparam, uint64_t lparam,
                            const Bytes& payload, Timeout timeout);
  frames::CallResult CallExport(const std::string& name, std::vector<frames::CallArgument> args,
                                Timeout timeout);

  // Reads until the app closes the connection; what arrives meanwhile stays pending.
  void WaitForClose(Timeout timeout);
  bool closedByApp() const { return closedByApp_; }

 private:
  explicit EngineDriver(int socket);

  using Match = std::function<bool(const frames::Frame&)>;
  frames::Frame WaitFor(const Match& match, const std::string& what, Timeout timeout);
  // One read, bounded by the deadline; false when the deadline passed first.
  bool ReadSome(std::chrono::steady_clock::time_point deadline, const std::string& what);
  void Accept(frames::Frame frame);
  std::string PendingSummary() const;

  int socket_ = -1;
  bool closedByApp_ = false;
  frames::FrameReader reader_;
  std::deque<frames::Frame> pending_;
  std::map<std::string, NativeHandler> handlers_;
};

}  // namespace driver
