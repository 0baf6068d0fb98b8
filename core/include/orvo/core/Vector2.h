// Vector2.h: two floats, x and y, as a plain value.
//
// The vectors are carriers: they are built, copied and turned into property
// text ("x,y"); the library computes nothing with them. The default
// constructor leaves the fields unset, so assign before reading.
//
//   Vector2 scale(2.0f, 0.5f);
//
// Threads: a plain value with no lock; read it from any number of threads,
// and give a thread that writes it a copy of its own.
#pragma once

namespace orvo {

class Vector2 {
 public:
  Vector2() = default;
  constexpr Vector2(float x, float y) : x(x), y(y) {}

  friend constexpr bool operator==(const Vector2&, const Vector2&) = default;

  float x;
  float y;
};

}  // namespace orvo
