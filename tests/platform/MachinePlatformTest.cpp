// The platform's blocks: what the example-wide round trip and equality checks cannot show
// (refusals, fallbacks, quirks of reading order, fit tests, mesh ownership).
#include <TalSDK/platform/MachineEnvelope.h>
#include <TalSDK/platform/MachineLaserOverlaps.h>
#include <TalSDK/platform/MachineNesting.h>
#include <TalSDK/platform/MachinePlatform.h>
#include <TalSDK/platform/MachinePlatformStl.h>
#include <TalSDK/platform/MachineZCompensation.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <locale>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Property;
using ::testing::Throws;
using Platform = MSAXMachinePlatform;
using Shape = MSAXMachinePlatform::PlatformShape;
using Direction = MSAXMachinePlatform::Direction;
using Point = MSAXMachinePlatform::Point;
using Holder = MSAXMachinePlatformStl;
using Overlaps = MSAXMachineLaserOverlaps;
using Overlap = MSAXMachineLaserOverlaps::LaserOverlap;

namespace {

constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

// Reads `content` inside a root element into `block`; how many elements were refused.
std::size_t Read(const std::string& content, ISAXPersistBase& block) {
  return TestSupport::ReadBlock("<B>" + content + "</B>", block).size();
}

template <class T>
T ReadNew(const std::string& content) {
  T block;
  Read(content, block);
  return block;
}

MSAXMachineEnvelope Envelope(std::int32_t dx, std::int32_t dy, std::int32_t dz) {
  MSAXMachineEnvelope envelope;
  envelope.m_dx = envelope.m_circleExtent = dx;
  envelope.m_dy = dy;
  envelope.m_dz = dz;
  return envelope;
}

Overlap MakeOverlap(DirectionAxis orientation, int position, int width) {
  Overlap overlap;
  overlap.orientation = orientation;
  overlap.position = position;
  overlap.width = width;
  return overlap;
}

void MakeTriangle(MStlBase& mesh, const std::wstring& name) {
  mesh.SetName(name);
  ASSERT_TRUE(mesh.SetGeometry({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{{0, 1, 2}}}));
}

}  // namespace

// One element read into a platform whose shape is a circle and whose position is (7, 8, 9).
TEST(MachinePlatformTest, ShapeAndPointsAreStrictWhileAxesAndDirectionsFallBack) {
  using G = Platform::GasFlow;
  using R = Platform::Recoater;
  // The tag and its text, whether it is refused, and the position, gas flow and recoater read.
  const std::tuple<const char*, const char*, bool, Point, std::optional<G>, std::optional<R>>
      cases[] = {
          // Reading any tag of an indication engages it with its defaults.
          {"Shape", "box", true, {7, 8, 9}, {}, {}},
          {"Shape", "Circle ", true, {7, 8, 9}, {}, {}},
          {"GasFlowDirectionAxis", "y", false, {7, 8, 9}, G{}, {}},
          {"GasFlowDirection", "Double", false, {7, 8, 9}, G{}, {}},  // the recoater's only
          {"RecoaterDirection", "Double", false, {7, 8, 9}, {}, R{.direction = Direction::Double}},
          {"RecoaterDirection", "Both", false, {7, 8, 9}, {}, R{}},
          {"RecoaterDirectionAxis", "Z", false, {7, 8, 9}, {}, R{}},
          // Values before a failing one stay; the failing one takes what the stream stores (0, or
          // the nearest limit when out of range).
          {"Position", " \n-4\t5  -6 ", false, {-4, 5, -6}, {}, {}},
          {"Position", "1 2 3 extra", false, {1, 2, 3}, {}, {}},
          {"Position", "-2147483648 2147483647 0", false, {kMin, kMax, 0}, {}, {}},
          {"Position", "", true, {7, 8, 9}, {}, {}},
          {"Position", "   ", true, {7, 8, 9}, {}, {}},
          {"Position", "1 2", true, {1, 2, 9}, {}, {}},
          {"Position", "1 2 99999999999", true, {1, 2, kMax}, {}, {}},
          {"Position", "x 2 3", true, {0, 8, 9}, {}, {}},
          {"Position", "1.5 2 3", true, {1, 0, 9}, {}, {}},
      };
  for (const auto& [tag, text, refused, position, gasFlow, recoater] : cases) {
    SCOPED_TRACE(std::string(tag) + " '" + text + "'");
    Platform platform;
    platform.m_shape = Shape::Circle;
    platform.m_position = {7, 8, 9};
    EXPECT_EQ(Read(std::string("<") + tag + ">" + text + "</" + tag + ">", platform),
              refused ? 1u : 0u);
    EXPECT_EQ(platform.m_shape, Shape::Circle);
    EXPECT_EQ(platform.m_position, position);
    EXPECT_EQ(platform.m_gasFlow, gasFlow);
    EXPECT_EQ(platform.m_recoater, recoater);
  }

  // Digits are never grouped, whatever the process locale does.
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale previous =
      std::locale::global(std::locale(std::locale::classic(), new Grouping));
  Platform platform;
  const std::size_t refused = Read("<Position>1,000 2 3</Position>", platform);
  std::locale::global(previous);
  EXPECT_EQ(refused, 1u);
  EXPECT_EQ(platform.m_position.x, 1);
}

