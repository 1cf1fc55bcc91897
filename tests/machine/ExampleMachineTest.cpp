// Whole-machine checks over the bundled example machine file.
//
// EveryValueRoundTrip changes every value of the example (every element with text, in every
// block and list item) and requires the machine read from it to write back exactly that text:
// a value that a block does not read, reads into another member, or does not write shows up as
// a difference.
//
// RequiredElementEverywhere plants an unknown element marked required into every container of
// the example: policy 2 must refuse each variant, so no block is missing from the machine's
// extensible nodes; policy 1 keeps it where it was found, and a save writes it back there.
#include <TalSDK/machine/MachineFile.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <ostream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

using Policy = TalAM::MachineParametersSaxRead::LoadPolicyUnhandledElements;
constexpr Policy kKeep = TalAM::MachineParametersSaxRead::KeepUnhandledElements;
constexpr Policy kReject = TalAM::MachineParametersSaxRead::RejectRequiredUnhandledElements;

const std::string& Example() {
  static const std::string text = TestSupport::ReadFile(EXAMPLE_MACHINE);
  return text;
}

// The machine `document` holds, kept elements kept; it must load without refusals.
TalAM::MachineParameters Loaded(std::string_view document) {
  TalAM::MachineParameters machine;
  const TalAM::MachineLoadResult result =
      TalAM::LoadMachineDocument(machine, document, "document", kKeep);
  EXPECT_TRUE(result.success) << result.message;
  EXPECT_EQ(TestSupport::Listed(result.refusedElements), "");
  return machine;
}

std::string Saved(const TalAM::MachineParameters& machine) {
  std::string document;
  std::wstring message;
  EXPECT_TRUE(TalAM::SaveMachineDocument(machine, document, message)) << message;
  return document;
}

// Enumerations of the example: another text the machine file accepts ("" for none).
std::string OtherEnumText(const std::string& text) {
  std::istringstream pairs(
      "Mm Inch Box Circle Normal Heavy sli_eos cli cli_float ssl SelfLearning DrawingSpeed "
      "BoundingBox Contour EstimatedBuildTime Surface FixedTime DeltaX SupportVolume XYSurface "
      "Volume DeltaZ Negative Positive Double Negative X Y Y X");
  for (std::string from, to; pairs >> from >> to;)
    if (from == text) return to;
  return "";
}

// A number changed so that codes 0 and 1 stay in range and the text reads back as written.
std::string OtherNumber(const std::string& number) {
  if (number == "0") return "1";
  if (number == "1") return "0";
  if (number.find_first_of(".e") != std::string::npos) return number == "0.5" ? "0.25" : "0.5";
  return std::to_string(std::strtoll(number.c_str(), nullptr, 10) + 1);
}

// Binary payloads, and area types (which decide the parameters that follow), stay as they are.
std::string OtherText(const std::string& tag, const std::string& text) {
  if (tag == "Vertices" || tag == "Triangles" || tag == "Bitmap" || tag == "AreaType") return text;
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
  const std::string other = OtherEnumText(text);
  return other.empty() ? text + " 2" : other;
}

