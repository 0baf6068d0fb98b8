// Output.h: a sink of bytes.
//
// write() answers how many bytes it took; every caller in the library treats
// any other count than the one offered as a failure. Write typed values
// through an OutputStream on top of an Output.
//
// Threads: a device is for one thread at a time unless its class says
// otherwise; wrap it in a SecureIO to share it.
#pragma once

#include <orvo/core/Unknown.h>

namespace orvo {

class ORVO_API Output : public virtual Unknown {
 public:
  Output() = default;
  Output(const Output& other) = default;
  Output& operator=(const Output&) { return *this; }

  const wchar_t* getClassName() const override { return L"Output"; }

  // Stores up to `size` bytes; the count taken.
  virtual int write(const void* buffer, int size) = 0;

 protected:
  ~Output() override;
};

}  // namespace orvo
