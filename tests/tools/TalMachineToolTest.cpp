// tal-machine run through the shell: exit status, standard output and standard error.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

namespace fs = std::filesystem;
using TestSupport::ReadFile;
using TestSupport::TempDirectory;
using TestSupport::WriteFile;

struct Result {
  int status = -1;
  std::string out;
  std::string err;
};

std::string ShellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) {
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return quoted + "'";
}

// Runs tal-machine in the test data directory, so that messages name files as given.
Result RunTool(const std::vector<std::string>& args) {
  const TempDirectory capture;
  std::string command = "cd " + ShellQuoted(TOOL_TEST_DATA) + " && " + ShellQuoted(TAL_MACHINE);
  for (const auto& arg : args) {
    command += " " + ShellQuoted(arg);
  }
  command += " >" + ShellQuoted(capture.File("out")) + " 2>" + ShellQuoted(capture.File("err"));
  const int raw = std::system(command.c_str());
  Result result;
  result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  result.out = ReadFile(capture.File("out"));
  result.err = ReadFile(capture.File("err"));
  return result;
}

std::size_t Lines(const std::string& text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

std::set<std::string> Entries(const fs::path& directory) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

bool Finds(const std::string& text, const std::string& pattern) {
  return std::regex_search(text, std::regex(pattern));
}

const std::string kExample = EXAMPLE_MACHINE;

// One invocation; `out` and `err` (regular expressions) must be found in their streams.
struct Case {
  const char* name;
  std::vector<std::string> args;
  int status;
  std::string out, err;
  std::size_t errLines;
};

class TalMachineToolRun : public testing::TestWithParam<Case> {};

TEST_P(TalMachineToolRun, StatusAndMessages) {
  const Case& c = GetParam();
  const Result result = RunTool(c.args);
  EXPECT_EQ(result.status, c.status) << result.err;
  EXPECT_TRUE(Finds(result.out, c.out)) << c.out << "\nnot in:\n" << result.out;
  EXPECT_TRUE(Finds(result.err, c.err)) << c.err << "\nnot in:\n" << result.err;
  EXPECT_EQ(Lines(result.err), c.errLines) << result.err;
}

const Case kCases[] = {
    {"ShowIgnoring", {"show", "--policy", "ignore", kExample}, 0, "elements: +0\n", "", 0},
    {"CheckExample", {"check", kExample}, 0, "example-machine.xml: OK", "", 0},
    {"CheckRefused",
     {"check", "bad-unit.xml"},
     1,
     "",
     "^bad-unit.xml:4:3: error: refused element Machine/Unit, text 'Metre'\n"
     "bad-unit.xml:6:5: error: .*/ZCompensationParameters/PreserveThin, text 'thin'\n$",
     2},
    {"ShowRefused",
     {"show", "bad-unit.xml"},
     0,
     "Unit: +Mm\n",
     "bad-unit.xml:4:3: warning: refused element Machine/Unit",
     2},
    {"CheckRequired",
     {"check", "required-element.xml"},
     1,
     "",
     "^required-element.xml:7: error: unknown required element .*/LaserOffset\n"
     "required-element.xml:9: error: unknown required element Machine/Recoater\n"
     "tal-machine: Error while reading machine file 'required-element.xml': "
     "Required unhandled elements found\\.\n$",
     3},
    {"ShowKeepingRequired",
     {"show", "--policy", "keep", "required-element.xml"},
     0,
     "Unit: +Inch\n[\\s\\S]*  ZCompensationValue: +900\n[\\s\\S]*"
     "  Machine/ZCompensationParameters/LaserOffset, line 7, required\n"
     "  Machine/Recoater, line 9, required\n",
     "",
     0},
    {"ShowRejectingRequired",
     {"show", "--policy", "reject-required", "required-element.xml"},
     1,
     "",
     "Required unhandled elements found",
     1},
    // A file that cannot be loaded: one line naming it.
    {"ShowMissingFile", {"show", "no-such.xml"}, 1, "", "'no-such.xml'", 1},
    {"CheckNotXml", {"check", "not-xml.txt"}, 1, "", "not-xml.txt", 1},
    // Usage errors: one line, status 2.
    {"NoCommand", {}, 2, "", "a command is required", 1},
    {"UnknownCommand", {"frob", kExample}, 2, "", "unknown command 'frob'", 1},
    {"MissingFile", {"show"}, 2, "", "FILE", 1},
    {"PathNotUtf8", {"show", "\xFF.xml"}, 2, "", "UTF-8", 1},
    {"MissingOutput", {"convert", kExample}, 2, "", "OUT", 1},
    {"Version", {"--version"}, 0, "^" TALSDK_VERSION "\n$", "", 0},
    {"CommandHelp", {"check", "--help"}, 0, "--policy[\\s\\S]*reject-required", "", 0},
    // Costs of a build: the time fragment per hour, the volume in litres, and a dependency
    // outside the charged quantities costs nothing and is reported.
    {"CostWithTime",
     {"cost", "costed-machine.xml", "--volume", "2000000", "--time", "7200"},
     0,
     "^Fragment +Dependency +Units +Unit cost +Cost\n"
     "Machine time +Estimated Build Time +7200 +90\\.00 +180\\.00\n"
     "Powder +Volume +2 +3\\.00 +6\\.00\n"
     "Finishing +Z Proj\\. Surface +0 +12\\.50 +0\\.00\n"
     "Total +186\\.00 EUR\n$",
     "^costed-machine.xml: warning: cost fragment 'Finishing' depends on Z Proj\\. Surface, "
     "which always costs nothing\n$",
     1},
    {"CostWithoutTime",
     {"cost", "costed-machine.xml", "--volume", "2000000"},
     0,
     "\nMachine time +Estimated Build Time +0 +90\\.00 +0\\.00\n[\\s\\S]*Total +6\\.00 EUR\n$",
     "'Machine time' depends on the estimated build time, which is 0 without --time",
     2},
    {"CostMissingFile", {"cost", "no-such.xml"}, 1, "", "'no-such.xml'", 1},
    {"CostNegative", {"cost", "costed-machine.xml", "--volume", "-1"}, 2, "", "--volume", 1},
    {"CostFractionOfStl", {"cost", "costed-machine.xml", "--stls", "1.5"}, 2, "", "--stls", 1},
    {"CostHelp",
     {"cost", "--help"},
     0,
     "--support-volume[\\s\\S]*Example: tal-machine cost",
     "",
     0},
    // The working curve of the default resin and laser: Dp deep at about 618 mm/s.
    {"ScanSpeed",
     {"scan-speed", "costed-machine.xml", "--cure-depth", "0.1651"},
     0,
     "^617\\.9[0-9]*\n$",
     "",
     0},
    {"ScanSpeedWithoutDepth", {"scan-speed", "costed-machine.xml"}, 2, "", "--cure-depth", 1},
};

INSTANTIATE_TEST_SUITE_P(Cases, TalMachineToolRun, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case>& test) {
                           return std::string(test.param.name);
                         });