// One value of the example and the text it is changed to.
struct Change {
  std::size_t from, to;  // the element
  std::string tag, replacement;
};

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

  const TalAM::MachineParameters machine = Loaded(changed);
  const std::string saved = Saved(machine);
  // Line by line, so that a failure names the values that did not come back.
  std::istringstream savedLines(saved), expected(changed);
  for (std::string a, b; std::getline(expected, a);) {
    if (!std::getline(savedLines, b)) b = "(end of file)";
    EXPECT_EQ(b, a);
  }
  const TalAM::MachineParameters again = Loaded(saved);
  EXPECT_TRUE(again == machine);

  // Every block and item differs from the example's, to its own inequality too (EXPECT_NE).
  const TalAM::MachineParameters a = Loaded(Example());
  const TalAM::MachineParameters& b = machine;
  const auto &pa = a.m_postProcessing, &pb = b.m_postProcessing;
  const auto &sa = a.m_slicer, &sb = b.m_slicer;
  const auto &na = a.m_nesting, &nb = b.m_nesting;
  EXPECT_NE(a, b);
  EXPECT_NE(a.m_platform, b.m_platform);
  EXPECT_NE(a.m_platform.m_envelope, b.m_platform.m_envelope);
  EXPECT_NE(a.m_platform.m_laserOverlaps, b.m_platform.m_laserOverlaps);
  EXPECT_NE(a.m_platform.m_laserOverlaps.m_overlaps[0], b.m_platform.m_laserOverlaps.m_overlaps[0]);
  EXPECT_NE(a.m_zCompensationParameters, b.m_zCompensationParameters);
  EXPECT_NE(na, nb);
  EXPECT_NE(na.m_boundingBox, nb.m_boundingBox);
  EXPECT_NE(na.m_geometry, nb.m_geometry);
  EXPECT_NE(na.m_custom, nb.m_custom);
  EXPECT_NE(sa, sb);
  EXPECT_NE(sa.m_fixParameters, sb.m_fixParameters);
  EXPECT_NE(sa.m_formatParameters, sb.m_formatParameters);
  EXPECT_NE(sa.m_sliceParameters, sb.m_sliceParameters);
  EXPECT_NE(sa.m_sliceVisualizationParameters, sb.m_sliceVisualizationParameters);
  EXPECT_NE(pa, pb);
  EXPECT_NE(pa.m_hatchParameters, pb.m_hatchParameters);
  EXPECT_NE(pa.m_hatchParameters.m_style, pb.m_hatchParameters.m_style);
  EXPECT_NE(pa.m_skinFillParameters, pb.m_skinFillParameters);
  EXPECT_NE(pa.m_mergeParameters, pb.m_mergeParameters);
  EXPECT_NE(pa.m_bitmapExportParameters, pb.m_bitmapExportParameters);
  EXPECT_NE(pa.m_scdbExportParameters, pb.m_scdbExportParameters);
  EXPECT_NE(a.m_exportPart, b.m_exportPart);
  EXPECT_NE(a.m_qualityParts, b.m_qualityParts);
  EXPECT_NE(a.m_qualityParts.m_items.begin()->second, b.m_qualityParts.m_items.begin()->second);
  EXPECT_NE(a.m_kestrumSupport, b.m_kestrumSupport);
  EXPECT_NE(a.m_baseplateParameters, b.m_baseplateParameters);
  EXPECT_NE(a.m_lockedAreas, b.m_lockedAreas);
  EXPECT_NE(a.m_costFragments, b.m_costFragments);
  EXPECT_NE(a.m_costFragments.GetCostFragment(0), b.m_costFragments.GetCostFragment(0));
  const auto &ta = a.m_buildTimeCalculation, &tb = b.m_buildTimeCalculation;
  EXPECT_NE(ta, tb);
  EXPECT_NE(ta.m_buildTimeParameters, tb.m_buildTimeParameters);
  EXPECT_NE(ta.m_buildTimeParameters.m_machineAndResinParameters,
            tb.m_buildTimeParameters.m_machineAndResinParameters);
  EXPECT_NE(ta.m_buildTimeParameters.m_partParameters, tb.m_buildTimeParameters.m_partParameters);
  EXPECT_NE(ta.m_buildTimeParameters.m_recoatParameters,
            tb.m_buildTimeParameters.m_recoatParameters);
  EXPECT_NE(ta.m_selfLearningParameters, tb.m_selfLearningParameters);
  EXPECT_NE(ta.m_selfLearningParameters.m_plateauDataList.front(),
            tb.m_selfLearningParameters.m_plateauDataList.front());
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
  const TalAM::MachineParameters original = Loaded(Example());
  const std::vector<Change> changes = Changes();
  for (std::size_t i = 0; i < changes.size(); ++i) {
    EXPECT_EQ(Loaded(Changed(changes, i, i + 1)) == original, notCompared.contains(changes[i].tag))
        << changes[i].tag << ": " << changes[i].replacement;
  }
}

// ---------------------------------------------------------------------------------------------

namespace {

constexpr char kPlanted[] = "<PlantedUnknown required=\"true\"/>";

struct Container {
  std::string path;                 // "Machine/Platform/LaserOverlaps/Overlap[2]"
  std::size_t contentStart;         // just after the start tag
  std::string unknownWrapper = {};  // planted inside a new unknown element of this name
};
void PrintTo(const Container& c, std::ostream* out) {
  *out << c.path;
}

// Every element with a child element, in document order. The example is machine-written: no
// comments, CDATA or '>' inside attribute values. A repeated sibling gets its number: "[2]".
std::vector<Container> FindContainers(const std::string& xml) {
  struct Open {
    Container container;
    bool hasChild;
    std::map<std::string, int> seen;
  };
  std::vector<Open> open;
  std::vector<Container> found;
  for (std::size_t at = xml.find('<'); at != std::string::npos; at = xml.find('<', at + 1)) {
    const std::size_t end = xml.find('>', at);
    if (xml[at + 1] == '?' || end == std::string::npos) continue;
    if (xml[at + 1] == '/') {
      if (open.empty()) break;
      if (open.back().hasChild) found.push_back(open.back().container);
      open.pop_back();
      continue;
    }
    std::string name = xml.substr(at + 1, xml.find_first_of(" \t\r\n/>", at) - at - 1);
    if (!open.empty()) {
      open.back().hasChild = true;
      if (const int n = ++open.back().seen[name]; n > 1) name += "[" + std::to_string(n) + "]";
      name = open.back().container.path + "/" + name;
    }
    if (xml[end - 1] != '/') open.push_back({{name, end + 1}, false, {}});
  }
  std::sort(found.begin(), found.end(),
            [](const auto& a, const auto& b) { return a.contentStart < b.contentStart; });
  return found;
}

std::string WithoutNumbers(const std::string& path) {
  return std::regex_replace(path, std::regex(R"(\[[0-9]+\])"), "");
}

// The containers, and an unknown element "Future" planted into Envelope with the element inside.
// A quality part's "Name" creates the part, so its element goes after the name.
std::vector<Container> Cases() {
  std::vector<Container> cases = FindContainers(Example());
  for (std::size_t i = 0, n = cases.size(); i < n; ++i) {
    if (cases[i].path == "Machine/Platform/Envelope")
      cases.push_back({cases[i].path + "/Future", cases[i].contentStart, "Future"});
    if (WithoutNumbers(cases[i].path) == "Machine/QualityParts/Item") {
      const std::string nameEnd = "</Name>";
      cases[i].contentStart = Example().find(nameEnd, cases[i].contentStart) + nameEnd.size();
    }
  }
  return cases;
}

// "Machine/Platform/LaserOverlaps/Overlap[2]" -> "Machine_Platform_LaserOverlaps_Overlap2".
std::string TestName(const ::testing::TestParamInfo<Container>& param) {
  return std::regex_replace(std::regex_replace(param.param.path, std::regex("/"), "_"),
                            std::regex(R"([\[\]])"), "");
}

using RequiredElementEverywhereTest = ::testing::TestWithParam<Container>;

}  // namespace

