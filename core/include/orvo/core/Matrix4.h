// Matrix4.h: a 4 by 4 matrix of floats, as a plain value.
//
// The sixteen values are kept in the order in which the constructor takes
// them, m[0] to m[15]. ZERO and IDENTITY are constants of the library, set
// before any code of the program runs. The library computes nothing with a
// matrix and gives it no text form.
//
//   Matrix4 transform = Matrix4::IDENTITY;
//   transform.m[3] = 10.0f;
//
// Threads: a plain value with no lock; read it from any number of threads,
// and give a thread that writes it a copy of its own. ZERO and IDENTITY never
// change and may be read from anywhere.
#pragma once

#include <orvo/core/Export.h>

namespace orvo {

class ORVO_API Matrix4 {
 public:
  constexpr Matrix4(float m0, float m1, float m2, float m3,
                    float m4, float m5, float m6, float m7,
                    float m8, float m9, float m10, float m11,
                    float m12, float m13, float m14, float m15)
      : m{m0, m1, m2, m3, m4, m5, m6, m7, m8, m9, m10, m11, m12, m13, m14, m15} {}

  friend constexpr bool operator==(const Matrix4&, const Matrix4&) = default;

  static const Matrix4 ZERO;
  static const Matrix4 IDENTITY;

  float m[16];
};

}  // namespace orvo
