// ReadStep.h: how far a reader trusts a count that came off the wire.
//
// A count in front of a block comes from the sender. Readers take the first
// `first` items at once and then at most as many as have already arrived, so
// memory doubles only with data behind it and a hostile count costs no more
// than the bytes that really arrive.
//
// Threads: a pure function.
#pragma once

#include <algorithm>

namespace orvo::detail {

// The size of the next read when `have` of `total` items have arrived.
template <class N>
constexpr N nextReadStep(N have, N total, N first) {
  return std::min(total - have, std::max(first, have));
}

}  // namespace orvo::detail
