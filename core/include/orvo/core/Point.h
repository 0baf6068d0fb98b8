// Point.h: a point of two coordinates, as a plain value.
//
// TPoint carries a position from one place to another (the console takes one
// as its cursor position, the property text gives it as "x,y"); the library
// does no arithmetic with it. The default constructor leaves the fields
// unset, so assign before reading.
//
//   Point cursor(4, 2);
//   Console::setCursorPosition(cursor);
//
// Threads: a plain value with no lock; read it from any number of threads,
// and give a thread that writes it a copy of its own.
#pragma once

namespace orvo {

template <class T>
class TPoint {
 public:
  TPoint() = default;
  constexpr TPoint(T x, T y) : x(x), y(y) {}

  friend constexpr bool operator==(const TPoint&, const TPoint&) = default;

  T x;
  T y;
};

using Point = TPoint<int>;
using Pointf = TPoint<float>;

}  // namespace orvo
