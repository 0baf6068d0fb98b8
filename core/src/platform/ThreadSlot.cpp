#include "platform/ThreadSlot.h"

namespace orvo::platform {

static_assert(sizeof(pthread_key_t) <= sizeof(unsigned int));

bool ThreadSlot::set(void* value) noexcept {
  unsigned int key = _key.load(std::memory_order_acquire);
  if (key == 0) {
    pthread_key_t made;
    if (pthread_key_create(&made, _atThreadExit) != 0) return false;
    // Two threads may race to make the key; the loser gives its own back.
    if (_key.compare_exchange_strong(key, made + 1, std::memory_order_acq_rel)) {
      key = made + 1;
    } else {
      pthread_key_delete(made);
    }
  }
  return pthread_setspecific(key - 1, value) == 0;
}

}  // namespace orvo::platform
