// What an engine of the stand-in shares between the platform thread, the thread that talks to
// the driver, and whatever thread the executable sends or answers from.
#pragma once

#include <windows.h>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "frames/frames.h"
#include "engine_abi/flutter_messenger.h"

namespace standin {

class Core : public std::enable_shared_from_this<Core> {
 public:
  // Creates the delivery window on the calling thread, which becomes the platform thread.
  // `listening`: whether a driver can ever connect; without one, nothing is kept for it.
  static std::shared_ptr<Core> Create(bool listening);
  ~Core();
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;

  // The port could not be had after all: keep nothing for a driver that can never come.
  void StopKeepingFrames();

  // The messenger handed to receive functions; set once, right after creation.
  void SetMessenger(FlutterDesktopMessengerRef messenger) { messenger_ = messenger; }

  // ---- Towards the driver (any thread) ----
  void Emit(frames::Frame frame);
  void EmitEvent(std::string name, std::string text);

  // ---- The messenger's operations ----
  bool IsAvailable();
  void SetCallback(const char* channel, FlutterDesktopMessageCallback callback, void* userData);
  bool Send(const char* channel, const uint8_t* data, size_t size);
  bool SendWithReply(const char* channel, const uint8_t* data, size_t size,
                     FlutterDesktopBinaryReply reply, void* userData);
  void SendResponse(const FlutterDesktopMessageResponseHandle* handle, const uint8_t* data,
                    size_t size);

  // ---- For the thread that talks to the driver ----
  // A frame from the driver, run later on the platform thread. Dropped once the engine is gone.
  void Deliver(frames::Frame frame);
  // Frames leave in the order they were emitted. A frame that could not be sent whole goes back
  // to the front, so the next driver gets it complete.
  std::optional<frames::Bytes> TakeOutgoing();
  void ReturnOutgoing(frames::Bytes frame);
  bool HasOutgoing();
  // Signalled whenever a frame is queued.
  HANDLE outgoingEvent() const { return outgoingEvent_; }

  // The engine is being destroyed (platform thread): nothing is delivered or accepted any more,
  // and `engine-destroyed` becomes the last frame of the queue.
  void Shutdown();

 private:
  explicit Core(bool listening);

  struct ReceiveFunction {
    FlutterDesktopMessageCallback callback = nullptr;
    void* userData = nullptr;
  };
  struct PendingReply {
    FlutterDesktopBinaryReply reply = nullptr;
    void* userData = nullptr;
  };

  static LRESULT CALLBACK DeliveryWindowProc(HWND window, UINT message, WPARAM wparam,
                                             LPARAM lparam);
  void EmitLocked(frames::Frame frame);
  void QueueDeliveryLocked(frames::Frame frame);
  void RunNextDelivery();
  void RunMessage(const frames::Message& message);
  void RunNativeReply(const frames::NativeReply& reply);
  void RunWindowMessage(const frames::WindowMessage& message);
  void RunCall(const frames::Call& call);

  FlutterDesktopMessengerRef messenger_ = nullptr;
  HWND deliveryWindow_ = nullptr;
  HANDLE outgoingEvent_ = nullptr;

  std::mutex mutex_;  // guards everything below
  bool available_ = true;
  bool listening_;
  std::deque<frames::Bytes> outgoing_;
  std::deque<frames::Frame> deliveries_;
  size_t postedDeliveries_ = 0;
  std::map<std::string, ReceiveFunction> receivers_;
  std::map<uint32_t, PendingReply> pendingReplies_;
  uint32_t lastReplyId_ = 0;
  // Response handles are never-reused tokens, so a stale or repeated handle finds nothing.
  std::map<uintptr_t, uint32_t> openResponses_;
  uintptr_t lastResponseToken_ = 0;
};

}  // namespace standin
