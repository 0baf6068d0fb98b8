// IO.h: a device that is both a source and a sink of bytes.
//
// Input and Output share their Unknown base, so one IO object has one
// reference count whether it is held as Input, as Output or as IO.
//
// Threads: as Input and Output, one thread at a time; SecureIO makes an IO
// safe to share.
#pragma once

#include <orvo/core/Input.h>
#include <orvo/core/Output.h>

namespace orvo {

class ORVO_API IO : public Input, public Output {
 public:
  IO() = default;
  IO(const IO& other) = default;
  IO& operator=(const IO&) { return *this; }

  const wchar_t* getClassName() const override { return L"IO"; }

 protected:
  ~IO() override;
};

}  // namespace orvo
