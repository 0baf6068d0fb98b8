// Vector3.h: three floats, x, y and z, as a plain value.
//
// A carrier like Vector2: built, copied and turned into property text
// ("x,y,z"); the library computes nothing with it. The default constructor
// leaves the fields unset, so assign before reading.
//
//   Vector3 position(1.0f, 2.0f, 3.0f);
//
// Threads: a plain value with no lock; read it from any number of threads,
// and give a thread that writes it a copy of its own.
#pragma once

namespace orvo {

class Vector3 {
 public:
  Vector3() = default;
  constexpr Vector3(float x, float y, float z) : x(x), y(y), z(z) {}

  friend constexpr bool operator==(const Vector3&, const Vector3&) = default;

  float x;
  float y;
  float z;
};

}  // namespace orvo
