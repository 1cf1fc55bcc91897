#include <TalSDK/platform/MachinePlatform.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <locale>
#include <optional>
#include <string>
#include <vector>

#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

using ::testing::HasSubstr;
using Platform = MSAXMachinePlatform;
using Shape = MSAXMachinePlatform::PlatformShape;
using Direction = MSAXMachinePlatform::Direction;
using Point = MSAXMachinePlatform::Point;

namespace {

constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

std::string Written(const Platform& platform) {
  return TestSupport::WriteBlock("Platform", platform);
}

// Reads one child element of "Platform" into `platform`; returns how many were refused.
std::size_t ReadOne(Platform& platform, const std::string& tag, const std::string& text) {
  return TestSupport::ReadBlock("<Platform><" + tag + ">" + text + "</" + tag + "></Platform>",
                                platform)
      .size();
}

void AddTriangleMesh(Platform& platform) {
  ASSERT_TRUE(platform.m_platformStl.GetPlatformStl(true)->SetGeometry(
      {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{{0, 1, 2}}}));
}

}  // namespace

TEST(MachinePlatformTest, ShapeIsStrictWhileAxesAndDirectionsFallBack) {
  using G = Platform::GasFlow;
  using R = Platform::Recoater;
  using enum DirectionAxis;
  const struct {
    const char* tag;
    const char* text;
    bool refused;
    bool box;  // read into a Circle platform
    std::optional<G> gasFlow;
    std::optional<R> recoater;
  } cases[] = {
      {"Shape", "Box", false, true, {}, {}},
      {"Shape", "box", true, false, {}, {}},
      {"Shape", "Circle ", true, false, {}, {}},
      {"shape", "Box", false, false, {}, {}},  // an unknown element, kept
      {"GasFlowVisible", "true", false, false, G{true}, {}},
      {"GasFlowVisible", "maybe", true, false, {}, {}},
      {"GasFlowDirectionAxis", "Y", false, false, G{false, Y}, {}},
      {"GasFlowDirectionAxis", "y", false, false, G{}, {}},
      {"GasFlowDirection", "Negative", false, false, G{false, X, Direction::Negative}, {}},
      {"GasFlowDirection", "Double", false, false, G{}, {}},
      {"RecoaterDirection", "Double", false, false, {}, R{false, X, Direction::Double}},
      {"RecoaterDirection", "Both", false, false, {}, R{}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.tag) + " " + c.text);
    Platform platform;
    platform.m_shape = Shape::Circle;
    EXPECT_EQ(ReadOne(platform, c.tag, c.text), c.refused ? 1u : 0u);
    EXPECT_EQ(platform.m_shape, c.box ? Shape::Box : Shape::Circle);
    EXPECT_EQ(platform.m_gasFlow, c.gasFlow);
    EXPECT_EQ(platform.m_recoater, c.recoater);
  }
}

TEST(MachinePlatformTest, IndicationsAreWrittenWholeAndOnlyWithTheirTexts) {
  Platform platform;
  ReadOne(platform, "RecoaterDirection", "Double");
  EXPECT_THAT(Written(platform), HasSubstr("  <Shape>Box</Shape>\n"
                                           "  <RecoaterVisible>false</RecoaterVisible>\n"
                                           "  <RecoaterDirectionAxis>X</RecoaterDirectionAxis>\n"
                                           "  <RecoaterDirection>Double</RecoaterDirection>\n"
                                           "  <Envelope>\n"));

  // Values without a text of their own are written as the nearest one.
  platform.m_shape = static_cast<Shape>(7);
  platform.m_gasFlow = Platform::GasFlow{false, DirectionAxis{5}, Direction::Double};
  platform.m_recoater = Platform::Recoater{false, DirectionAxis::Y, Direction{3}};
  const std::string text = Written(platform);
  for (const char* element :
       {"<Shape>Circle</Shape>", "<GasFlowDirectionAxis>X</GasFlowDirectionAxis>",
        "<GasFlowDirection>Positive</GasFlowDirection>",
        "<RecoaterDirection>Positive</RecoaterDirection>"}) {
    EXPECT_THAT(text, HasSubstr(element));
  }
}