TEST(TalMachineTool, ShowExample) {
  const Result result = RunTool({"show", kExample});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  for (const char* pattern :
       {"^File: +.*example-machine.xml\nName: +M2 Cusing 250\n",
        "\nMaterial\n  Name: +316L stainless steel\n",
        "Comments: +Two-laser powder-bed machine, hall B\\.\n +Recalibrated 2026-10-02\\.\n",
        "Unit: +Mm\n", "\nPlatform\n  Shape: +Box\n",
        "  Envelope\n    Dx: +250 mm \\(250000\\)\n    Dy: +250 mm \\(250000\\)\n"
        "    Dz: +280 mm \\(280000\\)\n",
        "  Position: +0 0 4 mm \\(0 0 4000\\)\n",
        "    Overlap\\[2\\]\n      Orientation: +Y\n      Position: +120 mm \\(120000\\)\n",
        "    Mesh: +12 triangles, 8 vertices\n      Name: +build-plate\n",
        "SupportProfilesVector: +2\n  SupportProfile\\[1\\]\n    ProfileName: +Fine lattice\n"
        "    Lattice: +\\(structured\\)\n",
        "  ZCompensationValue: +1200\n", "  AngleFactorArray: +7\n    AngleFactor\\[1\\]: +1000\n",
        "\nQualityParts\n  ProfileName: +Witness coupons\n(.*\n)*  Item\\[2\\]\n"
        "    Name: +Tensile coupon A\n    Position\n      Translation: +20 230 0\n"
        "      Rotated: +true\n",
        "\nQualityPartsProfiles\n  QualityParts\\[1\\]\n    ProfileName: +Full qualification\n"
        "(.*\n)*  QualityParts\\[2\\]\n    ProfileName: +None\n",
        "Kept unknown elements: +3\n  Machine/QualityParts/Item/InspectionPlan, line [0-9]+, not "
        "required\n  Machine/QualityParts/RetentionDays, line [0-9]+, not required\n"
        "  Machine/AdaptiveLayerThickness, line [0-9]+, not required\n"}) {
    EXPECT_TRUE(Finds(result.out, pattern)) << pattern << "\nnot in:\n" << result.out;
  }
}

