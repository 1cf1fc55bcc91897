#include "platform/MachinePlatform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <locale>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sdk/sax/SAXReader.h"
#include "sdk/sax/SAXWriter.h"
#include "support/TestSupport.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Platform = MSAXMachinePlatform;
using Shape = MSAXMachinePlatform::PlatformShape;
using Direction = MSAXMachinePlatform::Direction;
using Point = MSAXMachinePlatform::Point;
using Box = TalSDK::Math::boundingbox<int, 3>;

namespace {

constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

std::string Written(const Platform& platform) {
  return TestSupport::WriteBlock("Platform", platform);
}

// Reads a "Platform" document into `platform` as it is; returns the paths of refused elements.
std::vector<std::string> ReadInto(Platform& platform, const std::string& document) {
  std::vector<std::string> refused;
  for (const TalSAX::SAXWarning& warning : TestSupport::ReadBlock(document, platform))
    refused.push_back(warning.path);
  return refused;
}

// One child element inside "Platform".
std::string OneTag(const std::string& tag, const std::string& text) {
  return "<Platform><" + tag + ">" + text + "</" + tag + "></Platform>";
}

void AddTriangleMesh(Platform& platform) {
  ASSERT_TRUE(platform.m_platformStl.GetPlatformStl(true)->SetGeometry(
      {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{{0, 1, 2}}}));
}

}  // namespace

TEST(MachinePlatformTest, DefaultPlatformIsWrittenInFileOrder) {
  EXPECT_EQ(Written(Platform()),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<Platform>\n"
            "  <Shape>Box</Shape>\n"
            "  <Envelope>\n"
            "    <Dx>10000000</Dx>\n"
            "    <Dy>10000000</Dy>\n"
            "    <Dz>10000000</Dz>\n"
            "  </Envelope>\n"
            "  <Position>0 0 4000</Position>\n"
            "  <DefaultPartPosition>10000 10000 10000</DefaultPartPosition>\n"
            "  <LaserOverlaps/>\n"
            "</Platform>\n");
}

TEST(MachinePlatformTest, ShapeIsStrictWhileAxesAndDirectionsFallBack) {
  struct Case {
    const char* tag;
    const char* text;
    bool refused;
    Shape shape;  // read into a Circle platform
    std::optional<Platform::GasFlow> gasFlow;
    std::optional<Platform::Recoater> recoater;
  };
  using Axis = DirectionAxis;
  const Case cases[] = {
      {"Shape", "Box", false, Shape::Box, {}, {}},
      {"Shape", "box", true, Shape::Circle, {}, {}},
      {"Shape", "Circle ", true, Shape::Circle, {}, {}},
      {"shape", "Box", false, Shape::Circle, {}, {}},  // an unknown element, kept
      {"GasFlowVisible", "true", false, Shape::Circle, Platform::GasFlow{true}, {}},
      {"GasFlowVisible", "maybe", true, Shape::Circle, {}, {}},
      {"GasFlowDirectionAxis", "Y", false, Shape::Circle, Platform::GasFlow{false, Axis::Y}, {}},
      {"GasFlowDirectionAxis", "y", false, Shape::Circle, Platform::GasFlow{}, {}},
      {"GasFlowDirection",
       "Negative",
       false,
       Shape::Circle,
       Platform::GasFlow{false, Axis::X, Direction::Negative},
       {}},
      {"GasFlowDirection", "Double", false, Shape::Circle, Platform::GasFlow{}, {}},
      {"RecoaterVisible", "maybe", true, Shape::Circle, {}, {}},
      {"RecoaterDirectionAxis", "Z", false, Shape::Circle, {}, Platform::Recoater{}},
      {"RecoaterDirection",
       "Double",
       false,
       Shape::Circle,
       {},
       Platform::Recoater{false, Axis::X, Direction::Double}},
      {"RecoaterDirection", "Both", false, Shape::Circle, {}, Platform::Recoater{}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.tag) + " " + c.text);
    Platform platform;
    platform.m_shape = Shape::Circle;
    EXPECT_EQ(ReadInto(platform, OneTag(c.tag, c.text)).size(), c.refused ? 1u : 0u);
    EXPECT_EQ(platform.m_shape, c.shape);
    EXPECT_EQ(platform.m_gasFlow, c.gasFlow);
    EXPECT_EQ(platform.m_recoater, c.recoater);
  }
}

