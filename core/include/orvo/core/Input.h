// Input.h: a source of bytes.
//
// Everything that bytes can be read from implements Input: files, memory
// streams, memory files. A short count from read() is normal, 0 means that
// nothing is there right now, and a negative count is a failure of the
// device. Devices live on the heap, in handles; read typed values through an
// InputStream on top of one.
//
// Threads: a device is for one thread at a time unless its class says
// otherwise; wrap it in a SecureIO to share it.
#pragma once

#include <orvo/core/Unknown.h>

namespace orvo {

class ORVO_API Input : public virtual Unknown {
 public:
  Input() = default;
  Input(const Input& other) = default;
  Input& operator=(const Input&) { return *this; }

  const wchar_t* getClassName() const override { return L"Input"; }

  // The bytes that can be read now; negative if the device cannot tell.
  virtual int available() const = 0;
  // Copies up to `size` bytes without consuming them; the count, 0 if
  // nothing is there, negative on failure.
  virtual int peek(void* buffer, int size) const = 0;
  // Copies up to `size` bytes and consumes them; the count, negative on
  // failure.
  virtual int read(void* buffer, int size) = 0;

 protected:
  ~Input() override;
};

}  // namespace orvo