// Values without a text of their own are written as the nearest one. (Engaged indications
// are written whole, before the envelope: the example-wide round trip.)
TEST(MachinePlatformTest, ValuesWithoutTextAreWrittenAsTheNearestOne) {
  Platform platform;
  platform.m_shape = static_cast<Shape>(7);
  platform.m_gasFlow = Platform::GasFlow{false, DirectionAxis{5}, Direction::Double};
  platform.m_recoater = Platform::Recoater{false, DirectionAxis::Y, Direction{3}};
  const std::string text = TestSupport::WriteBlock("Platform", platform);
  for (const char* element :
       {"<Shape>Circle</Shape>", "<GasFlowDirectionAxis>X</GasFlowDirectionAxis>",
        "<GasFlowDirection>Positive</GasFlowDirection>",
        "<RecoaterDirection>Positive</RecoaterDirection>"}) {
    EXPECT_THAT(text, HasSubstr(element));
  }
}

TEST(MachineEnvelopeTest, FitTestsAtAndJustPastTheLimitsAndTheCircleExtent) {
  // The envelope, a footprint, and whether it is bigger than a box and than a circle platform.
  const std::tuple<MSAXMachineEnvelope, TalSDK::Math::boundingbox<int, 3>, bool, bool> cases[] = {
      {Envelope(100, 200, 300), {{-50, 20, -7}, {50, 220, 293}}, false, true},
      {Envelope(100, 200, 300), {{0, 0, 0}, {10, 10, 300}}, false, false},
      {Envelope(100, 200, 300), {{0, 0, 0}, {101, 200, 300}}, true, true},
      {Envelope(100, 200, 300), {{0, 0, 0}, {100, 201, 300}}, true, true},
      {Envelope(100, 200, 300), {{0, 0, 0}, {1, 1, 301}}, true, true},
      // The circle test holds the footprint's diagonal against 2 * m_dx and ignores m_dy:
      // 120² + 160² is exactly 4 * 100².
      {Envelope(100, 1, 100), {{-60, 0, 0}, {60, 160, 1}}, true, false},
      {Envelope(100, 1, 100), {{-60, 0, 0}, {60, 161, 1}}, true, true},
      {Envelope(5, 1, 100), {{0, 0, 0}, {6, 8, 1}}, true, false},  // 6² + 8² is exactly 4 * 5²
      // Products far beyond 32 bits, and 4 * extent² beyond 64 bits.
      {Envelope(2000000000, 5, 1), {{-1000000000, 0, 0}, {1000000000, 5, 1}}, false, false},
      {Envelope(2000000000, 5, 1), {{-1000000000, 0, 0}, {1000000001, 5, 1}}, true, false},
      {Envelope(1000000000, 5, 1), {{-1000000000, 7, 0}, {1000000000, 8, 1}}, true, true},
      {Envelope(1000000000, 5, 1), {{-1000000000, 7, 0}, {1000000000, 7, 1}}, true, false},
      {Envelope(kMax, kMax, 1), {{0, 0, 0}, {kMax, kMax, 1}}, false, false},
  };
  // The platform tests its envelope by its shape; a shape that names no outline fits anything.
  int index = 0;
  for (const auto& [envelope, box, biggerThanBox, biggerThanCircle] : cases) {
    Platform platform;
    platform.m_envelope = envelope;
    std::vector<bool> bigger;
    for (const Shape shape : {Shape::Box, Shape::Circle, static_cast<Shape>(2)}) {
      platform.m_shape = shape;
      bigger.push_back(platform.IsBiggerThanPlatform(box));
    }
    EXPECT_EQ(bigger, (std::vector<bool>{biggerThanBox, biggerThanCircle, false})) << index++;
  }

  // Only a read "Dx" sets the circle extent, which the circle test follows rather than m_dx;
  // values that do not convert are refused, changing nothing; SetDefaults resets the extent too.
  MSAXMachineEnvelope read;
  read.m_circleExtent = 5;
  EXPECT_EQ(Read("<Dy>20</Dy><Dz>30</Dz><Dx>x</Dx><Dy>3000000000</Dy>", read), 2u);
  EXPECT_TRUE(read == Envelope(10000000, 20, 30));
  EXPECT_TRUE(read.IsBiggerThanCirclePlatform_Fast({{0, 0, 0}, {8, 8, 1}}));
  Read("<Dx>1</Dx>", read);
  EXPECT_EQ(read.m_circleExtent, 1);
  read.SetDefaults();
  EXPECT_EQ(read.m_circleExtent, 10000000);
}