TEST(MachinePlatformTest, IndicationsAreWrittenWholeAndOnlyWithTheirTexts) {
  Platform platform;
  ReadInto(platform, OneTag("RecoaterDirection", "Double"));
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
  EXPECT_THAT(text, HasSubstr("<Shape>Circle</Shape>"));
  EXPECT_THAT(text, HasSubstr("<GasFlowDirectionAxis>X</GasFlowDirectionAxis>"));
  EXPECT_THAT(text, HasSubstr("<GasFlowDirection>Positive</GasFlowDirection>"));
  EXPECT_THAT(text, HasSubstr("<RecoaterDirection>Positive</RecoaterDirection>"));
}

TEST(MachinePlatformTest, CoordinateTriples) {
  struct Case {
    const char* text;
    bool refused;
    Point after;  // read into (7, 8, 9)
  };
  // Values before a failing one stay; the failing one takes what the stream stores (0, or the
  // nearest limit when out of range).
  const Case cases[] = {
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
    for (const Case& c : cases) {
      SCOPED_TRACE(std::string(tag) + " '" + c.text + "'");
      Platform platform;
      platform.m_position = platform.m_defaultPartPosition = {7, 8, 9};
      EXPECT_EQ(ReadInto(platform, OneTag(tag, c.text)).size(), c.refused ? 1u : 0u);
      EXPECT_EQ(position ? platform.m_position : platform.m_defaultPartPosition, c.after);
      EXPECT_EQ(position ? platform.m_defaultPartPosition : platform.m_position, (Point{7, 8, 9}));
    }
  }
}

TEST(MachinePlatformTest, CoordinateTriplesIgnoreTheProcessLocale) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale previous =
      std::locale::global(std::locale(std::locale::classic(), new Grouping));
  Platform platform;
  const std::vector<std::string> refused = ReadInto(platform, OneTag("Position", "1,000 2 3"));
  std::locale::global(previous);
  EXPECT_THAT(refused, ElementsAre("Platform/Position"));
  EXPECT_EQ(platform.m_position.x, 1);
}

