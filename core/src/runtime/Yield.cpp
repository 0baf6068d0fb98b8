#include <orvo/core/Yield.h>

#include "platform/Sleep.h"

namespace orvo {

namespace {
constexpr unsigned int kDefaultYieldTime = 20;
}  // namespace

Unknown::THandle<Yield> Yield::createInstance() { return createInstance(kDefaultYieldTime); }

Unknown::THandle<Yield> Yield::createInstance(unsigned int ms) { return THandle<Yield>(new Yield(ms)); }

Yield::~Yield() = default;

void Yield::onTick(unsigned int) { platform::sleepMilliseconds(_yieldTime); }

}  // namespace orvo
