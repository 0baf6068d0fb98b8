// Varint.h: the compact form of a 32-bit integer.
//
// `os << Varint(n)` writes n zig-zag mapped in groups of 7 bits, least
// significant first: 1 byte for -64..63, at most 5 bytes. `os << n` writes 4
// fixed bytes instead.
//
//   out << Varint(-1);          // 01
//   Varint v; in >> v; int n = v;
//
// Threads: a Varint is a plain value and the operators keep no state; they
// are as safe as the stream's device.
#pragma once

#include <concepts>
#include <cstdint>
#include <type_traits>

#include <orvo/core/Stream.h>

namespace orvo {

namespace detail {

// The group form shared by Varint and int64_t: a zig-zag mapped value in
// groups of 7 bits, least significant first, the top bit set on all but the
// last byte.
template <class Signed>
constexpr int encodeZigZag(Signed value, std::uint8_t* bytes) {
  using Unsigned = std::make_unsigned_t<Signed>;
  constexpr int kBits = sizeof(Signed) * 8;
  Unsigned z = static_cast<Unsigned>(static_cast<Unsigned>(value) << 1) ^
               static_cast<Unsigned>(value >> (kBits - 1));
  int count = 0;
  while (z > 0x7F) {
    bytes[count++] = static_cast<std::uint8_t>((z & 0x7F) | 0x80);
    z >>= 7;
  }
  bytes[count++] = static_cast<std::uint8_t>(z);
  return count;
}

template <class Unsigned>
constexpr std::make_signed_t<Unsigned> decodeZigZag(Unsigned z) {
  return static_cast<std::make_signed_t<Unsigned>>((z >> 1) ^ (Unsigned{0} - (z & 1u)));
}

// Reads the groups one byte at a time; false if `maxBytes` bytes pass
// without an end. A missing byte raises "uint8_t".
template <class Unsigned>
bool readZigZagBytewise(InputStream& in, int maxBytes, Unsigned& z) {
  z = 0;
  for (int count = 0;;) {
    std::uint8_t byte;
    in >> byte;
    z |= static_cast<Unsigned>(byte & 0x7F) << (7 * count);
    if ((byte & 0x80) == 0) return true;
    if (++count == maxBytes) return false;
  }
}

}  // namespace detail

class Varint {
 public:
  constexpr Varint() = default;
  constexpr explicit Varint(std::int32_t value) : value(value) {}
  constexpr operator std::int32_t() const { return value; }

  static constexpr int kMaxBytes = 5;

  // Writes the form of `value` into `bytes`; the count of bytes.
  static constexpr int encode(std::int32_t value, std::uint8_t* bytes) { return detail::encodeZigZag(value, bytes); }
  static constexpr std::int32_t unzigzag(std::uint32_t z) { return detail::decodeZigZag(z); }

  std::int32_t value = 0;
};

template <class Tyos>
  requires std::derived_from<Tyos, OutputStream>
Tyos& operator<<(Tyos& os, const Varint& v) {
  std::uint8_t bytes[Varint::kMaxBytes];
  const int count = Varint::encode(v.value, bytes);
  if (static_cast<OutputStream&>(os).write(bytes, count) != count) {
    ORVO_THROW("Tyos& operator <<(Tyos &os,Varint const &v)");
  }
  return os;
}

// Looks at up to five bytes first and consumes exactly the value's bytes, so
// a value costs two device calls whatever its length. Where the device shows
// fewer bytes than the value needs, the bytes are read one at a time, which
// gives the same result and leaves the device in the same state.
template <class Tyis>
  requires std::derived_from<Tyis, InputStream>
Tyis& operator>>(Tyis& is, Varint& v) {
  InputStream& in = is;
  std::uint8_t bytes[Varint::kMaxBytes];
  const int seen = in.peek(bytes, Varint::kMaxBytes);
  std::uint32_t z = 0;
  for (int count = 0; count < seen; ++count) {
    z |= static_cast<std::uint32_t>(bytes[count] & 0x7F) << (7 * count);
    if ((bytes[count] & 0x80) != 0) continue;
    if (in.read(bytes, count + 1) != count + 1) detail::throwShortUint8();
    v.value = Varint::unzigzag(z);
    return is;
  }
  if (seen == Varint::kMaxBytes) {
    in.read(bytes, Varint::kMaxBytes);
    ORVO_THROW("Tyis& operator >>(Tyis &is,Varint &v)");
  }
  std::uint32_t bytewise;
  if (!detail::readZigZagBytewise(in, Varint::kMaxBytes, bytewise)) ORVO_THROW("Tyis& operator >>(Tyis &is,Varint &v)");
  v.value = Varint::unzigzag(bytewise);
  return is;
}

}  // namespace orvo
