#include "persistence/Description.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

namespace {
enum class Tone { Red, Green, Blue, Violet };  // Violet has no text
}  // namespace

template <>
inline constexpr auto TalAM::Persistence::EnumTexts<Tone> = std::to_array<EnumText<Tone>>(
    {{Tone::Red, "Red"}, {Tone::Green, "Green"}, {Tone::Blue, "Blue"}});

namespace {

using namespace TalAM::Persistence;
using enum UnknownText;
using enum ValueWithoutText;
using Mode = TalSDK::MSaxPersistExtensibleObject;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Pair;

template <class B>
constexpr int kFields = 0;  // each block's description, given right after the block

// Forwards everything to the block's description, as the machine's blocks do.
template <class Self>
struct Block : ISAXPersist, TalSDK::MSaxPersistExtensibleObject {
  const Self& Me() const { return static_cast<const Self&>(*this); }
  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    return kFields<Self>.HandleTag(tag, static_cast<Self&>(*this), reader);
  }
  bool Write(TalSAX::ISAXWriter& writer) const override {
    return kFields<Self>.Write(Me(), writer);
  }
  void SetDefaults() override { kFields<Self>.SetDefaults(static_cast<Self&>(*this)); }
  NodeList GetExtensibleObjectNodes() const override { return kFields<Self>.Nodes(Me()); }
  void VisitFields(TalAM::FieldVisit& visit) const { kFields<Self>.Visit(Me(), visit); }
  friend bool operator==(const Self& a, const Self& b) { return kFields<Self>.Equal(a, b); }
};

struct Scalars : Block<Scalars> {
  std::int32_t m_int = -7;
  std::uint16_t m_short = 65535;
  long m_long = -(1L << 40);
  float m_float = 1.0f / 3.0f;
  double m_double = 1.0 / 3.0;
  std::wstring m_text = L"Plate";
  bool m_flag = true;
  std::int32_t m_length = 2500;
  Tone m_lenient = Tone::Green;  // unknown texts read as Blue, Violet is written as Blue
  Tone m_blank = Tone::Green;    // unknown texts read as Red, Violet is written empty
  int m_warm = 0;                // a Tone as an integer; only Red and Blue have texts
  Tone m_optional = Tone::Red;   // Violet is not written, the block goes on
  Tone m_strict = Tone::Green;   // unknown texts are refused, Violet fails the block
  std::int32_t m_revision = 7;   // not compared, a bad value is ignored
  int m_reads = 0;               // not a field: successful reads of "Int"
};
using S = Scalars;
constexpr auto kWarm = std::to_array<EnumText<Tone>>({{Tone::Red, "Red"}, {Tone::Blue, "Blue"}});
template <>
constexpr auto kFields<S> = Describe<S>(
    Value("Int", &S::m_int).AfterRead([](S& s) { ++s.m_reads; }), Value("Short", &S::m_short),
    Value("Long", &S::m_long), Value("Float", &S::m_float), Value("Double", &S::m_double),
    Value("Text", &S::m_text), Value("Flag", &S::m_flag), Length("Length", &S::m_length),
    Enum("Lenient", &S::m_lenient, AsFallback, WritesFallback, Tone::Blue),
    Enum("Blank", &S::m_blank, AsFallback, WritesEmpty, Tone::Red),
    EnumWith<Tone, S>("Warm", Member<S, int>{&S::m_warm}, kWarm, Refused, WritesFallback,
                      Tone::Red),
    Enum("Optional", &S::m_optional, Refused, FailsWrite, Tone::Red).WriteResultIgnored(),
    Enum("Strict", &S::m_strict, Refused, FailsWrite, Tone::Red),
    Value("Revision", &S::m_revision).NotCompared().ReadResultIgnored());

// A child block and list item. Its tone is written when it is not Red; Violet fails the write.
struct Leaf : Block<Leaf> {
  explicit Leaf(std::int32_t value = 1, Tone tone = Tone::Red) : m_value(value), m_tone(tone) {}
  std::int32_t m_value;
  Tone m_tone;
};
template <>
constexpr auto kFields<Leaf> = Describe<Leaf>(
    Value("Value", &Leaf::m_value),
    Enum("Tone", &Leaf::m_tone, Refused, FailsWrite, Tone::Red).WriteIf([](const Leaf& l) {
      return l.m_tone != Tone::Red;
    }));

