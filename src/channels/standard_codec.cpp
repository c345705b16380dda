#include "channels/standard_codec.h"

#include <bit>
#include <map>
#include <mutex>
#include <type_traits>
#include <utility>

#include "channels/error_output.h"

// Typed lists are copied between the wire and the vectors as they lie: both are little-endian.
static_assert(std::endian::native == std::endian::little);

namespace {

enum EncodedType : uint8_t {
  kNull = 0,
  kTrue = 1,
  kFalse = 2,
  kInt32 = 3,
  kInt64 = 4,
  kFloat64 = 6,
  kString = 7,
  kUInt8List = 8,
  kInt32List = 9,
  kInt64List = 10,
  kFloat64List = 11,
  kList = 12,
  kMap = 13,
  kFloat32List = 14,
};

constexpr uint8_t kSuccessEnvelope = 0;
constexpr uint8_t kErrorEnvelope = 1;

// What one decoding may still take. A sender can claim any size and any nesting for the price
// of a few bytes; honouring the claim would let a short message allocate without limit, or
// recurse until the stack runs out, or expand into a flood of nulls read past the end. So every
// element that a list or map announces is promised one byte of the buffer (its type byte), a
// new announcement must fit in the bytes that are neither read nor promised, and nesting stops
// at kMaxDecodeDepth. Breaking any of these makes the whole message undecodable. A well-formed
// message never does, and the decoding stays linear in the message's size.
//
// The bookkeeping is per thread and per stream, so that the serializer's virtual interface stays
// as published and an extension's ReadValueOfType, recursing through ReadValue, is still
// bounded.
class DecodeBounds {
 public:
  explicit DecodeBounds(const ByteStreamReader* stream)
      : stream_(stream),
        // Only a buffer knows how much is left; another stream gets the depth bound alone.
        buffer_(dynamic_cast<const ByteBufferStreamReader*>(stream)),
        outer_(current_) {
    current_ = this;
  }
  DecodeBounds(const DecodeBounds&) = delete;
  DecodeBounds& operator=(const DecodeBounds&) = delete;
  ~DecodeBounds() { current_ = outer_; }

  static DecodeBounds* For(const ByteStreamReader* stream) {
    return current_ != nullptr && current_->stream_ == stream ? current_ : nullptr;
  }

  bool undecodable() const { return undecodable_; }

  // A run of bytes about to be read as one value.
  bool ClaimBytes(uint64_t bytes) {
    if (buffer_ != nullptr) {
      const size_t remaining = buffer_->Remaining();
      const size_t unpromised = remaining > promised_ ? remaining - promised_ : 0;
      if (bytes > unpromised) undecodable_ = true;
    }
    return !undecodable_;
  }

  bool EnterContainer(uint64_t elements) {
    if (depth_ >= kMaxDecodeDepth) undecodable_ = true;
    if (!ClaimBytes(elements)) return false;
    ++depth_;
    promised_ += elements;
    return true;
  }
  void LeaveContainer() { --depth_; }

  // The next announced element starts: its promised byte is about to be read.
  bool StartElement() {
    if (promised_ > 0) --promised_;
    return !undecodable_;
  }

 private:
  static thread_local DecodeBounds* current_;

