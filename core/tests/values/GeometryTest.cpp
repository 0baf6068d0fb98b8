// The geometry carriers: field order, plain-value nature and the two matrix
// constants.
#include <gtest/gtest.h>

#include <type_traits>

#include <orvo/core/Matrix4.h>
#include <orvo/core/Point.h>
#include <orvo/core/Quaternion.h>
#include <orvo/core/Rect.h>
#include <orvo/core/Vector2.h>
#include <orvo/core/Vector3.h>
#include <orvo/core/Vector4.h>

namespace orvo {
namespace {

// Read while this program's static objects are built, before main: the
// constants must hold their values by then, whatever the order in which the
// program's parts are initialised.
const float identityAtStart[4] = {Matrix4::IDENTITY.m[0], Matrix4::IDENTITY.m[5],
                                  Matrix4::IDENTITY.m[10], Matrix4::IDENTITY.m[15]};
const float zeroAtStart = Matrix4::ZERO.m[0] + Matrix4::ZERO.m[15];

TEST(Geometry, MatrixConstantsHoldTheirValuesFromTheStart) {
  for (float value : identityAtStart) EXPECT_EQ(value, 1.0f);
  EXPECT_EQ(zeroAtStart, 0.0f);
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(Matrix4::ZERO.m[i], 0.0f) << i;
    EXPECT_EQ(Matrix4::IDENTITY.m[i], (i % 5 == 0) ? 1.0f : 0.0f) << i;
  }
}

TEST(Geometry, QuaternionKeepsItsArgumentsInOrder) {
  const Quaternion q(0.5f, -1.25f, 2.0f, 1.0f);
  EXPECT_EQ(q.x, 0.5f);
  EXPECT_EQ(q.y, -1.25f);
  EXPECT_EQ(q.z, 2.0f);
  EXPECT_EQ(q.w, 1.0f);
  Quaternion other(0, 0, 0, 1);
  other = q;
  EXPECT_EQ(other, q);
}

TEST(Geometry, CarriersArePlainValuesOfTheirFieldsSize) {
  static_assert(sizeof(Point) == 8 && sizeof(Pointf) == 8);
  static_assert(sizeof(Rect) == 16 && sizeof(Rectf) == 16);
  static_assert(sizeof(Vector2) == 8 && sizeof(Vector3) == 12 && sizeof(Vector4) == 16);
  static_assert(sizeof(Quaternion) == 16 && sizeof(Matrix4) == 64);
  static_assert(std::is_trivially_copyable_v<Point> && std::is_trivially_copyable_v<Rectf>);
  static_assert(std::is_trivially_copyable_v<Vector3> && std::is_trivially_copyable_v<Matrix4>);
  static_assert(std::is_trivially_default_constructible_v<Vector4>);
  static_assert(!std::is_default_constructible_v<Quaternion>);

  const Matrix4 m(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(m.m[i], static_cast<float>(i));
  const Rect r(1, 2, 3, 4);
  EXPECT_EQ(r.left + 10 * r.top + 100 * r.right + 1000 * r.bottom, 4321);
}

}  // namespace
}  // namespace orvo
