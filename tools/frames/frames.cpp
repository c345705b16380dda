#include "frames/frames.h"

#include <type_traits>
#include <utility>

namespace frames {

namespace {

static_assert(std::variant_size_v<Frame> == 9, "one alternative per kind");
static_assert(std::is_same_v<std::variant_alternative_t<0, Frame>, Message>);
static_assert(std::is_same_v<std::variant_alternative_t<8, Frame>, CallResult>);

class Writer {
 public:
  void U8(uint8_t value) { bytes_.push_back(value); }
  void U16(uint16_t value) { Little(value, 2); }
  void U32(uint32_t value) { Little(value, 4); }
  void U64(uint64_t value) { Little(value, 8); }
  void I64(int64_t value) { U64(static_cast<uint64_t>(value)); }
  void Raw(const uint8_t* data, size_t size) { bytes_.insert(bytes_.end(), data, data + size); }
  void Raw(const Bytes& data) { Raw(data.data(), data.size()); }

  bool Name(const std::string& name) {
    if (name.size() > kMaxNameLength) return false;
    U16(static_cast<uint16_t>(name.size()));
    Raw(reinterpret_cast<const uint8_t*>(name.data()), name.size());
    return true;
  }

  bool SizedBytes(const Bytes& data) {
    if (data.size() > kMaxFrameLength) return false;
    U32(static_cast<uint32_t>(data.size()));
    Raw(data);
    return true;
  }

  Bytes& bytes() { return bytes_; }

 private:
  void Little(uint64_t value, int count) {
    for (int i = 0; i < count; ++i) bytes_.push_back(static_cast<uint8_t>(value >> (8 * i)));
  }

  Bytes bytes_;
};

class Reader {
 public:
  explicit Reader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  bool U8(uint8_t& value) {
    uint64_t wide = 0;
    if (!Little(wide, 1)) return false;
    value = static_cast<uint8_t>(wide);
    return true;
  }
  bool U16(uint16_t& value) {
    uint64_t wide = 0;
    if (!Little(wide, 2)) return false;
    value = static_cast<uint16_t>(wide);
    return true;
  }
  bool U32(uint32_t& value) {
    uint64_t wide = 0;
    if (!Little(wide, 4)) return false;
    value = static_cast<uint32_t>(wide);
    return true;
  }
  bool U64(uint64_t& value) { return Little(value, 8); }
  bool I64(int64_t& value) {
    uint64_t raw = 0;
    if (!Little(raw, 8)) return false;
    value = static_cast<int64_t>(raw);
    return true;
  }

  bool Take(size_t size, std::span<const uint8_t>& out) {
    if (size > remaining()) return false;
    out = bytes_.subspan(position_, size);
    position_ += size;
    return true;
  }

  bool Name(std::string& name) {
    uint16_t size = 0;
    std::span<const uint8_t> text;
    if (!U16(size) || !Take(size, text)) return false;
    name.assign(text.begin(), text.end());
    return true;
  }

  bool SizedBytes(Bytes& data) {
    uint32_t size = 0;
    std::span<const uint8_t> raw;
    if (!U32(size) || !Take(size, raw)) return false;
    data.assign(raw.begin(), raw.end());
    return true;
  }

  void Rest(Bytes& data) {
    data.assign(bytes_.begin() + static_cast<std::ptrdiff_t>(position_), bytes_.end());
    position_ = bytes_.size();
  }

  size_t remaining() const { return bytes_.size() - position_; }

 private:
  bool Little(uint64_t& value, int count) {
    if (remaining() < static_cast<size_t>(count)) return false;
    value = 0;
    for (int i = 0; i < count; ++i) value |= uint64_t{bytes_[position_ + i]} << (8 * i);
    position_ += count;
    return true;
  }