  const ByteStreamReader* stream_;
  const ByteBufferStreamReader* buffer_;
  DecodeBounds* outer_;
  int depth_ = 0;
  size_t promised_ = 0;
  bool undecodable_ = false;
};

thread_local DecodeBounds* DecodeBounds::current_ = nullptr;

// The readers below are kept out of ReadValueOfType so that the frames on the recursive path
// (ReadValue, ReadValueOfType, ReadList or ReadMap) stay small: the depth bound has to fit in a
// main thread's stack with room to spare.

template <typename T>
[[gnu::noinline]] EncodableValue ReadArray(ByteStreamReader* stream, DecodeBounds& bounds,
                                           size_t count) {
  if (sizeof(T) > 1) stream->ReadAlignment(sizeof(T));
  if (!bounds.ClaimBytes(static_cast<uint64_t>(count) * sizeof(T))) return {};
  std::vector<T> values(count);
  stream->ReadBytes(reinterpret_cast<uint8_t*>(values.data()), count * sizeof(T));
  return values;
}

[[gnu::noinline]] EncodableValue ReadString(ByteStreamReader* stream, DecodeBounds& bounds,
                                            size_t size) {
  if (!bounds.ClaimBytes(size)) return {};
  std::string text(size, '\0');
  stream->ReadBytes(reinterpret_cast<uint8_t*>(text.data()), size);
  return text;
}

[[gnu::noinline]] void ReportUnknownType(uint8_t type) {
  WriteErrorLine("Unknown type in StandardCodecSerializer::ReadValueOfType: " +
                 std::to_string(type));
}

[[gnu::noinline]] EncodableValue ReadList(const StandardCodecSerializer& serializer,
                                          ByteStreamReader* stream, DecodeBounds& bounds,
                                          size_t count) {
  if (!bounds.EnterContainer(count)) return {};
  EncodableList list;
  list.reserve(count);
  for (size_t i = 0; i < count && bounds.StartElement(); ++i) {
    list.push_back(serializer.ReadValue(stream));
  }
  bounds.LeaveContainer();
  return list;
}

[[gnu::noinline]] EncodableValue ReadMap(const StandardCodecSerializer& serializer,
                                         ByteStreamReader* stream, DecodeBounds& bounds,
                                         size_t count) {
  if (!bounds.EnterContainer(2 * static_cast<uint64_t>(count))) return {};
  EncodableMap map;
  for (size_t i = 0; i < count && bounds.StartElement(); ++i) {
    EncodableValue key = serializer.ReadValue(stream);
    if (!bounds.StartElement()) break;
    EncodableValue value = serializer.ReadValue(stream);
    // Encoders write keys in order, so the end is the place to look first. A repeated key
    // keeps its first value; no encoder writes one.
    map.emplace_hint(map.end(), std::move(key), std::move(value));
  }
  bounds.LeaveContainer();
  return map;
}

template <typename T>
void WriteArray(ByteStreamWriter* stream, const std::vector<T>& values) {
  if (sizeof(T) > 1) stream->WriteAlignment(sizeof(T));
  stream->WriteBytes(reinterpret_cast<const uint8_t*>(values.data()), values.size() * sizeof(T));
}

// Not `value ? *value : EncodableValue()`, which would copy the whole value first.
void WriteValueOrNull(const StandardCodecSerializer& serializer, const EncodableValue* value,
                      ByteStreamWriter* stream) {
  if (value != nullptr) {
    serializer.WriteValue(*value, stream);
  } else {
    serializer.WriteValue(EncodableValue(), stream);
  }
}

struct CodecTable {
  std::mutex mutex;
  std::map<const StandardCodecSerializer*, std::unique_ptr<StandardMethodCodec>> codecs;
};

}  // namespace

StandardCodecSerializer::StandardCodecSerializer() = default;

StandardCodecSerializer::~StandardCodecSerializer() = default;

const StandardCodecSerializer& StandardCodecSerializer::GetInstance() {
  static const StandardCodecSerializer* const instance = new StandardCodecSerializer();
  return *instance;
}

EncodableValue StandardCodecSerializer::ReadValue(ByteStreamReader* stream) const {
  if (const DecodeBounds* bounds = DecodeBounds::For(stream)) {
    if (bounds->undecodable()) return {};
    return ReadValueOfType(stream->ReadByte(), stream);
  }
  return ReadOutermostValue(stream, nullptr);
}

EncodableValue StandardCodecSerializer::ReadOutermostValue(ByteStreamReader* stream,
                                                           const uint8_t* type) const {
  DecodeBounds bounds(stream);
  EncodableValue value = ReadValueOfType(type ? *type : stream->ReadByte(), stream);
  if (bounds.undecodable()) return {};
  return value;
}

