// The frames that carry messages between the engine stand-in and a test driver over TCP.
// Plain C++ on purpose: the stand-in (Windows) and the driver (Linux) share this one codec, so
// both ends agree on every byte.
//
// On the wire: u32 length of what follows, u8 kind, the kind's fields; integers little-endian;
// a name is u16 length + UTF-8 bytes; a payload runs to the end of the frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

namespace frames {

using Bytes = std::vector<uint8_t>;

enum class Kind : uint8_t {
  kMessage = 1,        // driver -> app: a message from Dart on a channel
  kResponse = 2,       // app -> driver: the answer to a kind-1 message
  kNativeMessage = 3,  // app -> driver: a message from native to Dart
  kNativeReply = 4,    // driver -> app: the answer to a kind-3 message
  kEvent = 5,          // app -> driver: a stand-in event
  kWindowMessage = 6,  // driver -> app: a window message for the runner window
  kWindowResult = 7,   // app -> driver: its result
  kCall = 8,           // driver -> app: call an export of the running executable
  kCallResult = 9,     // app -> driver: its result
};

struct Message {
  uint32_t id = 0;
  std::string channel;
  Bytes payload;
  bool operator==(const Message&) const = default;
};

// An empty payload is the not-implemented answer.
struct Response {
  uint32_t id = 0;
  Bytes payload;
  bool operator==(const Response&) const = default;
};

// Id 0: no reply wanted.
struct NativeMessage {
  uint32_t id = 0;
  std::string channel;
  Bytes payload;
  bool operator==(const NativeMessage&) const = default;
};

struct NativeReply {
  uint32_t id = 0;
  Bytes payload;
  bool operator==(const NativeReply&) const = default;
};

struct Event {
  std::string name;
  std::string text;
  bool operator==(const Event&) const = default;
};

// A non-empty payload replaces lParam by a pointer to a copy of it.
struct WindowMessage {
  uint32_t id = 0;
  uint32_t message = 0;
  uint64_t wparam = 0;
  uint64_t lparam = 0;
  Bytes payload;
  bool operator==(const WindowMessage&) const = default;
};

struct WindowResult {
  uint32_t id = 0;
  int64_t result = 0;
  bool operator==(const WindowResult&) const = default;
};

enum class ArgumentTag : uint8_t { kInt64 = 1, kBuffer = 2, kString = 3 };

// Every argument reaches the export as one 64-bit integer: the value itself, or a pointer to a
// copy of the buffer, or a pointer to a zero-terminated copy of the text.
struct CallArgument {
  ArgumentTag tag = ArgumentTag::kInt64;
  int64_t value = 0;    // kInt64
  Bytes buffer;         // kBuffer
  std::u16string text;  // kString, UTF-16LE on the wire

  static CallArgument Int(int64_t value);
  static CallArgument Buffer(Bytes bytes);
  static CallArgument String(std::u16string text);
  bool operator==(const CallArgument&) const = default;
};

struct Call {
  uint32_t id = 0;
  std::string exportName;
  std::vector<CallArgument> arguments;  // at most kMaxArguments
  bool operator==(const Call&) const = default;
};

// found == false is the frame of just the id: no such export. buffers: the buffer arguments
// after the call, in argument order.
struct CallResult {
  uint32_t id = 0;
  bool found = true;
  int64_t result = 0;
  std::vector<Bytes> buffers;
  bool operator==(const CallResult&) const = default;
};

// The alternatives are in kind order: index + 1 is the kind.
using Frame = std::variant<Message, Response, NativeMessage, NativeReply, Event, WindowMessage,
                           WindowResult, Call, CallResult>;

inline constexpr size_t kLengthSize = 4;
inline constexpr size_t kMaxArguments = 4;
inline constexpr size_t kMaxNameLength = 0xFFFF;
// A bound on what follows the length, so that a corrupt length is refused at once instead of
// making the reader wait for (and buffer) gigabytes that will never come.
inline constexpr uint32_t kMaxFrameLength = 64u * 1024 * 1024;

Kind KindOf(const Frame& frame);

// True for the kinds a driver sends (1, 4, 6, 8); the others travel from the app.
bool IsDriverKind(Kind kind);

enum class DecodeError {
  kNone,
  kBadLength,  // zero, or above kMaxFrameLength
  kUnknownKind,
  kTruncated,         // a field runs past the end of the frame
  kTrailingBytes,     // bytes left after the last field of a fixed-size kind
  kTooManyArguments,  // a call with more than kMaxArguments
  kUnknownArgumentTag,
  kOddStringLength,  // UTF-16 text of an odd number of bytes
};

const char* DescribeError(DecodeError error);

// The whole frame, length prefix included. Nothing when the frame cannot be represented: a name
// longer than kMaxNameLength, more than kMaxArguments arguments, or a frame above
// kMaxFrameLength.
std::optional<Bytes> Encode(const Frame& frame);

// One frame body: the kind byte and its fields, without the length prefix.
std::optional<Frame> DecodeBody(std::span<const uint8_t> body, DecodeError* error = nullptr);

// Splits a byte stream into frames, however the bytes were cut into reads.
class FrameReader {
 public:
  enum class Status { kFrame, kNeedMore, kMalformed };

  void Append(std::span<const uint8_t> bytes);

  // kMalformed is final: once the stream is out of step it cannot be trusted again.
  Status Next(Frame& frame);

  DecodeError error() const { return error_; }
  size_t buffered() const { return buffer_.size() - start_; }

 private:
  Bytes buffer_;
  size_t start_ = 0;
  DecodeError error_ = DecodeError::kNone;
};

// A short text for failure messages, e.g. "kind 5 event handler-set".
std::string Describe(const Frame& frame);

}  // namespace frames
