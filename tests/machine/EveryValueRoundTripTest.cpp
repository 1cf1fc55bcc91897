// Changes every value of the bundled example machine file (every element with text, in every
// block and list item) and requires the machine read from it to write back exactly that text:
// a value that a block does not read, reads into another member, or does not write shows up as
// a difference.
#include <TalSDK/machine/MachineFile.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

// Binary payloads, and area types (which decide the parameters that follow), stay as they are.
bool Unchanged(const std::string& tag) {
  return tag == "Vertices" || tag == "Triangles" || tag == "Bitmap" || tag == "AreaType";
}

// Enumerations of the example: another text the machine file accepts.
const std::map<std::string, std::string, std::less<>> kOtherEnumText = {
    {"Mm", "Inch"},
    {"Box", "Circle"},
    {"Normal", "Heavy"},
    {"sli_eos", "cli"},
    {"cli_float", "ssl"},
    {"SelfLearning", "DrawingSpeed"},
    {"BoundingBox", "Contour"},
    {"EstimatedBuildTime", "Surface"},
    {"FixedTime", "DeltaX"},
    {"SupportVolume", "XYSurface"},
    {"Volume", "DeltaZ"},
    {"Negative", "Positive"},
    {"Double", "Negative"},
    {"X", "Y"},
    {"Y", "X"}};

// A number changed so that codes 0 and 1 stay in range and the text reads back as written.
std::string OtherNumber(const std::string& number) {
  if (number == "0") return "1";
  if (number == "1") return "0";
  if (number.find_first_of(".e") != std::string::npos) return number == "0.5" ? "0.25" : "0.5";
  return std::to_string(std::strtoll(number.c_str(), nullptr, 10) + 1);
}

std::string OtherText(const std::string& tag, const std::string& text) {
  if (Unchanged(tag)) return text;
  if (text == "true") return "false";
  if (text == "false") return "true";
  static const std::regex numbers(R"(-?[0-9][0-9.e+-]*( -?[0-9][0-9.e+-]*)*)");
  if (std::regex_match(text, numbers)) {
    std::string changed;
    static const std::regex number(R"(-?[0-9][0-9.e+-]*)");
    for (auto it = std::sregex_iterator(text.begin(), text.end(), number);
         it != std::sregex_iterator(); ++it) {
      changed += (changed.empty() ? "" : " ") + OtherNumber(it->str());
    }
    return changed;
  }
  if (const auto known = kOtherEnumText.find(text); known != kOtherEnumText.end()) {
    return known->second;
  }
  return text + " 2";
}

// One value of the example and the text it is changed to.
struct Change {
  std::size_t from, to;  // the element
  std::string tag, replacement;
};

const std::string& Example() {
  static const std::string text = TestSupport::ReadFile(EXAMPLE_MACHINE);
  return text;
}

std::vector<Change> Changes() {
  const std::string& example = Example();
  static const std::regex leaf(R"(<(\w+)((?: [^>]*)?)>([^<]+)</\1>)");
  // The nesting bitmap's size follows its "Width" and "Height": they stay too.
  const std::size_t bitmapFrom = example.find("<Custom>"), bitmapTo = example.find("</Custom>");
  std::vector<Change> changes;
  for (auto it = std::sregex_iterator(example.begin(), example.end(), leaf);
       it != std::sregex_iterator(); ++it) {
    const std::smatch& m = *it;
    const std::size_t at = static_cast<std::size_t>(m.position(0));
    const bool bitmapSize =
        at > bitmapFrom && at < bitmapTo && (m[1] == "Height" || m[1] == "Width");
    const std::string other = bitmapSize ? m[3].str() : OtherText(m[1], m[3]);
    if (other == m[3].str()) continue;
    // Meshes of the platform and of locked areas compare by their geometry alone.
    std::string tag = m[1].str();
    for (const char* block : {"PlatformStl", "LockedAreas"}) {
      const std::size_t from = example.find(std::string("<") + block + ">");
      if (at > from && at < example.find(std::string("</") + block + ">", from))
        tag = std::string(block) + "/" + tag;
    }
    changes.push_back({at, at + static_cast<std::size_t>(m.length(0)), tag,
                       "<" + m[1].str() + m[2].str() + ">" + other + "</" + m[1].str() + ">"});
  }
  return changes;
}

