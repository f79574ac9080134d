// 3 x 3 matrices of doubles, row-major, for row vectors: a change is always multiplied on the right, m = m x change.
#include <algorithm>
#include <cmath>

#include "orvandel/math_routines.h"

namespace {

OrvMatrix Product(const OrvMatrix& a, const OrvMatrix& b) {
  OrvMatrix product;
  for (int row = 0; row < 9; row += 3) {
    for (int column = 0; column < 3; ++column) {
      product.m[row + column] =
          a.m[row] * b.m[column] + a.m[row + 1] * b.m[column + 3] + a.m[row + 2] * b.m[column + 6];
    }
  }
  return product;
}

}  // namespace

int32_t M_SetIdentityMatrix(OrvMatrix* m) {
  if (m != nullptr) *m = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};
  return ORV_MATH_OK;
}

int32_t M_ConcatMatrix(const OrvMatrix* a, OrvMatrix* b) {
  *b = Product(*b, *a);
  return ORV_MATH_OK;
}

int32_t M_TranslateMatrix(OrvMatrix* m, double tx, double ty) {
  if (m != nullptr) *m = Product(*m, {{1, 0, 0, 0, 1, 0, tx, ty, 1}});
  return ORV_MATH_OK;
}

int32_t M_ScaleMatrix(OrvMatrix* m, double sx, double sy, double cx, double cy) {
  if (sx == 1 && sy == 1) return ORV_MATH_OK;
  *m = Product(*m, {{sx, 0, 0, 0, sy, 0, (1 - sx) * cx, (1 - sy) * cy, 1}});
  return ORV_MATH_OK;
}

int32_t M_RotateMatrix(OrvMatrix* m, double degrees, double cx, double cy) {
  if (m == nullptr) return ORV_MATH_INVALID_ARGUMENT;
  const double reduced = M_fmod(degrees, 360.0);
  if (reduced == 0) return ORV_MATH_OK;
  const double radians = reduced * 0.017453292519943295;
  const double c = std::cos(radians);
  const double s = std::sin(radians);
  *m = Product(*m, {{c, s, 0, -s, c, 0, (1 - c) * cx + s * cy, (1 - c) * cy - s * cx, 1}});
  return ORV_MATH_OK;
}

int32_t M_GetMatrixType(const OrvMatrix* matrix, int32_t* kind) {
  if (matrix == nullptr || kind == nullptr) return ORV_MATH_INVALID_ARGUMENT;
  const double* m = matrix->m;
  const bool isProjective = !(m[2] == 0 && m[5] == 0 && m[8] == 1);
  const bool isSkewed = !(m[1] == 0 && m[3] == 0);
  const bool isScaled = !(m[0] == 1 && m[4] == 1);
  const bool isMoved = !(m[6] == 0 && m[7] == 0);
  if (isProjective) {
    *kind = ORV_MATRIX_PROJECTIVE;
  } else if (isSkewed) {
    *kind = ORV_MATRIX_AFFINE;
  } else if (isScaled) {
    *kind = isMoved ? ORV_MATRIX_SCALE_TRANSLATION : ORV_MATRIX_SCALE;
  } else {
    *kind = isMoved ? ORV_MATRIX_TRANSLATION : ORV_MATRIX_IDENTITY;
  }
  return ORV_MATH_OK;
}

int32_t M_TransformFloatPoints(const OrvMatrix* matrix, int32_t count, OrvPointD* points) {
  if (matrix == nullptr || points == nullptr) return ORV_MATH_INVALID_ARGUMENT;
  const double* m = matrix->m;
  for (int32_t i = 0; i < count; ++i) {
    const OrvPointD p = points[i];
    points[i] = {p.x * m[0] + p.y * m[3] + m[6], p.x * m[1] + p.y * m[4] + m[7]};
  }
  return ORV_MATH_OK;
}

int32_t M_TransformFloatRect(const OrvMatrix* m, OrvRectD* rect, OrvPointD* corners, bool* notAxisAligned) {
  if (m == nullptr || rect == nullptr) return ORV_MATH_INVALID_ARGUMENT;
  OrvPointD scratch[4];
  OrvPointD* corner = corners != nullptr ? corners : scratch;
  const OrvRectD r = *rect;
  corner[0] = {r.left, r.top};
  corner[1] = {r.right, r.top};
  corner[2] = {r.right, r.bottom};
  corner[3] = {r.left, r.bottom};
  M_TransformFloatPoints(m, 4, corner);
  const auto [left, right] = std::minmax({corner[0].x, corner[1].x, corner[2].x, corner[3].x});
  const auto [top, bottom] = std::minmax({corner[0].y, corner[1].y, corner[2].y, corner[3].y});
  *rect = {left, top, right, bottom};
  if (notAxisAligned != nullptr) {
    int32_t kind = 0;
    M_GetMatrixType(m, &kind);
    *notAxisAligned = kind >= ORV_MATRIX_AFFINE;
  }
  return ORV_MATH_OK;
}

int32_t M_TransformVector3(const OrvMatrix* matrix, int32_t count, OrvVector3D* vectors) {
  const double* m = matrix->m;
  for (int32_t i = 0; i < count; ++i) {
    const OrvVector3D v = vectors[i];
    vectors[i] = {v.x * m[0] + v.y * m[3] + v.z * m[6], v.x * m[1] + v.y * m[4] + v.z * m[7],
                  v.x * m[2] + v.y * m[5] + v.z * m[8]};
  }
  return ORV_MATH_OK;
}
