#include <TalSDK/sdk/sax/ExtensibleObject.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

using TalSDK::MSaxPersistExtensibleObject;
using TalSDK::MSaxUnhandledElement;
namespace Utilities = TalSDK::MSaxPersistExtensibleObjectUtilities;
using ::testing::ElementsAre;

namespace {

// A block that knows "Known" and keeps everything else.
class Block : public ISAXPersist, public MSaxPersistExtensibleObject {
 public:
  int known = 0;
  std::vector<std::string> dispatched;
  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    dispatched.push_back(tag);
    if (tag == "Known") return reader.ReadValue(known);
    return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tag, reader);
  }
  bool Write(TalSAX::ISAXWriter& writer) const override {
    writer.WriteElement("Known", std::to_string(known));
    return TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
  }
};

void Read(std::string_view xml, Block& block) {
  EXPECT_TRUE(TestSupport::ReadBlock(xml, block).empty());
}

std::string Write(const Block& block) {
  return TestSupport::WriteBlock("Block", block);
}

const char* const kNewerBlock =
    "<Block>\n"
    "  <Known>5</Known>\n"
    "  <Future a=\"1\" b=\"tab&#9;nl&#10;cr&#13;\" required=\"true\">\n"
    "    <Deeper x=\"&amp;&quot;\"><Leaf>  padded  </Leaf><Empty/></Deeper>\n"
    "    <Mixed>text <b>bold</b> tail&#13;</Mixed>\n"
    "    <Spaces>   </Spaces>\n"
    "  </Future>\n"
    "  <Other>ünïcode \U0001F600</Other>\n"
    "  <Cdata>a<![CDATA[<b>]]>c</Cdata><Empty></Empty>\n"
    "</Block>";

}  // namespace

// Kept elements survive a write and a read unchanged: attribute values with white space, text
// and CDATA next to each other as one text, empty elements. Ignoring drops them with their
// content; they are still offered to the block first.
TEST(ExtensibleObjectTest, UnknownElementsSurviveReadAndWriteUnchangedOrAreIgnored) {
  using Mode = MSaxPersistExtensibleObject::OperatingMode;
  for (const Mode mode : {Mode::eKeepUnhandledElements, Mode::eIgnoreUnhandledElements}) {
    Block first;
    first.SetOperatingMode(mode);
    Read(kNewerBlock, first);
    EXPECT_EQ(first.known, 5);
    EXPECT_THAT(first.dispatched, ElementsAre("Known", "Future", "Other", "Cdata", "Empty"));
    if (mode == Mode::eIgnoreUnhandledElements) {
      EXPECT_TRUE(first.GetUnhandledElements().empty());
      continue;
    }
    const auto& kept = first.GetUnhandledElements();
    ASSERT_EQ(kept.size(), 4u);
    EXPECT_EQ((std::vector{kept[0].IsRequired(), kept[1].IsRequired()}),
              (std::vector{true, false}));
    EXPECT_EQ(kept[0].GetNodes()[0].attributes[1].value, "tab\tnl\ncr\r");
    EXPECT_EQ(kept[0].GetNodes()[3].value, "  padded  ");
    EXPECT_EQ(kept[2].GetNodes().size(), 2u);
    EXPECT_EQ(kept[2].GetNodes()[1].value, "a<b>c");

    const std::string written = Write(first);
    Block second;
    Read(written, second);
    EXPECT_TRUE(static_cast<const MSaxPersistExtensibleObject&>(first) == second);
    EXPECT_EQ(Write(second), written);
  }
}

TEST(ExtensibleObjectTest, RequiredElementsAreFoundAndDescribed) {
  Block block;
  Read(
      "<Block><A required=\"true\"/>\n<B required=\"false\"/>\n<C required=\"1\"/>\n"
      "<D><E required=\"true\"/></D></Block>",
      block);
  const auto elements = block.GetUnhandledElementsFromAllNodes();
  EXPECT_TRUE(Utilities::DoRequiredElementsExist(elements));
  const auto descriptions = Utilities::GetRequiredElementsDescription(elements);
  ASSERT_EQ(descriptions.size(), 2u);
  EXPECT_EQ(descriptions[0], (TalSDK::MSaxUnhandledElementDescription{"A", "Block", 1}));
  EXPECT_EQ(descriptions[1].m_tagName, "C");
  EXPECT_EQ(Utilities::FormatRequiredElementsMessage(elements),
            "Required element 'A' in Block (line 1)\nRequired element 'C' in Block (line 3)");
  // An element built in code has no place; one not marked required is no reason to refuse.
  const std::vector<MSaxUnhandledElement::Attribute> required = {{"required", "true"}};
  const MSaxUnhandledElement built("F", required, ""), plain("G");
  EXPECT_EQ(Utilities::FormatRequiredElementsMessage({built}), "Required element 'F'");
  EXPECT_FALSE(Utilities::DoRequiredElementsExist({plain}));
}

