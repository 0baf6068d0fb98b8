// Stream.h: value streams over byte devices, and the fixed-size wire forms.
//
// An InputStream is a handle on an Input, an OutputStream a handle on an
// Output, and a Stream both at once. They are cheap values that share their
// devices; make them on the stack where they are needed. Typed values move
// through the free operators of this header and of Varint.h, String.h and
// Buffer.h, in the library's one binary format: little-endian, no header, no
// tags, each value right after the last. A short count from the device raises
// Exception.
//
//   OutputStream out(device.get());
//   out << std::int32_t(7) << Varint(-3) << std::int64_t(1) << name;
//   InputStream in(device.get());
//   std::int32_t seven; Varint v; std::int64_t big; String text;
//   in >> seven >> v >> big >> text;
//
// Threads: streams have no lock. Two streams on one device, in one thread or
// in several, are exactly as safe as the device is; a typed value takes
// several device calls, so even a SecureIO keeps only each call whole.
#pragma once

#include <cstdint>
#include <utility>

#include <orvo/core/Exception.h>
#include <orvo/core/IO.h>

namespace orvo {

class ORVO_API InputStream {
 public:
  InputStream() = default;
  InputStream(Input* device) : input(device) {}
  InputStream(const InputStream&) = default;
  InputStream& operator=(const InputStream&) = default;
  virtual ~InputStream();

  // Replaces the device; null detaches. Always true.
  bool attach(Input* device) {
    input = device;
    return true;
  }
  // Hands out the device and leaves the stream detached.
  THandle<Input> detach() { return std::move(input); }
  bool operator!() const { return input == nullptr; }

  int available() const { return input->available(); }
  int read(void* buffer, int size) { return input->read(buffer, size); }
  virtual int peek(void* buffer, int size) const;

  // Reads the value's bytes; true if all of them came.
  bool read(std::int32_t& value) { return read(&value, sizeof value) == sizeof value; }
  bool read(std::uint8_t& value) { return read(&value, sizeof value) == sizeof value; }

 private:
  THandle<Input> input;
};

class ORVO_API OutputStream {
 public:
  OutputStream() = default;
  OutputStream(Output* device) : output(device) {}
  OutputStream(const OutputStream&) = default;
  OutputStream& operator=(const OutputStream&) = default;
  virtual ~OutputStream();

  bool attach(Output* device) {
    output = device;
    return true;
  }
  THandle<Output> detach() { return std::move(output); }
  bool operator!() const { return output == nullptr; }

  int write(const void* buffer, int size) { return output->write(buffer, size); }
  // Writes the value's bytes; true if all were taken.
  bool write(std::int32_t value) { return write(&value, sizeof value) == sizeof value; }
  bool write(std::uint8_t value) { return write(&value, sizeof value) == sizeof value; }

 private:
  THandle<Output> output;
};

// Both halves in one value, each attached to its own device.
class ORVO_API Stream : public InputStream, public OutputStream {
 public:
  Stream() = default;
  Stream(Input* input, Output* output) : InputStream(input), OutputStream(output) {}
  explicit Stream(IO* io) : InputStream(io), OutputStream(io) {}

  using InputStream::operator!;
  using InputStream::read;
  using OutputStream::write;
};

// ---- fixed-size forms --------------------------------------------------------

inline InputStream& operator>>(InputStream& is, std::int32_t& value) {
  if (!is.read(value)) ORVO_THROW("int32_t");
  return is;
}

inline OutputStream& operator<<(OutputStream& os, const std::int32_t& value) {
  if (!os.write(value)) ORVO_THROW("int32_t");
  return os;
}

namespace detail {
// The raise of a byte that could not be read, for readers that take several
// bytes at once.
[[noreturn]] inline void throwShortUint8() { ORVO_THROW("uint8_t"); }
}  // namespace detail

inline InputStream& operator>>(InputStream& is, std::uint8_t& value) {
  if (!is.read(value)) detail::throwShortUint8();
  return is;
}

inline OutputStream& operator<<(OutputStream& os, const std::uint8_t& value) {
  if (!os.write(value)) ORVO_THROW("uint8_t");
  return os;
}

// ---- 64-bit integers, always in the variable-length form -------------------

ORVO_API InputStream& operator>>(InputStream& is, std::int64_t& value);
ORVO_API OutputStream& operator<<(OutputStream& os, const std::int64_t& value);

// Copies everything `in` reports as available to `out`, as plain bytes.
ORVO_API OutputStream& operator<<(OutputStream& out, InputStream& in);

}  // namespace orvo