EncodableValue StandardCodecSerializer::ReadValueOfType(uint8_t type,
                                                        ByteStreamReader* stream) const {
  DecodeBounds* bounds = DecodeBounds::For(stream);
  if (bounds == nullptr) return ReadOutermostValue(stream, &type);

  switch (type) {
    case kNull:
      return {};
    case kTrue:
      return true;
    case kFalse:
      return false;
    case kInt32:
      return stream->ReadInt32();
    case kInt64:
      return stream->ReadInt64();
    case kFloat64:
      stream->ReadAlignment(8);
      return stream->ReadDouble();
    case kString:
      return ReadString(stream, *bounds, ReadSize(stream));
    case kUInt8List:
      return ReadArray<uint8_t>(stream, *bounds, ReadSize(stream));
    case kInt32List:
      return ReadArray<int32_t>(stream, *bounds, ReadSize(stream));
    case kInt64List:
      return ReadArray<int64_t>(stream, *bounds, ReadSize(stream));
    case kFloat64List:
      return ReadArray<double>(stream, *bounds, ReadSize(stream));
    case kFloat32List:
      return ReadArray<float>(stream, *bounds, ReadSize(stream));
    case kList:
      return ReadList(*this, stream, *bounds, ReadSize(stream));
    case kMap:
      return ReadMap(*this, stream, *bounds, ReadSize(stream));
    default:
      ReportUnknownType(type);
      return {};
  }
}

void StandardCodecSerializer::WriteValue(const EncodableValue& value,
                                         ByteStreamWriter* stream) const {
  std::visit(
      [this, stream](const auto& content) {
        using T = std::decay_t<decltype(content)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          stream->WriteByte(kNull);
        } else if constexpr (std::is_same_v<T, bool>) {
          stream->WriteByte(content ? kTrue : kFalse);
        } else if constexpr (std::is_same_v<T, int32_t>) {
          stream->WriteByte(kInt32);
          stream->WriteInt32(content);
        } else if constexpr (std::is_same_v<T, int64_t>) {
          stream->WriteByte(kInt64);
          stream->WriteInt64(content);
        } else if constexpr (std::is_same_v<T, double>) {
          stream->WriteByte(kFloat64);
          stream->WriteAlignment(8);
          stream->WriteDouble(content);
        } else if constexpr (std::is_same_v<T, std::string>) {
          stream->WriteByte(kString);
          WriteSize(content.size(), stream);
          stream->WriteBytes(reinterpret_cast<const uint8_t*>(content.data()), content.size());
        } else if constexpr (std::is_same_v<T, EncodableList>) {
          stream->WriteByte(kList);
          WriteSize(content.size(), stream);
          for (const EncodableValue& element : content) WriteValue(element, stream);
        } else if constexpr (std::is_same_v<T, EncodableMap>) {
          stream->WriteByte(kMap);
          WriteSize(content.size(), stream);
          for (const auto& [key, element] : content) {
            WriteValue(key, stream);
            WriteValue(element, stream);
          }
        } else if constexpr (std::is_same_v<T, CustomEncodableValue>) {
          // A null keeps the rest of the message readable.
          stream->WriteByte(kNull);
          WriteErrorLine(
              "Unhandled custom type in StandardCodecSerializer::WriteValue. "
              "Custom types require codec extensions.");
        } else {
          using Element = typename T::value_type;
          constexpr uint8_t type = std::is_same_v<Element, uint8_t>   ? kUInt8List
                                   : std::is_same_v<Element, int32_t> ? kInt32List
                                   : std::is_same_v<Element, int64_t> ? kInt64List
                                   : std::is_same_v<Element, double>  ? kFloat64List
                                                                      : kFloat32List;
          stream->WriteByte(type);
          WriteSize(content.size(), stream);
          WriteArray(stream, content);
        }
      },
      static_cast<const EncodableVariant&>(value));
}

size_t StandardCodecSerializer::ReadSize(ByteStreamReader* stream) const {
  const uint8_t first = stream->ReadByte();
  if (first < 254) return first;
  if (first == 254) return stream->ReadUint16();
  return stream->ReadUint32();
}

void StandardCodecSerializer::WriteSize(size_t size, ByteStreamWriter* stream) const {
  if (size < 254) {
    stream->WriteByte(static_cast<uint8_t>(size));
  } else if (size <= 0xFFFF) {
    stream->WriteByte(254);
    stream->WriteUint16(static_cast<uint16_t>(size));
  } else {
    stream->WriteByte(255);
    stream->WriteUint32(static_cast<uint32_t>(size));
  }
}

StandardMethodCodec::StandardMethodCodec(const StandardCodecSerializer* serializer)
    : serializer_(serializer) {}

StandardMethodCodec::~StandardMethodCodec() = default;

