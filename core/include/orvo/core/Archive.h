// Archive.h: a seekable device.
//
// Positions and sizes are byte offsets from the start, as 32-bit signed
// integers; -1 is the failure value of all three operations.
//
// Threads: one thread at a time, like every device. A position is state of
// the device, so two threads that seek and read on one Archive need a lock
// around each seek and read together, not only around each call.
#pragma once

#include <orvo/core/IO.h>

namespace orvo {

class ORVO_API Archive : public IO {
 public:
  Archive() = default;
  Archive(const Archive& other) = default;
  Archive& operator=(const Archive&) { return *this; }

  const wchar_t* getClassName() const override { return L"Archive"; }

  virtual int getArchiveSize() const = 0;
  virtual int getPosition() const = 0;
  // Moves to `position`; the new position, or -1.
  virtual int setPosition(int position) = 0;

 protected:
  ~Archive() override;
};

}  // namespace orvo