struct Parent : Block<Parent> {
  std::wstring m_name = L"Machine";
  std::wstring m_material = L"Steel";
  std::int32_t m_density = 8;
  Leaf m_leaf;
  std::vector<Leaf> m_items;    // each "Items" starts anew; an "Item" is taken anywhere
  std::vector<Leaf> m_kept;     // "Kept" adds up; a "K" outside it is an unknown element
  std::vector<Leaf> m_skipped;  // an "S" outside "Skipped" is dropped, its content read
  std::vector<Leaf> m_loose;    // no wrapper; an item that fails to write is passed over
  std::vector<std::int32_t> m_values;
  std::optional<Leaf> m_extra;  // only its value is a field
  Leaf& Extra() { return m_extra ? *m_extra : m_extra.emplace(); }
};
using P = Parent;
template <>
constexpr auto kFields<P> = Describe<P>(
    OwnTag<P>("Parent"), Value("Name", &P::m_name),
    Group<P>("Material", Value("Name", &P::m_material), Value("Density", &P::m_density)),
    Child("Leaf", &P::m_leaf),
    List("Items", &P::m_items,
         {.itemTag = "Item", .wrapperClears = true, .outside = ItemOutsideWrapper::Taken}),
    List("Kept", &P::m_kept, {.itemTag = "K"}),
    List("Skipped", &P::m_skipped, {.itemTag = "S", .outside = ItemOutsideWrapper::Ignored}),
    List("", &P::m_loose, {.itemTag = "Loose", .itemResultsIgnored = true}),
    ValueList("Values", &P::m_values, {.itemTag = "V"}),
    Value<P>("Extra", InOptional(&P::m_extra, &P::Extra, &Leaf::m_value)));

// The block's content written inside an unindented <Block>, and the write's result.
std::pair<std::string, bool> TryWrite(const ISAXPersistBase& block) {
  const auto [written, out] = TestSupport::TryWriteBlock("Block", block, false);
  return {TestSupport::Inside(out, "Block"), written};
}

std::string Written(const ISAXPersistBase& block) {
  auto [text, written] = TryWrite(block);
  EXPECT_TRUE(written) << text;
  return text;
}

// Reads `content` inside <Block> into `block`; the paths of the refused elements, each with a
// space after it.
std::string Read(const std::string& content, ISAXPersistBase& block) {
  return TestSupport::Listed(TestSupport::ReadBlock("<Block>" + content + "</Block>", block));
}

// "path kind text; " for every visited entry of a block, or of a mesh named "Mesh".
template <class B>
std::string Visited(const B& block) {
  std::string lines;
  TalAM::FieldVisit visit([&](const TalAM::FieldView& v) {
    lines += std::string(v.path) + " " + std::string(TalAM::FieldKindName(v.kind));
    lines += (v.text.empty() ? "" : " " + std::string(v.text));
    lines += v.compared ? "; " : " (not compared); ";
  });
  if constexpr (std::is_same_v<B, MStlBase>)
    Detail::VisitMesh(block, visit, "Mesh");
  else
    block.VisitFields(visit);
  return lines;
}

}  // namespace