const StandardMethodCodec& StandardMethodCodec::GetInstance(
    const StandardCodecSerializer* serializer) {
  // Never destroyed: channels and replies may outlive static destruction on other threads.
  static CodecTable* const table = new CodecTable();
  if (serializer == nullptr) serializer = &StandardCodecSerializer::GetInstance();
  std::lock_guard lock(table->mutex);
  std::unique_ptr<StandardMethodCodec>& codec = table->codecs[serializer];
  if (!codec) codec.reset(new StandardMethodCodec(serializer));
  return *codec;
}

std::unique_ptr<MethodCall> StandardMethodCodec::DecodeMethodCallInternal(
    const uint8_t* message, size_t messageSize) const {
  ByteBufferStreamReader stream(message, messageSize);
  DecodeBounds bounds(&stream);
  EncodableValue name = serializer_->ReadValue(&stream);
  if (bounds.undecodable()) return nullptr;
  auto* methodName = std::get_if<std::string>(&name);
  if (methodName == nullptr) {
    WriteErrorLine("Invalid method call; method name is not a string.");
    return nullptr;
  }
  auto arguments = std::make_unique<EncodableValue>(serializer_->ReadValue(&stream));
  if (bounds.undecodable()) return nullptr;
  return std::make_unique<MethodCall>(*methodName, std::move(arguments));
}

std::unique_ptr<std::vector<uint8_t>> StandardMethodCodec::EncodeMethodCallInternal(
    const MethodCall& call) const {
  auto message = std::make_unique<std::vector<uint8_t>>();
  ByteBufferStreamWriter stream(message.get());
  serializer_->WriteValue(EncodableValue(call.method_name()), &stream);
  WriteValueOrNull(*serializer_, call.arguments(), &stream);
  return message;
}

std::unique_ptr<std::vector<uint8_t>> StandardMethodCodec::EncodeSuccessEnvelopeInternal(
    const EncodableValue* result) const {
  auto envelope = std::make_unique<std::vector<uint8_t>>();
  ByteBufferStreamWriter stream(envelope.get());
  stream.WriteByte(kSuccessEnvelope);
  WriteValueOrNull(*serializer_, result, &stream);
  return envelope;
}

std::unique_ptr<std::vector<uint8_t>> StandardMethodCodec::EncodeErrorEnvelopeInternal(
    const std::string& errorCode, const std::string& errorMessage,
    const EncodableValue* errorDetails) const {
  auto envelope = std::make_unique<std::vector<uint8_t>>();
  ByteBufferStreamWriter stream(envelope.get());
  stream.WriteByte(kErrorEnvelope);
  serializer_->WriteValue(EncodableValue(errorCode), &stream);
  serializer_->WriteValue(errorMessage.empty() ? EncodableValue() : EncodableValue(errorMessage),
                          &stream);
  WriteValueOrNull(*serializer_, errorDetails, &stream);
  return envelope;
}

bool StandardMethodCodec::DecodeAndProcessResponseEnvelopeInternal(const uint8_t* response,
                                                                   size_t responseSize,
                                                                   MethodResult* result) const {
  ByteBufferStreamReader stream(response, responseSize);
  DecodeBounds bounds(&stream);
  switch (stream.ReadByte()) {
    case kSuccessEnvelope: {
      EncodableValue value = serializer_->ReadValue(&stream);
      if (bounds.undecodable()) return false;
      if (value.IsNull()) {
        result->Success();
      } else {
        result->Success(value);
      }
      return true;
    }
    case kErrorEnvelope: {
      EncodableValue code = serializer_->ReadValue(&stream);
      EncodableValue message = serializer_->ReadValue(&stream);
      EncodableValue details = serializer_->ReadValue(&stream);
      if (bounds.undecodable()) return false;
      // An error without a textual code, or with a message that is neither text nor null, is
      // not an error envelope that any encoder writes.
      const auto* codeText = std::get_if<std::string>(&code);
      const auto* messageText = std::get_if<std::string>(&message);
      if (codeText == nullptr || (messageText == nullptr && !message.IsNull())) return false;
      const std::string emptyMessage;
      if (details.IsNull()) {
        result->Error(*codeText, messageText ? *messageText : emptyMessage);
      } else {
        result->Error(*codeText, messageText ? *messageText : emptyMessage, details);
      }
      return true;
    }
    default:
      return false;
  }
}
