#include "property/BraceMatches.h"

#include <algorithm>

namespace orvo::property {

BraceMatches::BraceMatches(std::wstring_view text) {
  std::vector<std::size_t> open;  // frames still open, innermost last
  bool hidden = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (hidden) {
      hidden = false;
    } else if (text[i] == L'\\') {
      hidden = true;
    } else if (text[i] == L'{') {
      open.push_back(_frames.size());
      _frames.push_back(Frame{static_cast<int>(i), -1});
    } else if (text[i] == L'}' && !open.empty()) {
      _frames[open.back()].closing = static_cast<int>(i);
      open.pop_back();
    }
  }
}

int BraceMatches::closing(int open) const noexcept {
  const std::size_t count = _frames.size();
  std::size_t low = _next < count && _frames[_next].open <= open ? _next : 0;
  // Gallop from the last answer, then search the last step's range.
  std::size_t step = 1;
  while (low + step < count && _frames[low + step].open < open) {
    low += step;
    step *= 2;
  }
  const auto first = _frames.begin() + static_cast<std::ptrdiff_t>(low);
  const auto last = _frames.begin() + static_cast<std::ptrdiff_t>(std::min(low + step, count));
  const auto found = std::partition_point(first, last, [open](const Frame& f) { return f.open < open; });
  _next = static_cast<std::size_t>(found - _frames.begin());
  return found != _frames.end() && found->open == open ? found->closing : -1;
}

}  // namespace orvo::property
