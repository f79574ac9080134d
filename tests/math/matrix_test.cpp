// Matrices against naive products in a longer type, and against what they are for: points that must land somewhere.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>

#include "orvandel/math_routines.h"

namespace {

constexpr OrvMatrix kIdentity{{1, 0, 0, 0, 1, 0, 0, 0, 1}};

class Matrix : public testing::Test {
 protected:
  double Some(double size = 10) { return std::uniform_real_distribution<double>(-size, size)(random); }
  OrvMatrix SomeMatrix() {
    OrvMatrix m;
    for (double& entry : m.m) entry = Some();
    return m;
  }
  OrvMatrix SomeAffineMatrix() {
    OrvMatrix m = SomeMatrix();
    m.m[2] = m.m[5] = 0;
    m.m[8] = 1;
    return m;
  }

  std::mt19937 random{1};
};

bool SameBytes(const OrvMatrix& a, const OrvMatrix& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

void ExpectNear(const OrvMatrix& m, const std::array<long double, 9>& expected) {
  for (std::size_t i = 0; i < 9; ++i) EXPECT_NEAR(m.m[i], static_cast<double>(expected[i]), 1e-9) << i;
}

std::array<long double, 9> NaiveProduct(const OrvMatrix& a, const OrvMatrix& b) {
  std::array<long double, 9> product{};
  for (std::size_t i = 0; i < 27; ++i) {
    const std::size_t row = i / 9, column = i / 3 % 3, k = i % 3;
    product[row * 3 + column] += static_cast<long double>(a.m[row * 3 + k]) * b.m[k * 3 + column];
  }
  return product;
}

OrvPointD Through(const OrvMatrix& m, OrvPointD point) {
  EXPECT_EQ(M_TransformFloatPoints(&m, 1, &point), 0);
  return point;
}

void ExpectAt(const OrvPointD& point, double x, double y) {
  EXPECT_NEAR(point.x, x, 1e-9);
  EXPECT_NEAR(point.y, y, 1e-9);
}

TEST_F(Matrix, ConcatenationIsTheProductSecondFirst) {
  for (int i = 0; i < 100; ++i) {
    const OrvMatrix a = SomeMatrix(), b = SomeMatrix();
    OrvMatrix result = b;
    EXPECT_EQ(M_ConcatMatrix(&a, &result), 0);
    ExpectNear(result, NaiveProduct(b, a));
    OrvMatrix self = b;
    M_ConcatMatrix(&self, &self);
    ExpectNear(self, NaiveProduct(b, b));

    OrvVector3D once[2] = {{Some(), Some(), Some()}, {1, 2, 3}};
    const OrvMatrix asRow{{once[0].x, once[0].y, once[0].z}};
    const std::array<long double, 9> expected = NaiveProduct(asRow, result);
    EXPECT_EQ(M_TransformVector3(&result, 1, once), 0);
    EXPECT_NEAR(once[0].x, static_cast<double>(expected[0]), 1e-8);
    EXPECT_NEAR(once[0].y, static_cast<double>(expected[1]), 1e-8);
    EXPECT_NEAR(once[0].z, static_cast<double>(expected[2]), 1e-8);
    EXPECT_EQ(once[1].z, 3) << "beyond the count";
  }
}

TEST_F(Matrix, ChangesComeAfterWhatTheMatrixDid) {
  for (int i = 0; i < 100; ++i) {
    const OrvMatrix before = SomeAffineMatrix();
    const OrvPointD point{Some(), Some()};
    const OrvPointD p = Through(before, point);
    const double cx = Some(), cy = Some(), degrees = Some(1000);
    const double sx = i % 3 == 0 ? 1 : Some(), sy = i % 3 == 1 ? 1 : Some();

    OrvMatrix m = before;
    EXPECT_EQ(M_TranslateMatrix(&m, sx, sy), 0);
    ExpectAt(Through(m, point), p.x + sx, p.y + sy);
    m = before;
    EXPECT_EQ(M_ScaleMatrix(&m, sx, sy, cx, cy), 0);
    ExpectAt(Through(m, point), cx + (p.x - cx) * sx, cy + (p.y - cy) * sy);
    m = before;
    EXPECT_EQ(M_RotateMatrix(&m, degrees, cx, cy), 0);
    const double angle = degrees * std::numbers::pi / 180;
    const double dx = p.x - cx, dy = p.y - cy;
    ExpectAt(Through(m, point), cx + dx * std::cos(angle) - dy * std::sin(angle),
             cy + dx * std::sin(angle) + dy * std::cos(angle));

    // The projective column of a general matrix takes part as well.
    const OrvMatrix general = m = SomeMatrix();
    M_TranslateMatrix(&m, sx, sy);
    ExpectNear(m, NaiveProduct(general, {{1, 0, 0, 0, 1, 0, sx, sy, 1}}));
  }
}

TEST_F(Matrix, NoChangeLeavesEveryBit) {
  const volatile double quarterTurn = std::numbers::pi / 2;  // compilers know better cosines than some libraries
  const OrvMatrix before{{0.1, std::nan(""), -0.0, 1e300, 5, 6, 7, 8, 9}};
  OrvMatrix m = before;
  M_ScaleMatrix(&m, 1, 1, 5, 6);
  for (const double degrees : {0.0, 360.0, -720.0, 3.6e8}) M_RotateMatrix(&m, degrees, 3, 4);
  EXPECT_TRUE(SameBytes(m, before));

  m = kIdentity;
  M_RotateMatrix(&m, 90, 0, 0);
  const OrvPointD turned = Through(m, {1, 0});
  EXPECT_EQ(turned.x, std::cos(quarterTurn));
  EXPECT_EQ(turned.y, 1);
  EXPECT_EQ(M_SetIdentityMatrix(&m), 0);
  EXPECT_TRUE(SameBytes(m, kIdentity));
}

TEST_F(Matrix, KindIsDecidedByWhichEntriesDiffer) {
  // Every set of entries that differ from the identity's.
  for (unsigned changed = 0; changed < 512; ++changed) {
    const auto differs = [changed](unsigned entry) { return (changed >> entry & 1) != 0; };
    OrvMatrix m = kIdentity;
    for (unsigned i = 0; i < 9; ++i) m.m[i] += differs(i) ? 1e-12 : 0;
    const bool isMoved = differs(6) || differs(7);
    const bool isScaled = differs(0) || differs(4);
    int32_t expected = (isScaled ? 2 : 0) + (isMoved ? 1 : 0);
    if (differs(1) || differs(3)) expected = 4;
    if (differs(2) || differs(5) || differs(8)) expected = 5;

    int32_t kind = -1;
    EXPECT_EQ(M_GetMatrixType(&m, &kind), 0);
    EXPECT_EQ(kind, expected) << changed;
    OrvRectD rect{1, 2, 3, 4};
    bool notAxisAligned = expected < 4;
    M_TransformFloatRect(&m, &rect, nullptr, &notAxisAligned);
    EXPECT_EQ(notAxisAligned, expected >= 4) << changed;
  }
}

TEST_F(Matrix, RectanglesBecomeTheBoxOfTheirCorners) {
  for (int i = 0; i < 100; ++i) {
    const OrvMatrix m = i % 2 == 0 ? SomeMatrix() : SomeAffineMatrix();
    const OrvRectD before{Some(), Some(), Some(), Some()};
    OrvRectD rect = before;
    OrvPointD corners[4];
    EXPECT_EQ(M_TransformFloatRect(&m, &rect, corners, nullptr), 0);
    double left = INFINITY, top = INFINITY, right = -INFINITY, bottom = -INFINITY;
    for (int k = 0; k < 4; ++k) {
      const OrvPointD c =
          Through(m, {k == 1 || k == 2 ? before.right : before.left, k < 2 ? before.top : before.bottom});
      EXPECT_TRUE(c.x == corners[k].x && c.y == corners[k].y) << k;
      left = std::min(left, c.x);
      right = std::max(right, c.x);
      top = std::min(top, c.y);
      bottom = std::max(bottom, c.y);
    }
    EXPECT_TRUE(rect.left == left && rect.top == top && rect.right == right && rect.bottom == bottom);
  }
}

TEST_F(Matrix, NullPointersAndEmptyArrays) {
  OrvMatrix m = kIdentity;
  OrvRectD rect{};
  OrvPointD point{1, 1};
  OrvVector3D vector{1, 1, 1};
  int32_t kind = 0;
  EXPECT_TRUE(M_SetIdentityMatrix(nullptr) == 0 && M_TranslateMatrix(nullptr, 1, 2) == 0);
  const int32_t refused[] = {M_RotateMatrix(nullptr, 0, 1, 2),
                             M_GetMatrixType(nullptr, &kind),
                             M_GetMatrixType(&m, nullptr),
                             M_TransformFloatPoints(nullptr, 0, &point),
                             M_TransformFloatPoints(&m, 0, nullptr),
                             M_TransformFloatRect(nullptr, &rect, nullptr, nullptr),
                             M_TransformFloatRect(&m, nullptr, &point, nullptr)};
  EXPECT_THAT(refused, testing::Each(123));
  M_TranslateMatrix(&m, 5, 5);
  for (const int32_t count : {0, -1, INT32_MIN}) {
    EXPECT_TRUE(M_TransformFloatPoints(&m, count, &point) == 0 && M_TransformVector3(&m, count, &vector) == 0);
  }
  EXPECT_TRUE(point.x == 1 && vector.x == 1);
}

}  // namespace