TEST(TalMachineTool, NewShowAndConvertRoundTrip) {
  const TempDirectory dir;
  const auto created = dir.File("new.xml"), converted = dir.File("converted.xml");
  const struct {
    std::vector<std::string> options;
    std::string name, unit;
  } cases[] = {{{"--name", "Two\nlines", "--unit", "mm"}, "Two\n +lines", "Mm"},
               {{}, "Untitled", "Mm"},
               {{"--name", "Büild ⌀250", "--unit", "inch"}, "Büild ⌀250", "Inch"}};
  for (const auto& c : cases) {
    std::vector<std::string> args = {"new", created};
    args.insert(args.end(), c.options.begin(), c.options.end());
    ASSERT_EQ(RunTool(args).status, 0) << c.name;
    const Result shown = RunTool({"show", created});
    EXPECT_EQ(shown.status, 0);
    EXPECT_TRUE(Finds(shown.out, "Name: +" + c.name + "\n")) << shown.out;
    EXPECT_TRUE(Finds(shown.out, "Unit: +" + c.unit + "\n")) << shown.out;
  }

  // A new file gets the usual permissions; a replaced one keeps its own.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(fs::status(created).permissions(), fs::perms(0666 & ~mask));
  WriteFile(converted, "older content");
  fs::permissions(converted, fs::perms(0640));
  const Result result = RunTool({"convert", created, converted});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(ReadFile(converted), ReadFile(created));
  EXPECT_EQ(fs::status(converted).permissions(), fs::perms(0640));
  EXPECT_EQ(Entries(dir.Path()), (std::set<std::string>{"new.xml", "converted.xml"}));
}

TEST(TalMachineTool, FailedWriteLeavesExistingFileAndNoTemporary) {
  const TempDirectory dir;
  const auto out = dir.File("out.xml").string();
  const std::vector<std::string> commands[] = {
      {"convert", "not-xml.txt", out},
      {"convert", "--policy", "reject-required", "required-element.xml", out},
      {"new", out, "--name", "bell \x07"},  // XML cannot hold the character
  };
  for (const auto& args : commands) {
    WriteFile(out, "previous content");
    const Result result = RunTool(args);
    EXPECT_EQ(result.status, 1) << args.front();
    EXPECT_EQ(Lines(result.err), 1u) << result.err;
    EXPECT_EQ(ReadFile(out), "previous content");
    EXPECT_EQ(Entries(dir.Path()), std::set<std::string>{"out.xml"});
  }
  EXPECT_NE(RunTool({"new", out, "--name", "bell \x07"}).err.find("'" + out + "'"),
            std::string::npos);

  // An output in a directory that is missing or is a file: one line naming it, nothing created.
  fs::remove(out);
  WriteFile(dir.File("plain-file"), "");
  for (const auto& missing : {dir.File("missing/out.xml"), dir.File("plain-file/out.xml")}) {
    const Result result = RunTool({"convert", kExample, missing});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(Lines(result.err), 1u) << result.err;
    EXPECT_NE(result.err.find(missing.string()), std::string::npos) << result.err;
  }
  EXPECT_EQ(Entries(dir.Path()), std::set<std::string>{"plain-file"});
}

}  // namespace

