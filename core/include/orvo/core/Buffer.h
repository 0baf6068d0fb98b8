// Buffer.h: a block of bytes with a size, owned by value.
//
// Unlike a string a Buffer shares nothing: a copy copies the bytes. Changing
// the size is a re-allocation, not a resize: the old bytes are gone and the
// new ones are not initialised. setBufferSize answers the size now in force,
// so a caller detects a failed allocation by comparing it with the request.
//
//   Buffer packet(64);
//   std::memcpy(packet.getBuffer(), header, 64);
#pragma once

#include <orvo/core/Export.h>

namespace orvo {

template <class T>
class TString;
using String = TString<wchar_t>;

class ORVO_API Buffer {
 public:
  Buffer(int size = 0);
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

}  // namespace orvo