TEST(DescriptionTest, ScalarsAreWrittenInFieldOrderReadBackExactlyAndCompared) {
  EXPECT_EQ(Written(Scalars()),
            "<Int>-7</Int><Short>65535</Short><Long>-1099511627776</Long>"
            "<Float>0.33333334</Float><Double>0.33333333333333331</Double>"
            "<Text>Plate</Text><Flag>true</Flag><Length>2500</Length>"
            "<Lenient>Green</Lenient><Blank>Green</Blank><Warm>Red</Warm>"
            "<Optional>Red</Optional><Strict>Green</Strict><Revision>7</Revision>");
  // Extreme values read back exactly.
  const std::string text =
      "<Int>-2147483648</Int><Short>0</Short><Long>9223372036854775807</Long>"
      "<Float>1.4012985e-45</Float><Double>-4.9406564584124654e-324</Double>"
      "<Text> B\xC3\xA4r \xF0\x9D\x84\x9E </Text><Flag>false</Flag>"
      "<Length>2147483647</Length><Lenient>Red</Lenient><Blank>Blue</Blank><Warm>Blue</Warm>"
      "<Optional>Blue</Optional><Strict>Blue</Strict><Revision>-1</Revision>";
  Scalars read;
  EXPECT_EQ(Read(text, read), "");
  EXPECT_EQ(read.m_text, L" B\u00e4r \U0001D11E ");
  EXPECT_EQ(Written(read), text);

  // Each of those values alone, a value one unit in the last place away and a kept element
  // make the block unequal; the revision is not compared, and NaN is unequal to itself.
  std::vector<std::string> changes = {"<Float>0.33333337</Float>",
                                      "<Double>0.33333333333333337</Double>", "<Unknown/>"};
  const std::regex element(R"(<\w+>[^<]*</\w+>)");
  for (auto it = std::sregex_iterator(text.begin(), text.end(), element);
       it != std::sregex_iterator(); ++it)
    changes.push_back(it->str());
  ASSERT_EQ(changes.size(), 17u);
  for (const std::string& change : changes) {
    Scalars changed;
    EXPECT_EQ(Read(change, changed), "") << change;
    EXPECT_EQ(changed == Scalars(), change.starts_with("<Revision>")) << change;
  }
  Scalars nan;
  Read("<Double>nan</Double>", nan);
  EXPECT_FALSE(nan == Scalars(nan));
}

// A value that does not convert is refused and leaves the member as it was.
TEST(DescriptionTest, BadValuesAreRefusedAndLeaveTheMemberUnchanged) {
  const std::pair<const char*, const char*> cases[] = {
      {"<Int>2147483648</Int>", "Block/Int "}, {"<Short>65536</Short>", "Block/Short "},
      {"<Short>-1</Short>", "Block/Short "},   {"<Long>1.5</Long>", "Block/Long "},
      {"<Float>1e39</Float>", "Block/Float "}, {"<Double>x</Double>", "Block/Double "},
      {"<Flag>yes</Flag>", "Block/Flag "},     {"<Length>1 mm</Length>", "Block/Length "},
      {"<Warm>Green</Warm>", "Block/Warm "},   {"<Revision>x</Revision>", ""}};
  for (const auto& [element, warnings] : cases) {
    Scalars read;
    EXPECT_EQ(Read(element, read), warnings) << element;
    EXPECT_TRUE(read == Scalars()) << element;
    EXPECT_EQ(read.m_revision, 7) << element;
  }
  Scalars counted;
  EXPECT_EQ(Read("<Int>5</Int><Int>x</Int><Int>6</Int>", counted), "Block/Int ");
  EXPECT_EQ(std::pair(counted.m_int, counted.m_reads), std::pair(6, 2));  // AfterRead: successes
}

TEST(DescriptionTest, EnumerationsHandleUnknownTextsAndValuesWithoutText) {
  for (const std::string text : {"red", " Red", "Violet", ""}) {
    Scalars read;
    EXPECT_EQ(Read("<Strict>" + text + "</Strict><Lenient>" + text + "</Lenient>", read),
              "Block/Strict ");
    EXPECT_EQ(std::pair(read.m_strict, read.m_lenient), std::pair(Tone::Green, Tone::Blue)) << text;
  }
  // Violet has no text, nor has Green among Warm's texts.
  Scalars block;
  block.m_lenient = block.m_blank = block.m_optional = Tone::Violet;
  block.m_warm = static_cast<int>(Tone::Green);
  EXPECT_THAT(Written(block),
              HasSubstr("<Lenient>Blue</Lenient><Blank/><Warm>Red</Warm><Strict>Green</Strict>"));
  Scalars blank;
  EXPECT_EQ(Read("<Blank/>", blank), "");
  EXPECT_EQ(blank.m_blank, Tone::Red);
  // A failing field stops the block: nothing after it is written.
  block.m_strict = Tone::Violet;
  EXPECT_THAT(TryWrite(block), Pair(EndsWith("<Blank/><Warm>Red</Warm>"), false));
}