// Each overlap starts from the defaults; a refused value keeps what was read before it. An
// orientation without a text is written empty, which reading refuses, leaving X; the overlap is
// still written and read. SetDefaults resets an overlap and empties the list.
TEST(MachineLaserOverlapsTest, UnknownOrientationsAndMalformedColoursAreRefused) {
  Overlaps read;
  EXPECT_EQ(Read("<Overlap><Orientation>Y</Orientation><Position>-5</Position>"
                 "<Width>7</Width><Color> 0 0.25\t1 0.5 </Color></Overlap>"
                 "<Overlap><Position>9</Position>"
                 "<Orientation>Z</Orientation><Orientation>x</Orientation>"
                 "<Orientation> X</Orientation>"
                 "<Color>1 0 0</Color><Color>1 0 0 1 1</Color><Color>1 0 x 1</Color></Overlap>"
                 "<Overlap><Orientation>Y</Orientation><Orientation>X</Orientation></Overlap>",
                 read),
            6u);
  ASSERT_EQ(read.m_overlaps.size(), 3u);
  EXPECT_TRUE(read.m_overlaps[0] == MakeOverlap(DirectionAxis::Y, -5, 7));
  EXPECT_EQ(read.m_overlaps[0].color, (TalSDK::Common::Color{0.0f, 0.25f, 1.0f, 0.5f}));
  EXPECT_TRUE(read.m_overlaps[1] == MakeOverlap(DirectionAxis::X, 9, 0));
  EXPECT_EQ(read.m_overlaps[1].color, (TalSDK::Common::Color{1.0f, 0.0f, 0.0f, 1.0f}));
  EXPECT_TRUE(read.m_overlaps[2] == MakeOverlap(DirectionAxis::X, 0, 0));  // the defaults

  Overlaps list;
  list.m_overlaps = {MakeOverlap(static_cast<DirectionAxis>(2), 5, -6)};
  const std::string text = TestSupport::WriteBlock("LaserOverlaps", list);
  EXPECT_THAT(text, HasSubstr("<Orientation/>"));
  Overlaps back;
  EXPECT_EQ(TestSupport::ReadBlock(text, back).size(), 1u);
  list.m_overlaps[0].orientation = DirectionAxis::X;
  EXPECT_TRUE(back == list);
  back.m_overlaps[0].SetDefaults();
  EXPECT_TRUE(back.m_overlaps[0] == Overlap());
  back.SetDefaults();
  EXPECT_TRUE(back == Overlaps());
}

