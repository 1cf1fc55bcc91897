#pragma once

#include <array>

namespace TalSDK::Math {}

// A 4x4 affine transform of doubles in row order (translation in the last column), the
// identity by default. Equality is exact.
class MMTransformMatrix {
 public:
  MMTransformMatrix() { SetIdentity(); }

  void SetIdentity() {
    for (int r = 0; r < 4; ++r) {
      for (int c = 0; c < 4; ++c)
        m_values[r * 4 + c] = r == c ? 1.0 : 0.0;
    }
  }

  // Sets all sixteen values from `values`, given row by row.
  void MakeFromDouble16(const double* values) {
    for (int i = 0; i < 16; ++i)
      m_values[i] = values[i];
  }
  // Copies all sixteen values into `values`, row by row.
  void ConvertToDouble16(double* values) const {
    for (int i = 0; i < 16; ++i)
      values[i] = m_values[i];
  }

  double operator()(int row, int column) const { return m_values[row * 4 + column]; }
  double& operator()(int row, int column) { return m_values[row * 4 + column]; }

  bool operator==(const MMTransformMatrix&) const = default;

 private:
  std::array<double, 16> m_values;
};
