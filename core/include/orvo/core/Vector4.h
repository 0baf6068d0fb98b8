// Vector4.h: four floats, x, y, z and w, as a plain value.
//
// A carrier like Vector2: built, copied and turned into property text
// ("x,y,z,w"); the library computes nothing with it. The default constructor
// leaves the fields unset, so assign before reading.
//
//   Vector4 colour(1.0f, 0.5f, 0.0f, 1.0f);
//
// Threads: a plain value with no lock; read it from any number of threads,
// and give a thread that writes it a copy of its own.
#pragma once

namespace orvo {

class Vector4 {
 public:
  Vector4() = default;
  constexpr Vector4(float x, float y, float z, float w) : x(x), y(y), z(z), w(w) {}

  friend constexpr bool operator==(const Vector4&, const Vector4&) = default;

  float x;
  float y;
  float z;
  float w;
};

}  // namespace orvo
