// BinaryMessenger over the embedder's C messenger.
#pragma once

#include <map>
#include <string>

#include "channels/binary_messenger.h"
#include "engine_abi/flutter_messenger.h"

class BinaryMessengerImpl : public BinaryMessenger {
 public:
  explicit BinaryMessengerImpl(FlutterDesktopMessengerRef messenger);
  ~BinaryMessengerImpl() override;

  void Send(const std::string& channel, const uint8_t* message, size_t messageSize,
            BinaryReply reply = nullptr) const override;
  void SetMessageHandler(const std::string& channel, BinaryMessageHandler handler) override;

 private:
  FlutterDesktopMessengerRef messenger_;
  // The embedder holds the address of each handler as its user data, so handlers live here, in
  // nodes that never move, for as long as they are registered. Set on the main thread only.
  std::map<std::string, BinaryMessageHandler> handlers_;
};