TEST(TalMachineTool, PlatformMeshFromStl) {
  const TempDirectory dir;
  const std::string machine = dir.File("m.xml").string();
  ASSERT_EQ(RunTool({"new", machine}).status, 0);
  const std::string data = TOOL_TEST_DATA;

  for (const char* stl : {"cube-binary.stl", "cube-ascii.stl"}) {
    const Result added = RunTool({"platform-mesh", machine, data + "/" + stl});
    ASSERT_EQ(added.status, 0) << stl << added.err;
    const Result shown = RunTool({"show", machine});
    EXPECT_TRUE(Finds(shown.out, "12 triangles, 8 vertices\n")) << shown.out;
    EXPECT_TRUE(Finds(shown.out, "Volume: +1000\n")) << shown.out;
  }

  // A malformed or truncated STL file: one line, and the machine file stays as it was.
  const std::string before = ReadFile(machine);
  for (const char* stl : {"truncated.stl", "garbage.stl", "not-xml.txt", "missing.stl"}) {
    const Result refused = RunTool({"platform-mesh", machine, data + "/" + stl});
    EXPECT_EQ(refused.status, 1) << stl;
    EXPECT_EQ(Lines(refused.err), 1u) << refused.err;
    EXPECT_TRUE(Finds(refused.err, stl)) << refused.err;
    EXPECT_EQ(ReadFile(machine), before) << stl;
  }

  const std::string out = dir.File("without.xml").string();
  ASSERT_EQ(RunTool({"platform-mesh", machine, "--remove", "--out", out}).status, 0);
  EXPECT_FALSE(Finds(RunTool({"show", out}).out, "Mesh:"));
  EXPECT_EQ(ReadFile(machine), before);
  EXPECT_EQ(RunTool({"platform-mesh", machine}).status, 2);
}

namespace {

std::size_t Count(const std::string& text, const std::string& needle) {
  std::size_t count = 0;
  for (auto at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) {
    ++count;
  }
  return count;
}

}  // namespace

TEST(TalMachineTool, RenderPlatform) {
  const TempDirectory dir;
  const std::string svgFile = dir.File("platform.svg").string();
  const Result rendered = RunTool({"render", kExample, "-o", svgFile});
  ASSERT_EQ(rendered.status, 0) << rendered.err;
  EXPECT_EQ(rendered.out, "");
  const std::string svg = ReadFile(svgFile);

  // Well-formed: the library's reader takes it whole, and what it kept names every area.
  std::string kept;
  ASSERT_NO_THROW(kept = TestSupport::RoundTrip(svg));
  EXPECT_TRUE(Finds(kept,
                    "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 [0-9.]+ "
                    "[0-9.]+\" width=\"[0-9.]+\" height=\"[0-9.]+\""))
      << kept.substr(0, 300);
  EXPECT_EQ(Count(kept, "class=\"area\""), 3u);
  EXPECT_TRUE(Finds(kept, "<rect class=\"area\" data-name=\"Clamp front left\" data-kind=\"box\""));
  EXPECT_TRUE(Finds(kept, "<circle class=\"area\" data-name=\"Powder sensor\""));
  EXPECT_TRUE(Finds(kept,
                    "<polygon class=\"area\" data-name=\"Witness plate keep-out\"[^>]* "
                    "stroke-dasharray=\"[0-9.]+ [0-9.]+\""));
  for (const char* entry : {">1 Clamp front left \\(box\\)<", ">2 Powder sensor \\(cylinder\\)<",
                            ">3 Witness plate keep-out \\(custom shape, hidden\\)<"}) {
    EXPECT_TRUE(Finds(kept, "<text class=\"legend-area\"[^>]*" + std::string(entry))) << entry;
  }
  // +Y points up: the box at y = 15 mm lies below the cylinder at y = 220.5 mm.
  std::smatch box, cylinder;
  ASSERT_TRUE(
      std::regex_search(svg, box, std::regex("data-kind=\"box\" x=\"[0-9.]+\" y=\"([0-9.]+)\"")));
  ASSERT_TRUE(std::regex_search(svg, cylinder, std::regex("cy=\"([0-9.]+)\"")));
  EXPECT_GT(std::stod(box[1]), std::stod(cylinder[1]));
  EXPECT_TRUE(Finds(svg, ">50 mm<"));

  // Standard output, by default and with "-", is the same document.
  EXPECT_EQ(RunTool({"render", kExample}).out, svg);
  EXPECT_EQ(RunTool({"render", kExample, "-o", "-"}).out, svg);

  // A machine without locked areas has no area shapes; a missing file fails on one line.
  const std::string plain = dir.File("plain.xml").string();
  ASSERT_EQ(RunTool({"new", plain}).status, 0);
  const Result empty = RunTool({"render", plain});
  EXPECT_EQ(empty.status, 0) << empty.err;
  EXPECT_NO_THROW(TestSupport::RoundTrip(empty.out));
  EXPECT_EQ(Count(empty.out, "class=\"area\""), 0u);
  EXPECT_EQ(Count(empty.out, "class=\"legend-area\""), 0u);
  const Result missing = RunTool({"render", "no-such.xml", "-o", dir.File("x.svg").string()});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(Lines(missing.err), 1u) << missing.err;
  EXPECT_FALSE(fs::exists(dir.File("x.svg")));
}