TEST(MachinePlatformStlTest, EachHolderOwnsOneMeshWrittenWhenEnabledAndReplacedWhole) {
  Holder source;
  EXPECT_EQ(source.GetPlatformStl(false), nullptr);
  MStlBase* const mesh = source.GetPlatformStl(true);
  ASSERT_NE(mesh, nullptr);
  MakeTriangle(*mesh, L"source");
  source.EnablePlatformStl(true);
  source.AddUnhandledElement({"Future"});
  source.SetDefaults();  // clears the kept elements only
  EXPECT_TRUE(source.GetUnhandledElements().empty());
  EXPECT_EQ(source.GetPlatformStl(true), mesh);

  // Copies are deep; assignment copies into the target's own mesh object; moving copies.
  Holder copy(source);
  MStlBase* const copyMesh = copy.GetPlatformStl(false);
  ASSERT_NE(copyMesh, nullptr);
  EXPECT_NE(copyMesh, mesh);
  copyMesh->ClearStl(true);
  EXPECT_EQ(mesh->GetTriangleCount(), 1u);
  copy = source;
  EXPECT_EQ(copy.GetPlatformStl(false), copyMesh);
  EXPECT_EQ(copyMesh->GetTriangleCount(), 1u);
  copy = std::as_const(copy);
  EXPECT_EQ(copyMesh->GetName(), L"source");
  Holder moved(std::move(source));
  EXPECT_EQ(source.GetPlatformStl(false), mesh);
  EXPECT_NE(moved.GetPlatformStl(false), mesh);
  EXPECT_EQ(moved.GetPlatformStl(false)->GetTriangleCount(), 1u);

  copy = Holder();
  EXPECT_FALSE(copy.Enabled());
  moved.EnablePlatformStl(false);
  EXPECT_EQ(std::as_const(moved).GetPlatformStl(), nullptr);

  // Without a mesh nothing of it is written; an empty one is framed in full, before the kept
  // elements. A second "Mesh" replaces the first whole. (A mesh with geometry is read and
  // written back by the example-wide round trip.) The platform's equality ignores the mesh,
  // and its SetDefaults removes it.
  copy.AddUnhandledElement({"Future", "1"});
  EXPECT_EQ(TestSupport::WriteBlock("PlatformStl", copy).find("Mesh"), std::string::npos);
  copy.EnablePlatformStl(true);
  EXPECT_EQ(TestSupport::WriteBlock("PlatformStl", copy),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<PlatformStl>\n"
            "  <Mesh>\n    <Name/>\n    <Vertices/>\n    <Triangles/>\n  </Mesh>\n"
            "  <Future>1</Future>\n</PlatformStl>\n");

  Platform platform;
  MakeTriangle(*platform.m_platformStl.GetPlatformStl(true), L"before");
  EXPECT_TRUE(platform == Platform());
  EXPECT_FALSE(Platform() != platform);
  Read("<Mesh><Name>first</Name><Color>red</Color></Mesh><Mesh><Name>second</Name></Mesh>",
       platform.m_platformStl);
  const MStlBase& second = *std::as_const(platform.m_platformStl).GetPlatformStl();
  EXPECT_EQ(second.GetName(), L"second");
  EXPECT_EQ(second.GetTriangleCount(), 0u);
  EXPECT_TRUE(second.GetUnhandledElements().empty());
  platform.SetDefaults();
  EXPECT_FALSE(platform.m_platformStl.Enabled());
}

