// Byte sources and sinks of the standard codec. Multi-byte numbers are little-endian, and
// alignment is counted from the first byte of the message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

class ByteStreamReader {
 public:
  ByteStreamReader() = default;
  ByteStreamReader(const ByteStreamReader&) = delete;
  ByteStreamReader& operator=(const ByteStreamReader&) = delete;
  virtual ~ByteStreamReader();

  virtual uint8_t ReadByte() = 0;
  // A read that can't be satisfied leaves `buffer` as it was.
  virtual void ReadBytes(uint8_t* buffer, size_t length) = 0;
  // Skips to the next multiple of `alignment`.
  virtual void ReadAlignment(uint8_t alignment) = 0;

  // Each is 0 when the bytes aren't there.
  uint16_t ReadUint16();
  uint32_t ReadUint32();
  int32_t ReadInt32();
  int64_t ReadInt64();
  double ReadDouble();
};

class ByteStreamWriter {
 public:
  ByteStreamWriter() = default;
  ByteStreamWriter(const ByteStreamWriter&) = delete;
  ByteStreamWriter& operator=(const ByteStreamWriter&) = delete;
  virtual ~ByteStreamWriter();

  virtual void WriteByte(uint8_t byte) = 0;
  virtual void WriteBytes(const uint8_t* bytes, size_t length) = 0;
  // Pads with zero bytes to the next multiple of `alignment`.
  virtual void WriteAlignment(uint8_t alignment) = 0;

  void WriteUint16(uint16_t value);
  void WriteUint32(uint32_t value);
  void WriteInt32(int32_t value);
  void WriteInt64(int64_t value);
  void WriteDouble(double value);
};

// Reads a buffer that the caller keeps alive. A read past the end prints "Invalid read in
// StandardCodecByteStreamReader" and goes on: a byte reads as 0, a run of bytes is not copied.
class ByteBufferStreamReader : public ByteStreamReader {
 public:
  ByteBufferStreamReader(const uint8_t* bytes, size_t size);
  ~ByteBufferStreamReader() override;

  uint8_t ReadByte() override;
  void ReadBytes(uint8_t* buffer, size_t length) override;
  void ReadAlignment(uint8_t alignment) override;

  size_t Remaining() const { return size_ - location_; }

 private:
  const uint8_t* bytes_;
  size_t size_;
  size_t location_ = 0;
};

// Appends to a vector that the caller owns; the message starts at the vector's first byte.
class ByteBufferStreamWriter : public ByteStreamWriter {
 public:
  explicit ByteBufferStreamWriter(std::vector<uint8_t>* buffer);
  ~ByteBufferStreamWriter() override;

  void WriteByte(uint8_t byte) override;
  void WriteBytes(const uint8_t* bytes, size_t length) override;
  void WriteAlignment(uint8_t alignment) override;

 private:
  std::vector<uint8_t>* buffer_;
};
