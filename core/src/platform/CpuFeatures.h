// CpuFeatures.h: what the processor offers beyond the x86-64 baseline.
//
// The text hot paths have AVX2 versions; they are chosen at run time, so that
// the library still runs on a processor without AVX2. Until the library's
// static initialisers have run, the portable paths are taken. Tests switch
// the AVX2 paths off to check the portable ones against them.
#pragma once

#include <atomic>

namespace orvo::platform {

namespace detail {
extern std::atomic<bool> avx2InUse;
}

// True when the processor runs AVX2 instructions and they are not switched
// off. A plain load: it is asked on every conversion.
inline bool hasAvx2() { return detail::avx2InUse.load(std::memory_order_relaxed); }

// Makes hasAvx2() answer false while `off` is true.
void switchOffAvx2(bool off);

}  // namespace orvo::platform
