// The geometry carriers: each constructor argument in its own field, and the
// two matrix constants.
#include <gtest/gtest.h>

#include <orvo/core/Matrix4.h>
#include <orvo/core/Point.h>
#include <orvo/core/Quaternion.h>
#include <orvo/core/Rect.h>
#include <orvo/core/Vector2.h>
#include <orvo/core/Vector3.h>
#include <orvo/core/Vector4.h>

namespace orvo {
namespace {

// Copied while this program's static objects are built, before main: the
// constants must hold their values by then.
const Matrix4 constantsAtStart[] = {Matrix4::ZERO, Matrix4::IDENTITY};

TEST(Geometry, EachArgumentLandsInItsOwnFieldAndTheMatrixConstantsHoldFromTheStart) {
  float a = 1, b = 2, c = 3, d = 4;  // Not constants, so that the constructors run.
  const Vector2 v2(a, b);
  const Vector3 v3(a, b, c);
  const Vector4 v4(a, b, c, d);
  const Quaternion q(a, b, c, d);
  const Point p(static_cast<int>(a), static_cast<int>(b));
  const Rectf r(a, b, c, d);
  const float fields[][4] = {{v2.x, v2.y, 3, 4},   {v3.x, v3.y, v3.z, 4},         {v4.x, v4.y, v4.z, v4.w},
                             {q.x, q.y, q.z, q.w}, {float(p.x), float(p.y), 3, 4}, {r.left, r.top, r.right, r.bottom}};
  for (const auto& value : fields) EXPECT_EQ(std::vector<float>(value, value + 4), (std::vector<float>{1, 2, 3, 4}));
  // Equal in all four fields only.
  EXPECT_TRUE(q == Quaternion(a, b, c, d) && !(q == Quaternion(0, b, c, d)) &&
              !(q == Quaternion(a, 0, c, d)) && !(q == Quaternion(a, b, 0, d)) && !(q == Quaternion(a, b, c, 0)));
  const Matrix4 m(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(m.m[i], static_cast<float>(i));
    EXPECT_EQ(constantsAtStart[0].m[i], 0.0f) << i;
    EXPECT_EQ(constantsAtStart[1].m[i], i % 5 == 0 ? 1.0f : 0.0f) << i;
  }
}

}  // namespace
}  // namespace orvo