TEST(ExtensibleObjectTest, WriterAvoidsIdsUsedInsideKeptElements) {
  Block block;
  Read("<Block><Kept ID=\"1\"><Inner ID=\"2\"/><Bad ID=\"x\"/></Kept></Block>", block);
  std::map<unsigned int, const ISAXReference*> ids;
  Utilities::GetUntraceableIDs(block.GetUnhandledElementsFromAllNodes(), ids);
  EXPECT_EQ(ids, (std::map<unsigned int, const ISAXReference*>{{1, nullptr}, {2, nullptr}}));

  struct Ref : ISAXReference {
  } first, object;
  for (const bool idOneTaken : {false, true}) {
    TestSupport::Written([&](TalSAX::ISAXWriter& writer) {
      if (idOneTaken) {
        EXPECT_EQ(writer.GetObjectId(&first), 1u);
      }
      // A clash is reported, and the ids after it are still registered.
      EXPECT_EQ(Utilities::RegisterUsedIds(ids, writer), !idOneTaken);
      EXPECT_EQ(writer.GetObjectId(&object), 3u);
      writer.StartTag("R");
      writer.EndTag("R");
    });
  }
}

// Deep ones without recursion; wide ones, whose nodes reach the element in several batches,
// in order.
TEST(ExtensibleObjectTest, DeepAndWideKeptElementsCopyCompareAndWriteBack) {
  std::string deep = "<d/>";
  for (int i = 1; i < 250; ++i)
    deep = "<d>" + deep + "</d>";
  std::string wide = "<w>";
  for (int i = 0; i < 400; ++i)
    wide += "<i n=\"" + std::to_string(i) + "\">" + std::to_string(i) + "</i>";
  wide += "</w>";
  for (const auto& [kept, nodes] : {std::pair{deep, 250u}, std::pair{wide, 801u}}) {
    Block block;
    Read("<Block>" + kept + "</Block>", block);
    Block copy = block;
    EXPECT_TRUE(static_cast<const MSaxPersistExtensibleObject&>(copy) == block);
    const auto read = copy.GetUnhandledElements()[0].GetNodes();
    ASSERT_EQ(read.size(), nodes);
    EXPECT_EQ(read[nodes - 1].value, kept == wide ? "399" : "d");
    Block again;
    Read(Write(copy), again);
    EXPECT_TRUE(static_cast<const MSaxPersistExtensibleObject&>(again) == block);
    EXPECT_EQ(Write(again), Write(block));
  }
}

// Built node by node: text runs of one element join, empty text is no node, and a view into
// the element itself stays valid while the element grows to take it.
TEST(ExtensibleObjectTest, KeptElementsBuiltNodeByNode) {
  MSaxUnhandledElement element("Outer", "lead");
  element.AppendText(1, "ing");
  element.AppendElement(1, "In", {{"a", "1"}, {"b", ""}});
  element.AppendText(2, "");
  MSaxUnhandledElement grown = element;  // a copy has no room to spare
  grown.AppendText(1, grown.GetNodes()[1].value);
  const auto nodes = grown.GetNodes();
  ASSERT_EQ(nodes.size(), 4u);
  EXPECT_EQ(nodes[1].value, "leading");
  EXPECT_EQ(nodes[1].kind, MSaxUnhandledElement::Node::Kind::Text);
  EXPECT_EQ(nodes[2].attributes[1], (MSaxUnhandledElement::Attribute{"b", ""}));
  EXPECT_EQ(nodes[3].value, "leading");
  EXPECT_TRUE(nodes[3].attributes.empty());
  EXPECT_NE(grown, element);
  grown = element;
  EXPECT_EQ(grown, element);
  // Every attribute, and their number, takes part in equality.
  using A = std::vector<MSaxUnhandledElement::Attribute>;
  for (const A& attributes : {A{{"a", "2"}, {"b", ""}}, A{{"a", "1"}, {"b", "2"}}, A{{"a", "1"}}}) {
    MSaxUnhandledElement other("Outer", "leading");
    other.AppendElement(1, "In", attributes);
    EXPECT_NE(other, element);
  }
  const MSaxUnhandledElement none, noneCopied = none;
  EXPECT_TRUE(noneCopied.IsEmpty());
  element.Clear();
  EXPECT_TRUE(element.IsEmpty());
  EXPECT_EQ(element, MSaxUnhandledElement());
  EXPECT_NE(grown, element);
  grown = element;
  EXPECT_TRUE(grown.IsEmpty());
  EXPECT_THROW(element.AppendElement(0x80000000u, "deep"), std::length_error);
  EXPECT_THROW(element.AppendText(0x80000000u, "deep"), std::length_error);
  EXPECT_NE(MSaxUnhandledElement("A"), MSaxUnhandledElement("B"));  // the first node counts too
  EXPECT_FALSE(MSaxUnhandledElement().IsRequired());
}
