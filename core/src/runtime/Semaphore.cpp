#include <orvo/core/Semaphore.h>

#include <chrono>
#include <new>

namespace orvo {

Semaphore::~Semaphore() = default;

Unknown::THandle<Semaphore> Semaphore::createInstance() {
  return THandle<Semaphore>(new (std::nothrow) Semaphore);
}

void Semaphore::signal() {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    ++_count;
  }
  _signalEvent.notify_one();
}

bool Semaphore::wait(unsigned int timeout) {
  std::unique_lock<std::mutex> lock(_mutex);
  const auto available = [this] { return _count > 0; };
  if (!available()) {
    if (timeout == 0) return false;
    if (timeout == kInfinite) {
      _signalEvent.wait(lock, available);
    } else if (!_signalEvent.wait_for(lock, std::chrono::milliseconds(timeout), available)) {
      return false;
    }
  }
  --_count;
  lock.unlock();
  _takenEvent.notify_all();
  return true;
}

void Semaphore::sync(int count) {
  std::unique_lock<std::mutex> lock(_mutex);
  _takenEvent.wait(lock, [this, count] { return _count <= count; });
}

int Semaphore::getCount() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _count;
}

}  // namespace orvo
