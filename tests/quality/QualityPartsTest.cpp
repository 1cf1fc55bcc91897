#include <TalSDK/quality/QualityParts.h>

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <TalSDK/sdk/common/StringConversion.h>
#include "support/TestSupport.h"

namespace {

using Mode = TalSDK::MSaxPersistExtensibleObject::OperatingMode;
constexpr Mode kKeep = TalSDK::MSaxPersistExtensibleObject::eKeepUnhandledElements;

// Reads `content` as the inside of a "QualityParts" element; returns the refused paths.
std::string ReadSet(const std::string& content, MMachineQualityParts& parts) {
  MSAXQualityPartsHelper helper(parts, kKeep);
  return TestSupport::Listed(TestSupport::ReadBlock("<Q>" + content + "</Q>", helper));
}

// "name@m00,m03,m33 " of each item, by key: the corners and the x translation of its position.
std::string Names(const MMachineQualityParts& parts) {
  std::ostringstream names;
  for (const auto& [name, item] : parts.m_items) {
    const MMTransformMatrix& m = item.m_position;
    EXPECT_EQ(item.m_mesh->GetName(), name);  // the item's mesh is named after it
    names << StringConversion::NativeToUtf8(name) << "@" << m(0, 0) << "," << m(0, 3) << ","
          << m(3, 3) << " ";
  }
  return names.str();
}

// An item named "A" at `position`.
std::string Item(const std::string& position) {
  return "<Item><Name>A</Name><Position>" + position + "</Position></Item>";
}

// "Name" creates the item the other tags fill; before it, and inside a duplicate, they have no
// item and are refused. A position is sixteen numbers separated by white space, row by row; a
// short or unreadable one is refused, its matrix taking the numbers read before the fault.
TEST(QualityPartsTest, ItemReaderOrderAndPositions) {
  const std::string shifted = "1 0 0 5 0 1 0 0 0 0 1 0 0 0 0 1";
  const std::string duplicate =
      "MSAXQualityPartItemHelper::HandleTag \"Name\" - reading invalid data: m_name already exist";
  // What, the content, the items, the refused elements and the messages logged.
  const std::tuple<const char*, std::string, const char*, const char*, std::size_t> cases[] = {
      {"name first", Item(shifted), "A@1,5,1 ", "", 0},
      {"position before name", "<Item><Position>" + shifted + "</Position><Name>A</Name></Item>",
       "A@1,0,1 ", "Q/Item/Position ", 0},
      {"nothing but unknowns", "<Item><Future/><Mesh/><Support/></Item>", "",
       "Q/Item/Future Q/Item/Mesh Q/Item/Support ", 0},
      {"duplicate keeps the first", Item(shifted) + Item("1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1"),
       "A@1,5,1 ", "Q/Item/Name Q/Item/Position ", 1},
      {"lines and tabs", Item("2 0 0 1\n0 2 0 0\t0 0 2 0 0 0 0 7"), "A@2,1,7 ", "", 0},
      {"spaces around", Item("  2 0 0 1 0 2 0 0 0 0 2 0 0 0 0 7 "), "A@2,1,7 ", "", 0},
      {"fifteen", Item("2 0 0 1 0 2 0 0 0 0 2 0 0 0 0"), "A@2,1,0 ", "Q/Item/Position ", 0},
      {"unreadable", Item("2 x 0 1 0 2 0 0 0 0 2 0 0 0 0 7"), "A@2,0,0 ", "Q/Item/Position ", 0},
      {"empty: the matrix is untouched", Item(""), "A@1,0,1 ", "Q/Item/Position ", 0},
  };
  for (const auto& [what, content, names, refused, logged] : cases) {
    SCOPED_TRACE(what);
    const auto log = std::make_shared<TestSupport::CapturedLog>();
    const auto previous = TalSDK::Common::Logging::SetLogger(log);
    MMachineQualityParts parts;
    EXPECT_EQ(ReadSet(content, parts), refused);
    TalSDK::Common::Logging::SetLogger(previous);
    EXPECT_EQ(Names(parts), names);
    EXPECT_EQ(log->messages, std::vector<std::string>(logged, duplicate));
  }
}

// A support is written from the mesh, only where one is attached, but not read back (the
// application generates supports). Writing and reading items as such is covered by the machine's
// reference files.
TEST(QualityPartsTest, SupportIsWrittenButNotReadBack) {
  MMachineQualityParts parts;
  QualityPartItem& item = parts.m_items[L"Coupon"];
  item.m_mesh->SetName(L"Coupon");
  TalSDK::SupportGeneration::MSupportSupport support;
  support.SetSetting("Type", "Block");
  TalSDK::SupportGeneration::AttachSupport(*item.m_mesh, support);
  parts.m_items[L"Plain"].m_mesh->SetName(L"Plain");

  // (What the support is written as is in the full machine's reference file.)
  const std::string written = TestSupport::WriteBlock("Q", MSAXQualityPartsWriter(parts));
  ASSERT_NE(written.find("<Support>"), std::string::npos);
  EXPECT_EQ(written.find("<Support>"), written.rfind("<Support>"));
  MMachineQualityParts read;
  MSAXQualityPartsHelper helper(read, kKeep);
  EXPECT_TRUE(TestSupport::ReadBlock(written, helper).empty());
  EXPECT_EQ(TalSDK::SupportGeneration::GetSupport(*read.m_items.at(L"Coupon").m_mesh), nullptr);
  EXPECT_TRUE(read == parts);
}

// Items compare by mesh name and position, never by geometry; sets also by switches and name,
// and order by profile name alone.
TEST(QualityPartsTest, EqualityAndOrder) {
  MMachineQualityParts base;
  base.m_items[L"A"].m_mesh->SetName(L"A");
  MMachineQualityParts kept = base;
  kept.m_items.at(L"A").AddUnhandledElement(TalSDK::MSaxUnhandledElement());
  EXPECT_FALSE(kept == base);
  MMachineQualityParts geometry = base;
  geometry.m_items.at(L"A").m_mesh->SetVertices({{1, 2, 3}});
  EXPECT_TRUE(geometry == base);
  QualityPartItem copy = geometry.m_items.at(L"A"), assigned;
  assigned = copy;
  for (const QualityPartItem* item : {&copy, &assigned}) {
    EXPECT_NE(item->m_mesh.get(), geometry.m_items.at(L"A").m_mesh.get());
    EXPECT_EQ(item->m_mesh->GetVertexCount(), 1u);
  }
  // A second "Mesh" of an item replaces the first, geometry and all.
  const std::string item =
      TestSupport::Inside(TestSupport::WriteBlock("Q", MSAXQualityPartsWriter(geometry)), "Item");
  MMachineQualityParts twice;
  EXPECT_EQ(ReadSet("<Item>" + item + "<Mesh/></Item>", twice), "");
  EXPECT_EQ(twice.m_items.at(L"A").m_mesh->GetVertexCount(), 0u);

  MMachineQualityParts ab, b;
  ab.m_profileName = L"ab";
  b.m_profileName = L"b";
  b.m_enabled = !ab.m_enabled;  // the switches do not order
  EXPECT_TRUE(ab < b);
  EXPECT_FALSE(b < ab);
  EXPECT_FALSE(ab < ab);
}

// What the tool shows of a position: its translation, whether the part is turned or scaled (the
// upper three rows off the identity, the translation aside), and all sixteen numbers.
TEST(QualityPartsTest, ItemsAreShownByNameWithTheirPosition) {
  MMachineQualityParts parts;
  for (const auto& [name, row, column] :
       {std::tuple{L"A", 3, 0}, {L"B", 0, 0}, {L"C", 0, 2}, {L"D", 2, 2}}) {
    parts.m_items[name].m_position(row, column) = 0.5;
    parts.m_items[name].m_mesh->SetName(name);
  }
  parts.m_items[L"A"].m_position(1, 3) = 2;
  parts.m_items[L"A"].m_position(2, 3) = 3;
  std::string shown;
  TalAM::FieldVisit visit(
      [&](const TalAM::FieldView& field) {
        const std::string path(field.path);
        if (field.kind == TalAM::FieldKind::Item) shown += "\n" + path + ":";
        if (path.find("/Item") != std::string::npos && path.find("/Mesh") == std::string::npos &&
            !field.text.empty())
          shown += " " + path.substr(path.find('/', 2) + 1) + "=" + std::string(field.text);
      },
      "Q");
  parts.VisitFields(visit);
  EXPECT_EQ(shown,
            "\nQ/Item[1]: Name=A Position/Translation=0 2 3 Position/Rotated=false "
            "Position/Matrix=1 0 0 0 0 1 0 2 0 0 1 3 0.5 0 0 1"
            "\nQ/Item[2]: Name=B Position/Translation=0 0 0 Position/Rotated=true "
            "Position/Matrix=0.5 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1"
            "\nQ/Item[3]: Name=C Position/Translation=0 0 0 Position/Rotated=true "
            "Position/Matrix=1 0 0.5 0 0 1 0 0 0 0 1 0 0 0 0 1"
            "\nQ/Item[4]: Name=D Position/Translation=0 0 0 Position/Rotated=true "
            "Position/Matrix=1 0 0 0 0 1 0 0 0 0 0.5 0 0 0 0 1");
}

TEST(QualityPartsTest, ResetsAndProfiles) {
  // The set's reset empties the items alone.
  MMachineQualityParts parts;
  ReadSet(
      "<ProfileName>P</ProfileName><Enabled>false</Enabled><Future/>"
      "<Item><Name>A</Name></Item>",
      parts);
  MSAXQualityPartsHelper(parts, kKeep).SetDefaults();
  EXPECT_TRUE(parts.m_items.empty());
  EXPECT_EQ(parts.m_profileName, L"P");
  EXPECT_FALSE(parts.m_enabled);
  EXPECT_EQ(parts.GetUnhandledElements().size(), 1u);

  // Each "QualityParts" appends a set in the helper's mode; anything else in the list is
  // dropped. Their reset empties the list.
  std::list<MMachineQualityParts> profiles(1);
  MSAXQualityPartsProfilesHelper helper(profiles, kKeep);
  EXPECT_TRUE(
      TestSupport::ReadBlock(
          "<P><QualityParts><ProfileName>x</ProfileName><Kept/></QualityParts><Dropped><Inner/>"
          "</Dropped><QualityParts><ProfileName>a</ProfileName><Item><Name>I</Name><Kept/></Item>"
          "</QualityParts></P>",
          helper)
          .empty());
  ASSERT_EQ(profiles.size(), 3u);
  EXPECT_EQ(std::next(profiles.begin())->m_profileName, L"x");
  EXPECT_EQ(profiles.back().m_profileName, L"a");
  EXPECT_EQ(std::next(profiles.begin())->GetUnhandledElements().size(), 1u);
  EXPECT_EQ(profiles.back().m_items.at(L"I").GetUnhandledElements().size(), 1u);
  EXPECT_EQ(TestSupport::WriteBlock("P", MSAXQualityPartsProfilesWriter(profiles)).find("Dropped"),
            std::string::npos);
  helper.SetDefaults();
  EXPECT_TRUE(profiles.empty());
}

}  // namespace
