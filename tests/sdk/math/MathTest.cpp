#include <gtest/gtest.h>

#include "sdk/math/BoundingBox.h"
#include "sdk/math/TransformMatrix.h"

namespace {

TEST(MathTest, BoundingBoxGrowsFromEmpty) {
  TalSDK::Math::boundingbox<double, 3> box;
  EXPECT_TRUE(box.IsEmpty());
  box.Add({1, -2, 3});
  EXPECT_FALSE(box.IsEmpty());  // a single point is a degenerate, non-empty box
  box.Add({-1, 5, 3});
  EXPECT_EQ(box, (TalSDK::Math::boundingbox<double, 3>({-1, -2, 3}, {1, 5, 3})));
}

TEST(MathTest, TransformMatrixIsRowOrder) {
  MMTransformMatrix m;
  EXPECT_EQ(m(2, 2), 1.0);
  double values[16];
  for (int i = 0; i < 16; ++i)
    values[i] = i;
  m.MakeFromDouble16(values);
  EXPECT_EQ(m(0, 3), 3.0);  // translation x, last column of the first row
  double back[16] = {};
  m.ConvertToDouble16(back);
  EXPECT_EQ(back[7], 7.0);
}

}  // namespace
