// SecureIO.h: makes one device safe to share between threads.
//
// Each available, peek, read and write on the wrapped device runs as a whole
// under a recursive Mutex of this object's own, which is given back even when
// the device throws. Sequences of calls are not atomic: a typed value that
// takes two reads can interleave with another thread's read. ("Secure" is
// about threads only: nothing is encrypted or checked.)
//
//   THandle<SecureIO> shared = SecureIO::createInstance(queue.get());
//   // hand `shared` to several threads
//
// To keep a sequence of calls whole, hold getMutex() around it with a
// MutexGuard: the lock is recursive, so the calls inside take it again.
#pragma once

#include <orvo/core/IO.h>
#include <orvo/core/Mutex.h>

namespace orvo {

class ORVO_API SecureIO : public IO {
 public:
  // `io` must not be null; the new object holds a reference on it.
  static THandle<SecureIO> createInstance(IO* io);

  // A copy wraps the same device under a lock of its own.
  SecureIO(const SecureIO& other);
  SecureIO& operator=(const SecureIO& other);

  const wchar_t* getClassName() const override { return L"SecureIO"; }

  int available() const override;
  int peek(void* buffer, int size) const override;
  int read(void* buffer, int size) override;
  int write(const void* buffer, int size) override;

  // The lock that each call holds.
  Mutex& getMutex() const { return mutex; }

 protected:
  ~SecureIO() override;

 private:
  explicit SecureIO(IO* io);

  mutable Mutex mutex;
  THandle<IO> io;
};

}  // namespace orvo