// The blocks' own tags inside them are accepted, so their children still arrive; codes are
// stored as given.
TEST(MachineNestingTest, OwnTagsCodesAndBitmapSizes) {
  MSaxMachineNesting nesting;
  EXPECT_EQ(Read("<Nesting><Type>7</Type></Nesting>"
                 "<BoundingBox><BoundingBox><Placement>-3</Placement></BoundingBox></BoundingBox>"
                 "<Geometry><Geometry/><RotationAngle>90</RotationAngle></Geometry>",
                 nesting),
            0u);
  EXPECT_EQ(nesting.m_type, 7);
  EXPECT_EQ(nesting.m_boundingBox.m_placement, -3);
  EXPECT_EQ(nesting.m_geometry.m_rotationAngle, 90);
  EXPECT_TRUE(nesting.GetUnhandledElementsFromAllNodes().empty());

  // "Bitmap" takes Width × Height cells as read so far: before them it is empty, a short
  // payload leaves the rest 0; the cells are compared.
  MSaxNestingCustom six;
  six.m_bitmap = {1, 2, 3, 4, 5, 0xFFFFFFFFu};
  const std::string written = TestSupport::WriteBlock("C", six);
  const std::size_t begin = written.find("<Bitmap>");
  const std::string bitmap = written.substr(begin, written.find("</Bitmap>") + 9 - begin);
  const std::pair<std::string, std::vector<std::uint32_t>> cases[] = {
      {"<Width>3</Width><Height>2</Height>" + bitmap, six.m_bitmap},
      {bitmap + "<Width>3</Width><Height>2</Height>", {}},
      {"<Width>4</Width><Height>2</Height>" + bitmap, {1, 2, 3, 4, 5, 0xFFFFFFFFu, 0, 0}},
      {"<Width>5</Width><Height>1</Height>" + bitmap, {1, 2, 3, 4, 5}},
  };
  for (const auto& [content, cells] : cases) {
    MSaxNestingCustom custom;
    EXPECT_EQ(Read(content, custom), 0u) << content;
    EXPECT_EQ(custom.m_bitmap, cells) << content;
  }
  MSaxNestingCustom changed = six;
  changed.m_bitmap[5] = 6;
  EXPECT_NE(changed, six);

  // A hostile size fails the load with a message instead of allocating gigabytes; a product that
  // wraps to a small positive 32-bit value is taken as it is.
  using TalSDK::FileIO::MSAXError::MGeneric;
  for (const char* size :
       {"<Width>-1</Width><Height>1</Height>", "<Width>65536</Width><Height>1025</Height>",
        "<Width>65536</Width><Height>32768</Height>"}) {  // 2^31 wraps negative
    EXPECT_THAT(
        [&] { ReadNew<MSaxNestingCustom>(size + std::string("<Bitmap>AQAAAA==</Bitmap>")); },
        Throws<MGeneric>(Property(&MGeneric::GetMessage, HasSubstr("\"Bitmap\""))))
        << size;
  }
  // 65536 × 65537 is 65536 modulo 2^32; the largest bitmap taken has 2^26 cells (256 MB).
  for (const auto& [height, cells] :
       {std::pair<std::string, std::size_t>{"65537", 65536}, {"1024", std::size_t{1} << 26}}) {
    const auto custom = ReadNew<MSaxNestingCustom>("<Width>65536</Width><Height>" + height +
                                                   "</Height><Bitmap>AQAAAA==</Bitmap>");
    EXPECT_EQ(custom.m_bitmap.size(), cells);
    EXPECT_EQ(custom.m_bitmap[0], 1u);
  }
}

// No container keeps the defaults; a container replaces them, an empty one empties them, and
// factors outside a container are appended (an unreadable one is refused). An empty table is
// not written; SetDefaults restores the defaults.
TEST(MachineZCompensationTest, AngleFactorTable) {
  using Z = MSAXMachineZCompensation;
  EXPECT_EQ(ReadNew<Z>("<PreserveThin>3</PreserveThin>").m_angleFactors.size(), 7u);
  EXPECT_THAT(ReadNew<Z>("<AngleFactorArray><AngleFactor>5</AngleFactor>"
                         "<AngleFactor>-6</AngleFactor></AngleFactorArray>")
                  .m_angleFactors,
              ElementsAre(5, -6));
  EXPECT_THAT(ReadNew<Z>("<AngleFactorArray/><AngleFactor>1</AngleFactor>"
                         "<AngleFactor>x</AngleFactor><AngleFactor>2</AngleFactor>")
                  .m_angleFactors,
              ElementsAre(1, 2));

  Z empty;
  empty.m_angleFactors.clear();
  EXPECT_THAT(TestSupport::WriteBlock("Z", empty), ::testing::Not(HasSubstr("AngleFactorArray")));
  EXPECT_TRUE(ReadNew<Z>("<AngleFactorArray/>") == empty);
  empty.SetDefaults();
  EXPECT_TRUE(empty == Z());
}