TEST(MachinePlatformTest, CoordinateTriples) {
  const struct {
    const char* text;
    bool refused;
    Point after;  // read into (7, 8, 9)
  } cases[] = {
      // Values before a failing one stay; the failing one takes what the stream stores (0, or
      // the nearest limit when out of range).
      {" \n-4\t5  -6 ", false, {-4, 5, -6}},
      {"1 2 3 extra", false, {1, 2, 3}},
      {"-2147483648 2147483647 0", false, {kMin, kMax, 0}},
      {"", true, {7, 8, 9}},
      {"   ", true, {7, 8, 9}},
      {"1 2", true, {1, 2, 9}},
      {"1 2 99999999999", true, {1, 2, kMax}},
      {"x 2 3", true, {0, 8, 9}},
      {"1.5 2 3", true, {1, 0, 9}},
  };
  for (const char* tag : {"Position", "DefaultPartPosition"}) {
    const bool position = std::string(tag) == "Position";
    for (const auto& c : cases) {
      SCOPED_TRACE(std::string(tag) + " '" + c.text + "'");
      Platform platform;
      platform.m_position = platform.m_defaultPartPosition = {7, 8, 9};
      EXPECT_EQ(ReadOne(platform, tag, c.text), c.refused ? 1u : 0u);
      EXPECT_EQ(position ? platform.m_position : platform.m_defaultPartPosition, c.after);
      EXPECT_EQ(position ? platform.m_defaultPartPosition : platform.m_position, (Point{7, 8, 9}));
    }
  }

  // Digits are never grouped, whatever the process locale does.
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale previous =
      std::locale::global(std::locale(std::locale::classic(), new Grouping));
  Platform platform;
  const std::size_t refused = ReadOne(platform, "Position", "1,000 2 3");
  std::locale::global(previous);
  EXPECT_EQ(refused, 1u);
  EXPECT_EQ(platform.m_position.x, 1);
}

// Values of the file are covered by the example-wide equality check; these are not in it.
TEST(MachinePlatformTest, EqualityIgnoresTheMesh) {
  const struct {
    const char* name;
    void (*change)(Platform&);
    bool equal;
  } cases[] = {
      {"shape", [](Platform& p) { p.m_shape = Shape::Circle; }, false},
      {"laser overlap", [](Platform& p) { p.m_laserOverlaps.m_overlaps.emplace_back(); }, false},
      {"kept element", [](Platform& p) { p.AddUnhandledElement({"Future"}); }, false},
      {"mesh", [](Platform& p) { AddTriangleMesh(p); }, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Platform changed;
    c.change(changed);
    EXPECT_EQ(changed == Platform(), c.equal);
    EXPECT_EQ(Platform() != changed, !c.equal);
  }
}

TEST(MachinePlatformTest, CopiesOwnTheMesh) {
  Platform source;
  AddTriangleMesh(source);
  Platform copy(source);
  ASSERT_NE(copy.m_platformStl.GetPlatformStl(), nullptr);
  EXPECT_NE(copy.m_platformStl.GetPlatformStl(), source.m_platformStl.GetPlatformStl());
  source.SetDefaults();
  EXPECT_FALSE(source.m_platformStl.Enabled());
  EXPECT_EQ(copy.m_platformStl.GetPlatformStl()->GetTriangleCount(), 1u);
}

TEST(MachinePlatformTest, IsBiggerThanPlatformFollowsTheShape) {
  Platform platform;
  platform.m_envelope.m_dx = platform.m_envelope.m_circleExtent = 100;
  platform.m_envelope.m_dy = platform.m_envelope.m_dz = 200;
  const TalSDK::Math::boundingbox<int, 3> wide({0, 0, 0}, {140, 140, 10});  // diagonal < 200
  const TalSDK::Math::boundingbox<int, 3> deep({0, 0, 0}, {100, 200, 10});  // diagonal > 200
  EXPECT_TRUE(platform.IsBiggerThanPlatform(wide));
  EXPECT_FALSE(platform.IsBiggerThanPlatform(deep));
  platform.m_shape = Shape::Circle;
  EXPECT_FALSE(platform.IsBiggerThanPlatform(wide));
  EXPECT_TRUE(platform.IsBiggerThanPlatform(deep));
  platform.m_shape = static_cast<Shape>(2);  // names no outline: everything fits
  EXPECT_FALSE(platform.IsBiggerThanPlatform(wide));
  EXPECT_FALSE(platform.IsBiggerThanPlatform(deep));
}