// A failing child or item closes its container and stops the parent; the loose list passes
// over its failing items.
TEST(DescriptionTest, FailingChildOrItemStopsTheParent) {
  Parent child, item, loose;
  child.m_leaf.m_tone = Tone::Violet;
  item.m_items = loose.m_loose = {Leaf(2, Tone::Violet), Leaf(3)};
  EXPECT_THAT(TryWrite(child), Pair(EndsWith("</Material><Leaf><Value>1</Value></Leaf>"), false));
  EXPECT_THAT(TryWrite(item),
              Pair(EndsWith("</Leaf><Items><Item><Value>2</Value></Item></Items>"), false));
  EXPECT_THAT(
      TryWrite(loose),
      Pair(EndsWith("<Loose><Value>2</Value></Loose><Loose><Value>3</Value></Loose><Values/>"),
           true));
}

// "Name" is the group's inside it and the block's elsewhere; "Density" has no competitor outside.
// Each "Items" starts anew and an "Item" outside it is an item all the same; "Kept" adds up and
// a "K" outside it is an unknown element, written last; an "S" outside "Skipped" is dropped
// while its content reaches the block. A bad value is refused without an item.
TEST(DescriptionTest, TagsReachTheirFieldsThroughGroupOwnTagAndLists) {
  Parent read;
  EXPECT_EQ(Read("<Material><Name>Iron</Name></Material><Density>9</Density>"
                 "<Parent><Leaf><Value>5</Value></Leaf></Parent>"
                 "<Items><Item><Value>1</Value></Item></Items>"
                 "<Items><Item><Value>2</Value></Item><Item><Value>3</Value></Item></Items>"
                 "<Item><Value>4</Value></Item>"
                 "<Kept><K><Value>5</Value></K></Kept><Kept><K><Tone>Blue</Tone></K></Kept>"
                 "<K><Value>7</Value></K><Skipped><S><Value>8</Value></S></Skipped>"
                 "<S><Name>Outside</Name></S><Loose><Value>9</Value></Loose>"
                 "<Values><V>1</V><V>x</V><V>-2</V></Values><Extra>7</Extra>",
                 read),
            "Block/Values/V ");
  EXPECT_EQ(Written(read),
            "<Name>Outside</Name><Material><Name>Iron</Name><Density>9</Density></Material>"
            "<Leaf><Value>5</Value></Leaf><Items><Item><Value>2</Value></Item>"
            "<Item><Value>3</Value></Item><Item><Value>4</Value></Item></Items>"
            "<Kept><K><Value>5</Value></K><K><Value>1</Value><Tone>Blue</Tone></K></Kept>"
            "<Skipped><S><Value>8</Value></S></Skipped><Loose><Value>9</Value></Loose>"
            "<Values><V>1</V><V>-2</V></Values><Extra>7</Extra><K><Value>7</Value></K>");
}

TEST(DescriptionTest, NewItemsAndDefaultsTakeTheOwnersOperatingMode) {
  for (const auto mode : {Mode::eIgnoreUnhandledElements, Mode::eKeepUnhandledElements}) {
    Parent parent;
    parent.SetOperatingMode(mode);
    Read("<Items><Item><Unknown/></Item></Items><Loose><Unknown/></Loose>", parent);
    ASSERT_EQ(parent.m_items.size() + parent.m_loose.size(), 2u);
    const std::size_t kept = mode == Mode::eKeepUnhandledElements ? 1 : 0;
    EXPECT_EQ(parent.m_items[0].GetUnhandledElements().size(), kept);
    EXPECT_EQ(parent.m_loose[0].GetUnhandledElements().size(), kept);
    parent.m_leaf.m_value = 5;
    parent.SetDefaults();
    EXPECT_TRUE(parent == Parent());
    EXPECT_EQ(parent.GetOperatingMode(), mode);
    EXPECT_EQ(parent.m_leaf.GetOperatingMode(), mode);
  }
}

