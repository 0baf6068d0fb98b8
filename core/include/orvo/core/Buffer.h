// Buffer.h: a block of bytes with a size, owned by value.
//
// Unlike a string a Buffer shares nothing: a copy copies the bytes. Changing
// the size is a re-allocation, not a resize: the old bytes are gone and the
// new ones are not initialised. setBufferSize answers the size now in force,
// so a caller detects a failed allocation by comparing it with the request.
//
// Threads: a Buffer is a plain value with no lock. Distinct buffers may be
// used on different threads; one buffer is for one thread at a time, or
// behind the caller's lock.
//
//   Buffer packet(64);
//   std::memcpy(packet.getBuffer(), header, 64);
//   out << packet;      // the size as int32_t, then the bytes
#pragma once

#include <concepts>
#include <cstdint>

#include <orvo/core/Export.h>
#include <orvo/core/Stream.h>

namespace orvo {

template <class T>
class TString;
using String = TString<wchar_t>;

class ORVO_API Buffer {
 public:
  Buffer() = default;
  explicit Buffer(int size);
  Buffer(const Buffer& other);
  Buffer(Buffer&& other) noexcept;
  ~Buffer();

  Buffer& operator=(const Buffer& other);
  Buffer& operator=(Buffer&& other) noexcept;

  int getBufferSize() const noexcept { return bufferSize; }
  void* getBuffer() noexcept { return buffer; }
  const void* getBuffer() const noexcept { return buffer; }
  operator void*() noexcept { return buffer; }
  operator const void*() const noexcept { return buffer; }

  // Frees the block and allocates one of `size` bytes, unless `size` is the
  // present size, in which case the bytes stay. 0 or less leaves it empty.
  // Returns the size now in force.
  int setBufferSize(int size);

  bool operator==(const Buffer& other) const noexcept;
  bool operator!=(const Buffer& other) const noexcept { return !(*this == other); }

  // The bytes as lower-case hexadecimal text, two digits a byte.
  String convertToHex() const;
  // Fills the buffer from hexadecimal text; false on a malformed text.
  bool convertFromHex(const String& text);

 private:
  int bufferSize = 0;
  unsigned char* buffer = nullptr;
};

namespace detail {
// Reads `size` bytes into `buffer`; false on a negative size, a failed
// allocation or a short read. A large block grows with the bytes that arrive
// rather than being allocated on the word of the size in front.
ORVO_API bool readBufferBytes(InputStream& in, std::int32_t size, Buffer& buffer);
}  // namespace detail

// Wire form: the size as int32_t, then the bytes. Reading does not wait for
// the bytes: a short read raises, and the old content is gone unless the size
// was unchanged.
template <class TyIs>
  requires std::derived_from<TyIs, InputStream>
TyIs& operator>>(TyIs& is, Buffer& buffer) {
  InputStream& in = is;
  std::int32_t size;
  in >> size;
  if (!detail::readBufferBytes(in, size, buffer)) ORVO_THROW("TyIs& operator >>(TyIs &,Buffer &)");
  return is;
}

template <class TyOs>
  requires std::derived_from<TyOs, OutputStream>
TyOs& operator<<(TyOs& os, const Buffer& buffer) {
  OutputStream& out = os;
  const std::int32_t size = buffer.getBufferSize();
  out << size;
  if (out.write(buffer.getBuffer(), size) != size) ORVO_THROW("TyOs& operator <<(TyOs &,Buffer const &)");
  return os;
}

}  // namespace orvo