TEST(MachinePlatformTest, EqualityIgnoresGasFlowRecoaterAndMesh) {
  struct Case {
    const char* name;
    void (*change)(Platform&);
    bool equal;
  };
  const Case cases[] = {
      {"shape", [](Platform& p) { p.m_shape = Shape::Circle; }, false},
      {"envelope", [](Platform& p) { p.m_envelope.m_dz += 1; }, false},
      {"position", [](Platform& p) { p.m_position.z += 1; }, false},
      {"default part position", [](Platform& p) { p.m_defaultPartPosition.x += 1; }, false},
      {"laser overlap", [](Platform& p) { p.m_laserOverlaps.m_overlaps.emplace_back(); }, false},
      {"kept element",
       [](Platform& p) {
         p.AddUnhandledElement({"Future", "1"});
       },
       false},
      {"gas flow", [](Platform& p) { p.m_gasFlow = Platform::GasFlow{true}; }, true},
      {"recoater", [](Platform& p) { p.m_recoater = Platform::Recoater{true}; }, true},
      {"mesh", [](Platform& p) { AddTriangleMesh(p); }, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Platform changed;
    c.change(changed);
    EXPECT_EQ(changed == Platform(), c.equal);
    EXPECT_EQ(Platform() != changed, !c.equal);
  }
}

TEST(MachinePlatformTest, EveryPartIsWrittenInOrderAndReadBack) {
  Platform platform;
  platform.m_shape = Shape::Circle;
  platform.m_gasFlow = Platform::GasFlow{true, DirectionAxis::Y, Direction::Negative};
  platform.m_recoater = Platform::Recoater{true, DirectionAxis::Y, Direction::Double};
  platform.m_envelope.m_dx = platform.m_envelope.m_circleExtent = 250000;
  platform.m_position = {-1, 2, -3};
  platform.m_defaultPartPosition = {kMin, kMax, 0};
  platform.m_laserOverlaps.m_overlaps.emplace_back().width = 6;
  AddTriangleMesh(platform);
  platform.AddUnhandledElement({"Future", "1"});

  const std::string text = Written(platform);
  std::size_t last = 0;
  for (const char* tag :
       {"<Shape>Circle<", "<GasFlowVisible>true<", "<RecoaterDirection>Double<", "<Envelope>",
        "<Position>-1 2 -3<", "<DefaultPartPosition>-2147483648 2147483647 0<", "<LaserOverlaps>",
        "<PlatformStl>", "<Future>"}) {
    SCOPED_TRACE(tag);
    ASSERT_NE(text.find(tag), std::string::npos);
    EXPECT_GT(text.find(tag), last);
    last = text.find(tag);
  }

  Platform read;
  EXPECT_THAT(ReadInto(read, text), IsEmpty());
  EXPECT_TRUE(read == platform);
  EXPECT_EQ(read.m_gasFlow, platform.m_gasFlow);  // not compared by ==
  EXPECT_EQ(read.m_recoater, platform.m_recoater);
  EXPECT_EQ(Written(read), text);
}

TEST(MachinePlatformTest, MeshIsOwnedByEachCopyAndRemovedBySetDefaults) {
  Platform source;
  AddTriangleMesh(source);
  const MStlBase* sourceMesh = source.m_platformStl.GetPlatformStl(false);

  Platform copy(source);
  Platform assigned;
  assigned = source;
  Platform moved(std::move(copy));
  Platform moveAssigned;
  moveAssigned = std::move(assigned);
  for (const Platform* target : {&copy, &assigned, &moved, &moveAssigned}) {
    const MStlBase* mesh = target->m_platformStl.GetPlatformStl();
    ASSERT_NE(mesh, nullptr);  // moving copied the mesh, so the moved-from ones keep theirs
    EXPECT_NE(mesh, sourceMesh);
    EXPECT_EQ(mesh->GetTriangleCount(), 1u);
  }
  EXPECT_NE(moved.m_platformStl.GetPlatformStl(), copy.m_platformStl.GetPlatformStl());

  source.SetOperatingMode(TalSDK::MSaxPersistExtensibleObject::eIgnoreUnhandledElements);
  source.m_recoater = Platform::Recoater{};
  source.SetDefaults();
  EXPECT_FALSE(source.m_platformStl.Enabled());
  EXPECT_FALSE(source.m_recoater.has_value());
  EXPECT_EQ(source.GetOperatingMode(),
            TalSDK::MSaxPersistExtensibleObject::eIgnoreUnhandledElements);
}

TEST(MachinePlatformTest, IsBiggerThanPlatformFollowsTheShape) {
  struct Case {
    Box box;
    bool biggerThanBox;
    bool biggerThanCircle;
  };
  // Envelope 100 x 100 x 100; the round test allows a footprint diagonal of 200.
  const Case cases[] = {
      {Box({0, 0, 0}, {100, 100, 100}), false, false},
      {Box({-50, -50, 0}, {90, 90, 10}), true, false},  // 140 x 140: diagonal about 198
      {Box({0, 0, 0}, {150, 150, 10}), true, true},     // diagonal about 212
      {Box({0, 0, 0}, {10, 10, 101}), true, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.box.Max()));
    Platform platform;
    platform.m_envelope.m_dx = platform.m_envelope.m_circleExtent = 100;
    platform.m_envelope.m_dy = platform.m_envelope.m_dz = 100;
    EXPECT_EQ(platform.IsBiggerThanPlatform(c.box), c.biggerThanBox);
    platform.m_shape = Shape::Circle;
    EXPECT_EQ(platform.IsBiggerThanPlatform(c.box), c.biggerThanCircle);
    platform.m_shape = static_cast<Shape>(2);  // names no outline: everything fits
    EXPECT_FALSE(platform.IsBiggerThanPlatform(c.box));
  }
}

TEST(MachinePlatformTest, ExtensibleNodesCoverEveryBlock) {
  Platform platform;
  platform.m_laserOverlaps.m_overlaps.emplace_back();
  std::vector<const TalSDK::MSaxPersistExtensibleObject*> nodes;
  for (const TalSDK::MSaxPersistExtensibleObject& node : platform.GetExtensibleObjectNodes()) {
    nodes.push_back(&node);
  }
  const TalSDK::MSaxPersistExtensibleObject& self = platform;
  EXPECT_THAT(nodes, ElementsAre(&self, &platform.m_envelope, &platform.m_laserOverlaps,
                                 &platform.m_laserOverlaps.m_overlaps[0], &platform.m_platformStl));
}