// The example with the changes from `first` to `last`.
std::string Changed(const std::vector<Change>& changes, std::size_t first, std::size_t last) {
  std::string text = Example();
  for (std::size_t i = last; i-- > first;)
    text.replace(changes[i].from, changes[i].to - changes[i].from, changes[i].replacement);
  return text;
}

}  // namespace

TEST(EveryValueRoundTrip, EveryChangedValueIsReadAndWrittenBack) {
  const std::vector<Change> changes = Changes();
  ASSERT_GT(changes.size(), 300u);
  const std::string changed = Changed(changes, 0, changes.size());

  TestSupport::TempDirectory dir;
  const auto in = dir.File("changed.xml").wstring();
  const auto out = dir.File("saved.xml").wstring();
  TestSupport::WriteFile(in, changed);
  TalAM::MachineParameters machine;
  const TalAM::MachineLoadResult result = TalAM::LoadMachineFile(
      machine, in.c_str(), TalAM::MachineParametersSaxRead::KeepUnhandledElements);
  ASSERT_TRUE(result.success);
  for (const auto& refused : result.refusedElements)
    ADD_FAILURE() << "refused: " << refused.path;
  ASSERT_TRUE(TalAM::SaveToTMCF(machine, out.c_str()));
  // Line by line, so that a failure names the values that did not come back.
  std::istringstream saved(TestSupport::ReadFile(dir.File("saved.xml"))), expected(changed);
  for (std::string a, b; std::getline(expected, a);) {
    if (!std::getline(saved, b)) b = "(end of file)";
    EXPECT_EQ(b, a);
  }

  TalAM::MachineParameters again, original;
  ASSERT_TRUE(TalAM::LoadFromTMCF(again, out.c_str(),
                                  TalAM::MachineParametersSaxRead::KeepUnhandledElements));
  EXPECT_TRUE(again == machine);
  ASSERT_TRUE(TalAM::LoadFromTMCF(original, L"" EXAMPLE_MACHINE,
                                  TalAM::MachineParametersSaxRead::KeepUnhandledElements));
  EXPECT_FALSE(again == original);
}

// A machine with any one value changed is unequal to the example, except for the values that
// equality leaves out on purpose: how the gas flow and the recoater are drawn, the colour of a
// laser overlap, the top-level copy of the Z compensation and the names of the platform's mesh
// and of a locked area's mesh.
TEST(EveryValueRoundTrip, EveryComparedValueTakesPartInEquality) {
  const std::set<std::string, std::less<>> notCompared = {
      "GasFlowVisible",  "GasFlowDirectionAxis",  "GasFlowDirection",
      "RecoaterVisible", "RecoaterDirectionAxis", "RecoaterDirection",
      "Color",           "ZCompensation",         "PlatformStl/Name",
      "LockedAreas/Name"};
  TalAM::MachineParameters original;
  ASSERT_TRUE(TalAM::LoadFromTMCF(original, L"" EXAMPLE_MACHINE,
                                  TalAM::MachineParametersSaxRead::KeepUnhandledElements));
  TestSupport::TempDirectory dir;
  const auto path = dir.File("one.xml").wstring();
  const std::vector<Change> changes = Changes();
  for (std::size_t i = 0; i < changes.size(); ++i) {
    TestSupport::WriteFile(path, Changed(changes, i, i + 1));
    TalAM::MachineParameters machine;
    ASSERT_TRUE(TalAM::LoadFromTMCF(machine, path.c_str(),
                                    TalAM::MachineParametersSaxRead::KeepUnhandledElements));
    EXPECT_EQ(machine == original, notCompared.contains(changes[i].tag))
        << changes[i].tag << ": " << changes[i].replacement;
  }
}
