#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace TalSDK::Math {

// An axis-aligned box of N dimensions: the minimum corner, then the maximum corner.
// A default box is empty (minimum above maximum) until a point is added.
template <class T, std::size_t N>
class boundingbox {
 public:
  using point = std::array<T, N>;

  boundingbox() {
    m_min.fill(std::numeric_limits<T>::max());
    m_max.fill(std::numeric_limits<T>::lowest());
  }
  boundingbox(const point& minimum, const point& maximum) : m_min(minimum), m_max(maximum) {}

  const point& Min() const { return m_min; }
  const point& Max() const { return m_max; }
  T Min(std::size_t axis) const { return m_min[axis]; }
  T Max(std::size_t axis) const { return m_max[axis]; }
  void SetMin(std::size_t axis, T value) { m_min[axis] = value; }
  void SetMax(std::size_t axis, T value) { m_max[axis] = value; }

  bool IsEmpty() const {
    for (std::size_t i = 0; i < N; ++i) {
      if (m_min[i] > m_max[i]) return true;
    }
    return false;
  }

  void Add(const point& p) {
    for (std::size_t i = 0; i < N; ++i) {
      m_min[i] = std::min(m_min[i], p[i]);
      m_max[i] = std::max(m_max[i], p[i]);
    }
  }

  bool operator==(const boundingbox&) const = default;

 private:
  point m_min;
  point m_max;
};

}  // namespace TalSDK::Math