// The Concept Laser commands: the bundled example checks, converts to itself and shows its
// sets in millimetres; a machine file is no parameter file; a failed conversion leaves the
// target as it was.
TEST(TalMachineTool, ConceptLaserCommands) {
  const TempDirectory dir;
  const std::string example =
      (fs::path(kExample).parent_path().parent_path() / "conceptlaser" / "example.xml").string();
  const Result check = RunTool({"cl", "check", example});
  EXPECT_EQ(check.status, 0) << check.err;
  EXPECT_TRUE(Finds(check.out, "example.xml: OK\n$"));

  const std::string converted = dir.File("example.xml").string();
  EXPECT_EQ(RunTool({"cl", "convert", example, converted}).status, 0);
  EXPECT_EQ(ReadFile(converted), ReadFile(example));

  const Result show = RunTool({"cl", "show", example});
  EXPECT_EQ(show.status, 0) << show.err;
  EXPECT_TRUE(Finds(show.out, "PlatformX: +250 mm \\(250000\\)"));
  EXPECT_TRUE(Finds(show.out, "Name: +Lattice"));
  EXPECT_TRUE(Finds(show.out, "Name: +Solid"));
  EXPECT_TRUE(Finds(show.out, "ComponentPostProcessParameters \\(1\\)"));
  const Result json = RunTool({"cl", "show", "--format", "json", example});
  EXPECT_TRUE(Finds(json.out, "\"kind\": \"length\", \"text\": \"250000\", \"mm\": 250\\}"));
  // Each laser set closes before the next; a named set's name comes before its values.
  EXPECT_TRUE(Finds(json.out,
                    "\"CLParameterFile/ParameterSet\\[1\\]/HatchingProcessParameters\", "
                    "\"kind\": \"block\""));
  EXPECT_TRUE(Finds(json.out,
                    "Parameters\\[1\\]/Name\", \"kind\": \"string\", \"text\": "
                    "\"Lattice\"\\},\n +\\{\"path\": \"[^\"]*/Parameters\\[1\\]/SkinWidth\""));
  const Result dump = RunTool({"cl", "show", "--dump", example});
  EXPECT_TRUE(Finds(dump.out,
                    "^Scanning set Default\n  BorderProcessParameters\nBuild params:\n"
                    "\t\tPower: +\t[0-9]+\n"));
  EXPECT_TRUE(Finds(dump.out,
                    "\nScanning set Solid\n(.*\n){91}Post-process set of the platform\n"
                    "(.*\n){17}Post-process set Lattice\n"));

  const std::string fresh = dir.File("new.xml").string();
  EXPECT_EQ(RunTool({"cl", "new", fresh}).status, 0);
  EXPECT_EQ(RunTool({"cl", "check", fresh}).status, 0);

  const Result machine = RunTool({"cl", "check", kExample});
  EXPECT_EQ(machine.status, 1);
  EXPECT_TRUE(Finds(machine.err, "not 'CLParameterFile'")) << machine.err;
  EXPECT_EQ(Lines(machine.err), 1u);
  const std::string before = ReadFile(fresh);
  EXPECT_EQ(RunTool({"cl", "convert", kExample, fresh}).status, 1);
  EXPECT_EQ(ReadFile(fresh), before);
  EXPECT_EQ(Entries(dir.Path()), (std::set<std::string>{"example.xml", "new.xml"}));
  EXPECT_EQ(RunTool({"cl"}).status, 2);
}