  std::span<const uint8_t> bytes_;
  size_t position_ = 0;
};

bool IsKnownKind(uint8_t kind) { return kind >= 1 && kind <= 9; }

// Each Encode appends the fields after the kind byte.
bool EncodeFields(Writer& w, const Message& m) {
  w.U32(m.id);
  if (!w.Name(m.channel)) return false;
  w.Raw(m.payload);
  return true;
}

bool EncodeFields(Writer& w, const Response& r) {
  w.U32(r.id);
  w.Raw(r.payload);
  return true;
}

bool EncodeFields(Writer& w, const NativeMessage& m) {
  w.U32(m.id);
  if (!w.Name(m.channel)) return false;
  w.Raw(m.payload);
  return true;
}

bool EncodeFields(Writer& w, const NativeReply& r) {
  w.U32(r.id);
  w.Raw(r.payload);
  return true;
}

bool EncodeFields(Writer& w, const Event& e) {
  if (!w.Name(e.name)) return false;
  w.Raw(reinterpret_cast<const uint8_t*>(e.text.data()), e.text.size());
  return true;
}

bool EncodeFields(Writer& w, const WindowMessage& m) {
  w.U32(m.id);
  w.U32(m.message);
  w.U64(m.wparam);
  w.U64(m.lparam);
  w.Raw(m.payload);
  return true;
}

bool EncodeFields(Writer& w, const WindowResult& r) {
  w.U32(r.id);
  w.I64(r.result);
  return true;
}

bool EncodeFields(Writer& w, const Call& c) {
  if (c.arguments.size() > kMaxArguments) return false;
  w.U32(c.id);
  if (!w.Name(c.exportName)) return false;
  w.U8(static_cast<uint8_t>(c.arguments.size()));
  for (const CallArgument& argument : c.arguments) {
    w.U8(static_cast<uint8_t>(argument.tag));
    switch (argument.tag) {
      case ArgumentTag::kInt64:
        w.I64(argument.value);
        break;
      case ArgumentTag::kBuffer:
        if (!w.SizedBytes(argument.buffer)) return false;
        break;
      case ArgumentTag::kString: {
        if (argument.text.size() > kMaxFrameLength / 2) return false;
        w.U32(static_cast<uint32_t>(argument.text.size() * 2));
        for (char16_t unit : argument.text) w.U16(static_cast<uint16_t>(unit));
        break;
      }
      default:
        return false;
    }
  }
  return true;
}

bool EncodeFields(Writer& w, const CallResult& r) {
  w.U32(r.id);
  if (!r.found) return true;
  w.I64(r.result);
  for (const Bytes& buffer : r.buffers) {
    if (!w.SizedBytes(buffer)) return false;
  }
  return true;
}

// Each Decode reads the fields after the kind byte; error is set on failure.
bool DecodeFields(Reader& r, Message& m, DecodeError& error) {
  if (!r.U32(m.id) || !r.Name(m.channel)) return error = DecodeError::kTruncated, false;
  r.Rest(m.payload);
  return true;
}

bool DecodeFields(Reader& r, Response& m, DecodeError& error) {
  if (!r.U32(m.id)) return error = DecodeError::kTruncated, false;
  r.Rest(m.payload);
  return true;
}

bool DecodeFields(Reader& r, NativeMessage& m, DecodeError& error) {
  if (!r.U32(m.id) || !r.Name(m.channel)) return error = DecodeError::kTruncated, false;
  r.Rest(m.payload);
  return true;
}

bool DecodeFields(Reader& r, NativeReply& m, DecodeError& error) {
  if (!r.U32(m.id)) return error = DecodeError::kTruncated, false;
  r.Rest(m.payload);
  return true;
}

bool DecodeFields(Reader& r, Event& e, DecodeError& error) {
  if (!r.Name(e.name)) return error = DecodeError::kTruncated, false;
  Bytes text;
  r.Rest(text);
  e.text.assign(text.begin(), text.end());
  return true;
}

bool DecodeFields(Reader& r, WindowMessage& m, DecodeError& error) {
  if (!r.U32(m.id) || !r.U32(m.message) || !r.U64(m.wparam) || !r.U64(m.lparam))
    return error = DecodeError::kTruncated, false;
  r.Rest(m.payload);
  return true;
}

bool DecodeFields(Reader& r, WindowResult& m, DecodeError& error) {
  if (!r.U32(m.id) || !r.I64(m.result)) return error = DecodeError::kTruncated, false;
  if (r.remaining() != 0) return error = DecodeError::kTrailingBytes, false;
  return true;
}

bool DecodeFields(Reader& r, Call& c, DecodeError& error) {
  uint8_t count = 0;
  if (!r.U32(c.id) || !r.Name(c.exportName) || !r.U8(count))
    return error = DecodeError::kTruncated, false;
  if (count > kMaxArguments) return error = DecodeError::kTooManyArguments, false;
  for (uint8_t i = 0; i < count; ++i) {
    uint8_t tag = 0;
    if (!r.U8(tag)) return error = DecodeError::kTruncated, false;
    CallArgument argument;
    argument.tag = static_cast<ArgumentTag>(tag);
    switch (argument.tag) {
      case ArgumentTag::kInt64:
        if (!r.I64(argument.value)) return error = DecodeError::kTruncated, false;
        break;
      case ArgumentTag::kBuffer:
        if (!r.SizedBytes(argument.buffer)) return error = DecodeError::kTruncated, false;
        break;
      case ArgumentTag::kString: {
        uint32_t size = 0;
        std::span<const uint8_t> raw;
        if (!r.U32(size) || !r.Take(size, raw)) return error = DecodeError::kTruncated, false;
        if (size % 2 != 0) return error = DecodeError::kOddStringLength, false;
        argument.text.resize(size / 2);
        for (size_t k = 0; k < argument.text.size(); ++k)
          argument.text[k] = static_cast<char16_t>(raw[2 * k] | (raw[2 * k + 1] << 8));
        break;
      }
      default:
        return error = DecodeError::kUnknownArgumentTag, false;
    }
    c.arguments.push_back(std::move(argument));
  }
  if (r.remaining() != 0) return error = DecodeError::kTrailingBytes, false;
  return true;
}

bool DecodeFields(Reader& r, CallResult& m, DecodeError& error) {
  if (!r.U32(m.id)) return error = DecodeError::kTruncated, false;
  if (r.remaining() == 0) {
    m.found = false;
    return true;
  }
  m.found = true;
  if (!r.I64(m.result)) return error = DecodeError::kTruncated, false;
  // The buffers carry no count: they run to the end of the frame, and a cut one is an error.
  while (r.remaining() != 0) {
    Bytes buffer;
    if (!r.SizedBytes(buffer)) return error = DecodeError::kTruncated, false;
    m.buffers.push_back(std::move(buffer));
  }
  return true;
}

template <size_t Index>
std::optional<Frame> DecodeAs(Reader& reader, DecodeError& error) {
  std::variant_alternative_t<Index, Frame> value;
  if (!DecodeFields(reader, value, error)) return std::nullopt;
  return Frame{std::in_place_index<Index>, std::move(value)};
}

uint32_t ReadLength(const uint8_t* p) {
  return uint32_t{p[0]} | (uint32_t{p[1]} << 8) | (uint32_t{p[2]} << 16) | (uint32_t{p[3]} << 24);
}

}  // namespace

CallArgument CallArgument::Int(int64_t value) {
  CallArgument argument;
  argument.tag = ArgumentTag::kInt64;
  argument.value = value;
  return argument;
}

CallArgument CallArgument::Buffer(Bytes bytes) {
  CallArgument argument;
  argument.tag = ArgumentTag::kBuffer;
  argument.buffer = std::move(bytes);
  return argument;
}

CallArgument CallArgument::String(std::u16string text) {
  CallArgument argument;
  argument.tag = ArgumentTag::kString;
  argument.text = std::move(text);
  return argument;
}

Kind KindOf(const Frame& frame) { return static_cast<Kind>(frame.index() + 1); }

bool IsDriverKind(Kind kind) {
  return kind == Kind::kMessage || kind == Kind::kNativeReply || kind == Kind::kWindowMessage ||
         kind == Kind::kCall;
}

const char* DescribeError(DecodeError error) {
  switch (error) {
    case DecodeError::kNone:
      return "no error";
    case DecodeError::kBadLength:
      return "bad frame length";
    case DecodeError::kUnknownKind:
      return "unknown frame kind";
    case DecodeError::kTruncated:
      return "field runs past the end of the frame";
    case DecodeError::kTrailingBytes:
      return "bytes after the last field";
    case DecodeError::kTooManyArguments:
      return "more than four call arguments";
    case DecodeError::kUnknownArgumentTag:
      return "unknown call argument tag";
    case DecodeError::kOddStringLength:
      return "UTF-16 text of an odd number of bytes";
  }
  return "unknown error";
}

std::optional<Bytes> Encode(const Frame& frame) {
  Writer w;
  w.U32(0);  // patched below, once the size is known
  w.U8(static_cast<uint8_t>(KindOf(frame)));
  const bool ok = std::visit([&w](const auto& value) { return EncodeFields(w, value); }, frame);
  if (!ok) return std::nullopt;
  Bytes& bytes = w.bytes();
  const size_t length = bytes.size() - kLengthSize;
  if (length > kMaxFrameLength) return std::nullopt;
  for (size_t i = 0; i < kLengthSize; ++i) bytes[i] = static_cast<uint8_t>(length >> (8 * i));
  return std::move(bytes);
}

std::optional<Frame> DecodeBody(std::span<const uint8_t> body, DecodeError* error) {
  DecodeError local = DecodeError::kNone;
  DecodeError& e = error ? *error : local;
  e = DecodeError::kNone;
  if (body.empty() || body.size() > kMaxFrameLength) {
    e = DecodeError::kBadLength;
    return std::nullopt;
  }
  if (!IsKnownKind(body[0])) {
    e = DecodeError::kUnknownKind;
    return std::nullopt;
  }
  Reader reader(body.subspan(1));
  switch (static_cast<Kind>(body[0])) {
    case Kind::kMessage:
      return DecodeAs<0>(reader, e);
    case Kind::kResponse:
      return DecodeAs<1>(reader, e);
    case Kind::kNativeMessage:
      return DecodeAs<2>(reader, e);
    case Kind::kNativeReply:
      return DecodeAs<3>(reader, e);
    case Kind::kEvent:
      return DecodeAs<4>(reader, e);
    case Kind::kWindowMessage:
      return DecodeAs<5>(reader, e);
    case Kind::kWindowResult:
      return DecodeAs<6>(reader, e);
    case Kind::kCall:
      return DecodeAs<7>(reader, e);
    case Kind::kCallResult:
      return DecodeAs<8>(reader, e);
  }
  e = DecodeError::kUnknownKind;
  return std::nullopt;
}

void FrameReader::Append(std::span<const uint8_t> bytes) {
  if (error_ != DecodeError::kNone) return;
  // Drop what was consumed before growing, so a long session does not keep every frame.
  if (start_ > 0 && start_ >= buffer_.size() / 2) {
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(start_));
    start_ = 0;
  }
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
}

