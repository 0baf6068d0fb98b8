// BraceMatches.h: where each frame of a property text closes, for readers
// that must find frames inside frames without scanning them again.
//
//   BraceMatches braces(text);
//   PropertyTextReader reader(text, &braces);
//
// Threads: lookups move a cursor of the table's own, so a table serves one
// thread at a time.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/HugePageAllocator.h"

namespace orvo::property {

// The closing brace of every opening brace of one text, found in one pass.
// Where a scan of a frame may start (after a character that is not a
// backslash) its result is the same as the table's, because a backslash run
// cannot reach back past the opening brace. The table holds the braces only,
// not the text, and answers lookups in rising order in amortised constant
// time, searching on from where the last one ended; it is therefore used by
// one thread at a time.
class BraceMatches {
 public:
  explicit BraceMatches(std::wstring_view text);
  // The position of the brace that closes the one at `open`, or -1.
  int closing(int open) const noexcept;

 private:
  struct Frame {
    int open;
    int closing;
  };
  // A text of megabytes has millions of frames: see HugePageAllocator.h.
  std::vector<Frame, platform::HugePageAllocator<Frame>> _frames;  // by opening position
  mutable std::size_t _next = 0;
};

}  // namespace orvo::property