// The scan must find every container of the example (69 with the numbered list items, from
// "Machine" down to "Machine/QualityParts/Item[2]/Mesh"), or the planting test below would
// silently test less than it says. (A repeated sibling left unnumbered would give two
// instances one name, which gtest refuses.)
TEST(RequiredElementEverywhere, FindsEveryContainerOfTheExample) {
  EXPECT_EQ(FindContainers(Example()).size(), 69u);
}

TEST_P(RequiredElementEverywhereTest, PolicyTwoRefusesAPlantedRequiredElement) {
  const Container& c = GetParam();
  const bool inSupport = c.path.starts_with("Machine/Support/") || c.path == "Machine/Support" ||
                         c.path.starts_with("Machine/SupportProfilesVector/SupportProfile");
  const std::string& w = c.unknownWrapper;
  std::string variant = Example();
  variant.insert(c.contentStart, w.empty() ? kPlanted : "<" + w + ">" + kPlanted + "</" + w + ">");

  TalAM::MachineParameters machine;
  const auto loaded = TalAM::LoadMachineDocument(machine, variant, "variant.xml", kReject);
  const auto elements = machine.GetUnhandledElementsFromAllNodes();
  const std::size_t exampleKept = Loaded(Example()).GetUnhandledElementsFromAllNodes().size();
  if (inSupport || c.path == "Machine/QualityPartsProfiles") {
    // Support settings belong to the support library: every child is a setting, stored and
    // written back whole whatever its attributes, so nothing there is an unknown element. The
    // list of named quality part sets drops anything but a set.
    EXPECT_TRUE(loaded.success) << loaded.message;
    EXPECT_EQ(elements.size(), exampleKept);
    return;
  }
  if (!w.empty() || c.path == "Machine/AdaptiveLayerThickness") {
    // Inside an unknown element: only the top of a kept element is looked at for
    // required="true", so the file loads and the planted element stays inside it.
    EXPECT_TRUE(loaded.success) << loaded.message;
    const std::string tag = c.path.substr(c.path.rfind('/') + 1);
    const auto outer = std::find_if(elements.begin(), elements.end(),
                                    [&](const auto& e) { return e.get().GetTagName() == tag; });
    ASSERT_NE(outer, elements.end());
    ASSERT_GE(outer->get().GetNodes().size(), 2u);
    EXPECT_EQ(outer->get().GetNodes()[1].value, "PlantedUnknown");
    EXPECT_EQ(outer->get().GetNodes()[1].depth, 1u);
    return;
  }
  EXPECT_FALSE(loaded.success);
  EXPECT_EQ(loaded.message,
            L"Error while reading machine file 'variant.xml'\nRequired unhandled elements found.");

  // Policy 1 keeps it, where it was found (a wrapper's children are kept by the enclosing
  // block), next to the example's own kept elements.
  // Saved and loaded again, it is still there; only in the same block, since a group or list
  // wrapper has no kept elements of its own and its block writes them after its own content.
  const TalAM::MachineParameters kept = Loaded(variant), again = Loaded(Saved(kept));
  std::string pathFound;
  for (const TalAM::MachineParameters* m : {&kept, &again}) {
    const auto all = m->GetUnhandledElementsFromAllNodes();
    EXPECT_EQ(all.size(), exampleKept + 1);
    const auto planted = std::find_if(all.begin(), all.end(), [](const auto& e) {
      return e.get().GetTagName() == "PlantedUnknown";
    });
    ASSERT_NE(planted, all.end());
    if (pathFound.empty()) pathFound = planted->get().GetSourcePath();
  }
  EXPECT_EQ(pathFound, WithoutNumbers(c.path));
}

INSTANTIATE_TEST_SUITE_P(Example, RequiredElementEverywhereTest, ::testing::ValuesIn(Cases()),
                         TestName);
