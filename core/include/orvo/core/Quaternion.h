// Quaternion.h: a rotation's four floats, x, y, z and w, as a plain value.
//
// Built from its four values in field order and carried as property text
// ("x,y,z,w"); the library computes no rotation with it. There is no default
// constructor: the identity rotation is Quaternion(0, 0, 0, 1).
//
//   Quaternion turn(0.0f, 0.0f, 0.7071f, 0.7071f);
//
// Threads: a plain value with no lock; read it from any number of threads,
// and give a thread that writes it a copy of its own.
#pragma once

namespace orvo {

class Quaternion {
 public:
  constexpr Quaternion(float x, float y, float z, float w) : x(x), y(y), z(z), w(w) {}

  friend constexpr bool operator==(const Quaternion&, const Quaternion&) = default;

  float x;
  float y;
  float z;
  float w;
};

}  // namespace orvo
