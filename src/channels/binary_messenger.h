// Raw bytes on named channels: what the method channels stand on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

// Receives the bytes of one reply; size 0 with no data is the not-implemented answer.
using BinaryReply = std::function<void(const uint8_t* reply, size_t replySize)>;

// Receives one message and the function that answers it.
using BinaryMessageHandler =
    std::function<void(const uint8_t* message, size_t messageSize, BinaryReply reply)>;

class BinaryMessenger {
 public:
  BinaryMessenger() = default;
  BinaryMessenger(const BinaryMessenger&) = delete;
  BinaryMessenger& operator=(const BinaryMessenger&) = delete;
  virtual ~BinaryMessenger() = default;

  // Without `reply` nothing comes back.
  virtual void Send(const std::string& channel, const uint8_t* message, size_t messageSize,
                    BinaryReply reply = nullptr) const = 0;

  // An empty handler removes the channel's handler.
  virtual void SetMessageHandler(const std::string& channel, BinaryMessageHandler handler) = 0;
};