FrameReader::Status FrameReader::Next(Frame& frame) {
  if (error_ != DecodeError::kNone) return Status::kMalformed;
  const size_t available = buffer_.size() - start_;
  if (available < kLengthSize) return Status::kNeedMore;
  const uint8_t* head = buffer_.data() + start_;
  const uint32_t length = ReadLength(head);
  // Refuse a bad length or kind as soon as it is visible rather than after the body arrives.
  if (length == 0 || length > kMaxFrameLength) {
    error_ = DecodeError::kBadLength;
    return Status::kMalformed;
  }
  if (available > kLengthSize && !IsKnownKind(head[kLengthSize])) {
    error_ = DecodeError::kUnknownKind;
    return Status::kMalformed;
  }
  if (available - kLengthSize < length) return Status::kNeedMore;
  DecodeError error = DecodeError::kNone;
  std::optional<Frame> decoded = DecodeBody({head + kLengthSize, length}, &error);
  if (!decoded) {
    error_ = error;
    return Status::kMalformed;
  }
  start_ += kLengthSize + length;
  if (start_ == buffer_.size()) {
    buffer_.clear();
    start_ = 0;
  }
  frame = std::move(*decoded);
  return Status::kFrame;
}

std::string Describe(const Frame& frame) {
  std::string text = "kind " + std::to_string(static_cast<int>(KindOf(frame)));
  std::visit(
      [&text](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, Event>) {
          text += " event " + value.name + " [" + value.text + "]";
        } else {
          text += " id " + std::to_string(value.id);
          if constexpr (std::is_same_v<T, Message> || std::is_same_v<T, NativeMessage>) {
            text += " channel " + value.channel;
          }
          if constexpr (std::is_same_v<T, Call>) text += " export " + value.exportName;
          if constexpr (std::is_same_v<T, WindowResult>) {
            text += " result " + std::to_string(value.result);
          }
          if constexpr (requires { value.payload; }) {
            text += " payload " + std::to_string(value.payload.size()) + " bytes";
          }
        }
      },
      frame);
  return text;
}

}  // namespace frames