TEST(DescriptionTest, EqualityAndNodesIncludeTheChildAndTheItemsInOrder) {
  Parent base;
  base.m_items = {Leaf(1), Leaf(2)};
  base.m_loose = {Leaf(3)};
  base.m_values = {1};
  std::vector<const Mode*> nodes;
  for (const Mode& node : base.GetExtensibleObjectNodes())
    nodes.push_back(&node);
  EXPECT_EQ(nodes, (std::vector<const Mode*>{&base, &base.m_leaf, &base.m_items[0],
                                             &base.m_items[1], &base.m_loose[0]}));

  // Each change is read over the base; the items of "Items" are replaced, the others added.
  for (const char* change :
       {"<Name>x</Name>", "<Material><Name>x</Name></Material>", "<Density>0</Density>",
        "<Leaf><Value>0</Value></Leaf>", "<Leaf><Unknown/></Leaf>", "<Items><Item/></Items>",
        "<Items><Item><Value>2</Value></Item><Item/></Items>",
        "<Items><Item/><Item><Value>2</Value><Unknown/></Item></Items>", "<Kept><K/></Kept>",
        "<Values><V>1</V></Values>", "<Extra>1</Extra>", "<Unknown/>"}) {
    Parent changed = base;
    EXPECT_EQ(Read(change, changed), "") << change;
    EXPECT_FALSE(changed == base) << change;
  }
}

TEST(DescriptionTest, VisitorShowsPathsKindsAndTexts) {
  Scalars scalars;
  scalars.m_strict = Tone::Violet;
  EXPECT_EQ(Visited(scalars),
            "Int integer -7; Short integer 65535; Long integer -1099511627776; "
            "Float float 0.33333334; Double double 0.33333333333333331; "
            "Text string Plate; Flag bool true; Length length 2500; Lenient enumeration Green; "
            "Blank enumeration Green; Warm enumeration Red; Optional enumeration Red; "
            "Strict enumeration (3); Revision integer 7 (not compared); ");
  // A text that is no Unicode is shown with replacement characters.
  scalars.m_text = L"a\xD800\xDFFF\x110000\xE000\x10FFFF";
  EXPECT_THAT(Visited(scalars), HasSubstr("Text string a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
                                          "\xEE\x80\x80\xF4\x8F\xBF\xBF;"));

  Parent parent;
  parent.m_items = {Leaf(2), Leaf(3)};
  parent.m_loose = {Leaf(4)};
  parent.m_values = {5};
  const std::string common =
      "Name string Machine; Material block; Material/Name string Steel; "
      "Material/Density integer 8; Leaf block; Leaf/Value integer 1; "
      "Leaf/Tone enumeration Red; Items list 2; Items/Item[1] item; "
      "Items/Item[1]/Value integer 2; Items/Item[1]/Tone enumeration Red; Items/Item[2] item; "
      "Items/Item[2]/Value integer 3; Items/Item[2]/Tone enumeration Red; Kept list 0; "
      "Skipped list 0; Loose[1] item; Loose[1]/Value integer 4; "
      "Loose[1]/Tone enumeration Red; Values list 1; Values/V[1] integer 5; ";
  EXPECT_EQ(Visited(parent), common);  // the absent optional is left out
  parent.m_extra = Leaf(7);
  EXPECT_EQ(Visited(parent), common + "Extra integer 7; ");

  // A mesh shows its counts, and its box and volume when it has triangles.
  MStlBase mesh;
  mesh.SetName(L"M");
  const std::string empty = Visited(mesh);
  ASSERT_TRUE(mesh.SetGeometry({{0, 0, 0}, {2, 0, 0}, {0, 1, 0}}, {{{0, 1, 2}}}));
  EXPECT_EQ(empty + Visited(mesh),
            "Mesh mesh 0 triangles, 0 vertices; Mesh/Name string M; Mesh/Triangles integer 0; "
            "Mesh/Vertices integer 0; Mesh mesh 1 triangles, 3 vertices; Mesh/Name string M; "
            "Mesh/Triangles integer 1; Mesh/Vertices integer 3; "
            "Mesh/BoundingBox string 0 0 0 2 1 0; Mesh/Volume double 0; ");
}

// Two fields with one tag are refused, counting the item tags of lists standing directly in the
// block; such lists have no tag of their own.
TEST(DescriptionTest, TwoFieldsWithOneTagAreRefused) {
  EXPECT_THROW(Describe<Leaf>(Value("A", &Leaf::m_value), Value("A", &Leaf::m_value)),
               std::logic_error);
  EXPECT_THROW(Describe<P>(List("", &P::m_items, {.itemTag = "A"}), Value("A", &P::m_density)),
               std::logic_error);
  EXPECT_NO_THROW(Describe<P>(List("", &P::m_items, {.itemTag = "A"}),
                              List("", &P::m_loose, {.itemTag = "B"})));
}
