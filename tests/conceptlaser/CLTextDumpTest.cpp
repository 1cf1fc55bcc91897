#include <TalSDK/conceptlaser/CLTextDump.h>

#include <gtest/gtest.h>

#include <iomanip>
#include <string>
#include <utility>

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

// What `value` prints on a stream set to words for booleans and three significant digits, and
// the number of flushes.
template <class T>
std::pair<std::wstring, int> Dump(const T& value) {
  CountingBuffer buffer;
  std::wostream stream(&buffer);
  stream << std::boolalpha << std::setprecision(3);
  EXPECT_EQ(&(stream << value), &stream);
  return {buffer.str(), buffer.syncs};
}

// One line per value, each ended by std::endl; the stream's own flags apply.
TEST(CLTextDumpTest, LaserAndPostProcessSets) {
  MCLBuildParameters laser;
  laser.m_laserSaturationTime = 99;  // never printed
  EXPECT_EQ(Dump(laser),
            std::pair(std::wstring(L"Build params:\n"
                                   L"\t\tPower:           \t100\n\t\tFocus:           \t50\n"
                                   L"\t\tSpeed:           \t600\n\t\tExposure:        \t300\n"
                                   L"\t\tOnDelay:         \t80\n\t\tOffDelay:        \t300\n"
                                   L"\t\tMarkDelay:       \t0\n\t\tPolygonDelay:    \t0\n"
                                   L"\t\tJumpDelay:       \t0\n\t\tJumpDelayMin:    \t500\n"
                                   L"\t\tJumpDelayMax:    \t1000\n"),
                      11));

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
  EXPECT_EQ(Dump(post), std::pair(std::wstring(L"\t\tSkinWidth:                      2147483647\n"
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
                                               L"\t\tHatchingOrientationIncrement:   67.5\n"),
                                  17));
}

}  // namespace
