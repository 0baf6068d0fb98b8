#include <orvo/core/SecureIO.h>

#include <new>

namespace orvo {

Unknown::THandle<SecureIO> SecureIO::createInstance(IO* io) {
  return THandle<SecureIO>(new (std::nothrow) SecureIO(io));
}

SecureIO::SecureIO(IO* device) : io(device) {}

// The Mutex is not copied: every SecureIO locks its own.
SecureIO::SecureIO(const SecureIO& other) : Unknown(other), IO(other), io(other.io) {}

SecureIO& SecureIO::operator=(const SecureIO& other) {
  IO::operator=(other);
  io = other.io;
  return *this;
}

SecureIO::~SecureIO() = default;

int SecureIO::available() const {
  MutexGuard guard(mutex);
  return io->available();
}

int SecureIO::peek(void* buffer, int size) const {
  MutexGuard guard(mutex);
  return io->peek(buffer, size);
}

int SecureIO::read(void* buffer, int size) {
  MutexGuard guard(mutex);
  return io->read(buffer, size);
}

int SecureIO::write(const void* buffer, int size) {
  MutexGuard guard(mutex);
  return io->write(buffer, size);
}

}  // namespace orvo
