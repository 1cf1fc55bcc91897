#include <TalSDK/conceptlaser/CLTextDump.h>

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>

namespace {

// Counts the flushes, one per std::endl.
class CountingBuffer : public std::wstringbuf {
 public:
  int syncs = 0;

 protected:
  int sync() override {
    ++syncs;
    return std::wstringbuf::sync();
  }
};

template <class T>
std::wstring Dump(const T& value, int* flushes = nullptr,
                  void (*configure)(std::wostream&) = nullptr) {
  CountingBuffer buffer;
  std::wostream stream(&buffer);
  if (configure != nullptr) configure(stream);
  std::wostream& returned = stream << value;
  EXPECT_EQ(&returned, &stream);
  if (flushes != nullptr) *flushes = buffer.syncs;
  return buffer.str();
}

TEST(CLTextDumpTest, DefaultLaserSet) {
  MCLBuildParameters laser;
  laser.m_laserSaturationTime = 99;  // never printed
  int flushes = 0;
  EXPECT_EQ(Dump(laser, &flushes),
            L"Build params:\n"
            L"\t\tPower:           \t100\n"
            L"\t\tFocus:           \t50\n"
            L"\t\tSpeed:           \t600\n"
            L"\t\tExposure:        \t300\n"
            L"\t\tOnDelay:         \t80\n"
            L"\t\tOffDelay:        \t300\n"
            L"\t\tMarkDelay:       \t0\n"
            L"\t\tPolygonDelay:    \t0\n"
            L"\t\tJumpDelay:       \t0\n"
            L"\t\tJumpDelayMin:    \t500\n"
            L"\t\tJumpDelayMax:    \t1000\n");
  EXPECT_EQ(flushes, 11);
}

// The stream's own flags apply: words for booleans, three significant digits here.
TEST(CLTextDumpTest, PostProcessSetWithTheStreamsFlags) {
  MCLPostProcessParameters post;
  post.SetNoCore();
  post.SetIncrementalInsideOffset(3, -50);
  post.SetIncrementalOutsideOffset(2, 75);
  post.GetIslandParameters().SetEnabled(false);
  post.GetIslandParameters().Set(MCLIslandParameters::eHexagonal, 1000, 0);
  post.GetIslandParameters().SetOrientation(12.3456);
  post.GetIslandParameters().SetOrientationIncrement(-0.125);
  post.GetHatchingParameters().SetRetract(-3);
  post.GetHatchingParameters().m_initialAngle = 1.0 / 3.0;
  post.GetHatchingParameters().m_turningAngle = 67.5;
  const auto configure = [](std::wostream& stream) {
    stream << std::boolalpha << std::setprecision(3);
  };
  int flushes = 0;
  EXPECT_EQ(Dump(post, &flushes, configure),
            L"\t\tSkinWidth:                      2147483647\n"
            L"\t\tBeamCompensation:               2500\n"
            L"\t\tInsideOffsets:                  3\n"
            L"\t\tInsideOffsetsInterval:          -50\n"
            L"\t\tOutsideOffsets:                 2\n"
            L"\t\tOutsideOffsetsInterval:         75\n"
            L"\t\tIslandsEnabled:                 false\n"
            L"\t\tIslandsXSize:                   1732\n"
            L"\t\tIslandsYSize:                   1500\n"
            L"\t\tIslandsOrientation:             12.3\n"
            L"\t\tIslandsOrientationIncrement:    -0.125\n"
            L"\t\tHatchingEnabled:                true\n"
            L"\t\tHatchingDistance:               1000\n"
            L"\t\tHatchingOffset:                 1000\n"
            L"\t\tHatchingRetract:                -3\n"
            L"\t\tHatchingOrientation:            0.333\n"
            L"\t\tHatchingOrientationIncrement:   67.5\n");
  EXPECT_EQ(flushes, 17);
}

}  // namespace
