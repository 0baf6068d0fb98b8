// Rect.h: a rectangle of four values, as a plain value.
//
// TRect holds its four fields in the order left, top, right, bottom, which is
// also the order of its property text; the library reads none of them on its
// own and does no arithmetic with them. The default constructor leaves the
// fields unset, so assign before reading.
//
//   Rect area(0, 0, 640, 480);
//
// Threads: a plain value with no lock; read it from any number of threads,
// and give a thread that writes it a copy of its own.
#pragma once

namespace orvo {

template <class T>
class TRect {
 public:
  TRect() = default;
  constexpr TRect(T left, T top, T right, T bottom)
      : left(left), top(top), right(right), bottom(bottom) {}

  friend constexpr bool operator==(const TRect&, const TRect&) = default;

  T left;
  T top;
  T right;
  T bottom;
};

using Rect = TRect<int>;
using Rectf = TRect<float>;

}  // namespace orvo
