#include "channels/byte_streams.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "channels/error_output.h"

// The wire is little-endian and so is every machine this runs on; numbers are copied as they
// lie.
static_assert(std::endian::native == std::endian::little);

namespace {

template <typename T>
T ReadNumber(ByteStreamReader& stream) {
  uint8_t bytes[sizeof(T)] = {};
  stream.ReadBytes(bytes, sizeof(T));
  T value;
  std::memcpy(&value, bytes, sizeof(T));
  return value;
}

template <typename T>
void WriteNumber(ByteStreamWriter& stream, T value) {
  uint8_t bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));
  stream.WriteBytes(bytes, sizeof(T));
}

void ReportInvalidRead() { WriteErrorLine("Invalid read in StandardCodecByteStreamReader"); }

}  // namespace

ByteStreamReader::~ByteStreamReader() = default;
uint16_t ByteStreamReader::ReadUint16() { return ReadNumber<uint16_t>(*this); }
uint32_t ByteStreamReader::ReadUint32() { return ReadNumber<uint32_t>(*this); }
int32_t ByteStreamReader::ReadInt32() { return ReadNumber<int32_t>(*this); }
int64_t ByteStreamReader::ReadInt64() { return ReadNumber<int64_t>(*this); }
double ByteStreamReader::ReadDouble() { return ReadNumber<double>(*this); }

ByteStreamWriter::~ByteStreamWriter() = default;
void ByteStreamWriter::WriteUint16(uint16_t value) { WriteNumber(*this, value); }
void ByteStreamWriter::WriteUint32(uint32_t value) { WriteNumber(*this, value); }
void ByteStreamWriter::WriteInt32(int32_t value) { WriteNumber(*this, value); }
void ByteStreamWriter::WriteInt64(int64_t value) { WriteNumber(*this, value); }
void ByteStreamWriter::WriteDouble(double value) { WriteNumber(*this, value); }

ByteBufferStreamReader::ByteBufferStreamReader(const uint8_t* bytes, size_t size)
    : bytes_(bytes), size_(bytes ? size : 0) {}

ByteBufferStreamReader::~ByteBufferStreamReader() = default;

uint8_t ByteBufferStreamReader::ReadByte() {
  if (location_ >= size_) {
    ReportInvalidRead();
    return 0;
  }
  return bytes_[location_++];
}

void ByteBufferStreamReader::ReadBytes(uint8_t* buffer, size_t length) {
  if (length > size_ - location_) {
    ReportInvalidRead();
    return;
  }
  if (length == 0) return;
  std::memcpy(buffer, bytes_ + location_, length);
  location_ += length;
}

void ByteBufferStreamReader::ReadAlignment(uint8_t alignment) {
  if (alignment == 0) return;
  const size_t past = location_ % alignment;
  if (past == 0) return;
  // Padding is skipped, not read: running out here shows up at the value that follows.
  location_ = std::min(size_, location_ + (alignment - past));
}

ByteBufferStreamWriter::ByteBufferStreamWriter(std::vector<uint8_t>* buffer) : buffer_(buffer) {}

ByteBufferStreamWriter::~ByteBufferStreamWriter() = default;

void ByteBufferStreamWriter::WriteByte(uint8_t byte) { buffer_->push_back(byte); }

void ByteBufferStreamWriter::WriteBytes(const uint8_t* bytes, size_t length) {
  if (length == 0) return;
  buffer_->insert(buffer_->end(), bytes, bytes + length);
}

void ByteBufferStreamWriter::WriteAlignment(uint8_t alignment) {
  if (alignment == 0) return;
  const size_t past = buffer_->size() % alignment;
  if (past != 0) buffer_->insert(buffer_->end(), alignment - past, 0);
}
