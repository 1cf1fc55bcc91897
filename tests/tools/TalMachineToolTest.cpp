// tal-machine run through the shell: exit status, standard output and standard error.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <TalSDK/Machines.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
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
Result RunTool(const std::vector<std::string>& args, const std::string& input = "/dev/null") {
  const TempDirectory capture;
  std::string command = "cd " + ShellQuoted(TOOL_TEST_DATA) + " && " + ShellQuoted(TAL_MACHINE);
  for (const auto& arg : args) {
    command += " " + ShellQuoted(arg);
  }
  command += " <" + ShellQuoted(input) + " >" + ShellQuoted(capture.File("out")) + " 2>" +
             ShellQuoted(capture.File("err"));
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
    {"CheckRefused",
     {"check", "bad-unit.xml"},
     1,
     "",
     "^tal-machine: bad-unit.xml:4:3: error: refused element Machine/Unit, text 'Metre'\n"
     "tal-machine: bad-unit.xml:6:5: error: .*/ZCompensationParameters/PreserveThin, text "
     "'thin'\n$",
     2},
    // An element refused with empty text is named without a text.
    {"CheckEmptyText",
     {"check", "empty-unit.xml"},
     1,
     "",
     "^tal-machine: empty-unit.xml:3:3: error: refused element Machine/Unit\n$",
     1},
    {"ShowRefused",
     {"show", "bad-unit.xml"},
     0,
     "Unit: +Mm\n",
     "bad-unit.xml:4:3: warning: refused element Machine/Unit",
     2},
    // Several files, each reported; a failure does not stop the others.
    {"CheckSeveral",
     {"check", "required-element.xml", "lenient.xml", "no-such.xml", kExample},
     1,
     "^lenient.xml: OK\n.*example-machine.xml: OK \\(3 unknown elements kept\\)\n$",
     "^tal-machine: required-element.xml:7: error: unknown required element "
     ".*/LaserOffset\n"
     "tal-machine: required-element.xml:9: error: unknown required element Machine/Recoater\n"
     "tal-machine: required-element.xml: error: unknown required elements found \\(policy "
     "reject-required\\)\n"
     "tal-machine: lenient.xml:5:3: note: Machine/Platform/RecoaterDirection, text 'Sideways': "
     "unknown text read as 'Positive'\n"
     "tal-machine: lenient.xml:6:24: note: .*/Method: unknown text read as 'Contour'\n"
     "tal-machine: no-such.xml: error: cannot read: No such file or directory\n$",
     6},
    // At most 20 diagnostics of a file as text, a count of those left out, and the last one.
    {"CheckManyRefused",
     {"check", "many-refused.xml"},
     1,
     "",
     "^(.*Machine/Unit.*\n){20}tal-machine: many-refused.xml: 1 more diagnostics not shown "
     "\\(see --format json\\)\n.*:24:3: error: refused element Machine/Unit.*\n$",
     22},
    {"CheckOneKept",
     {"check", "one-kept.xml"},
     0,
     "^one-kept.xml: OK \\(1 unknown element kept\\)\n$",
     "",
     0},
    {"ShowKeepingRequired",
     {"show", "--policy", "keep", "required-element.xml"},
     0,
     "Unit: +Inch\n[\\s\\S]*  ZCompensationValue: +900\n[\\s\\S]*"
     "  Machine/ZCompensationParameters/LaserOffset, line 7, required\n"
     "  Machine/Recoater, line 9, required\n",
     "",
     0},
    {"CheckNotXml",
     {"check", "not-xml.txt"},
     1,
     "",
     "^tal-machine: not-xml.txt:1:1: error: not well-formed XML: text before the root element\n$",
     1},
    // Control characters from a file are shown as escapes; a line break breaks the line.
    {"ShowUnsafeText", {"show", "unsafe-text.xml"}, 0, "Name: +A\n +\\\\x7FB\n", "", 0},
    // Usage errors: one line, status 2; the top-level message lists every command.
    {"NoCommand",
     {},
     2,
     "",
     "a command is required: new, show, check, convert, platform-mesh, diff, get, set, cost, "
     "scan-speed, render or cl",
     1},
    {"UnknownCommand", {"frob", kExample}, 2, "", "unknown command 'frob'", 1},
    {"PathNotUtf8", {"show", "\xFF.xml"}, 2, "", "UTF-8", 1},
    {"MissingOutput", {"convert", kExample}, 2, "", "OUT", 1},
    // get: a value for scripts, a list's count, and refusals of what is no value.
    {"GetValue", {"get", kExample, "Machine/Platform/Envelope/Dz"}, 0, "^280000\n$", "", 0},
    {"GetList", {"get", kExample, "Machine/SupportProfilesVector"}, 0, "^2\n$", "", 0},
    {"GetBlock",
     {"get", kExample, "Machine/Platform"},
     1,
     "",
     "'Machine/Platform' is a block, not a value",
     1},
    {"GetMissing", {"get", kExample, "Machine/Nope"}, 1, "", "no field 'Machine/Nope'", 1},
    // diff: 0 equal, 2 on trouble.
    {"DiffEqual", {"diff", kExample, kExample}, 0, "^$", "", 0},
    {"DiffTrouble", {"diff", kExample, "no-such.xml"}, 2, "^$", "no-such.xml", 1},
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
     "^tal-machine: costed-machine.xml: warning: cost fragment 'Finishing' depends on Z Proj\\. "
     "Surface, "
     "which always costs nothing\n$",
     1},
    {"CostWithoutTime",
     {"cost", "costed-machine.xml", "--volume", "2000000"},
     0,
     "\nMachine time +Estimated Build Time +0 +90\\.00 +0\\.00\n[\\s\\S]*Total +6\\.00 EUR\n$",
     "'Machine time' depends on the estimated build time, which is 0 without --time",
     2},
    {"CostNegative", {"cost", "costed-machine.xml", "--volume", "-1"}, 2, "", "--volume", 1},
    {"CostFractionOfStl", {"cost", "costed-machine.xml", "--stls", "1.5"}, 2, "", "--stls", 1},
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
        "  Envelope\n    Dx: +250 mm \\(250000\\)\n    Dy: +240 mm \\(240000\\)\n"
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
    std::vector<std::string> args = {"new", "--force", created};
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
  const std::pair<std::vector<std::string>, std::size_t> commands[] = {
      {{"convert", "not-xml.txt", out}, 1},
      {{"convert", "--policy", "reject-required", "required-element.xml", out}, 3},
      {{"new", "--force", out, "--name", "bell \x07"}, 1},  // XML cannot hold the character
  };
  for (const auto& [args, lines] : commands) {
    WriteFile(out, "previous content");
    const Result result = RunTool(args);
    EXPECT_EQ(result.status, 1) << args.front();
    EXPECT_EQ(Lines(result.err), lines) << result.err;
    EXPECT_EQ(ReadFile(out), "previous content");
    EXPECT_EQ(Entries(dir.Path()), std::set<std::string>{"out.xml"});
  }

  // An output in a directory that is missing or is a file: one line naming it, nothing created.
  fs::remove(out);
  WriteFile(dir.File("plain-file"), "");
  for (const auto& missing : {dir.File("missing/out.xml"), dir.File("plain-file/out.xml")}) {
    const Result result = RunTool({"convert", kExample, missing});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(Lines(result.err), 1u) << result.err;
    EXPECT_TRUE(result.err.starts_with("tal-machine: " + missing.string() + ": ")) << result.err;
  }
  EXPECT_EQ(Entries(dir.Path()), std::set<std::string>{"plain-file"});
}

// A command that writes does not lose what the file held unless told to: refused elements
// (written with their old values), lenient readings (written as the fallback) and another
// root element (written as a default machine).
TEST(TalMachineTool, WritesRefuseToLoseData) {
  const TempDirectory dir;
  const std::string data = TOOL_TEST_DATA;
  const std::pair<const char*, const char*> inputs[] = {
      {"bad-unit.xml",
       "2 refused elements \\(first Machine/Unit\\) would be written with their previous "
       "values"},
      {"empty-unit.xml",
       "1 refused element \\(first Machine/Unit\\) would be written with its previous value"},
      {"lenient.xml",
       "2 values read leniently \\(first Machine/Platform/RecoaterDirection\\) would be "
       "written as the fallback text"},
      {"other-root.xml", "it holds no 'Machine' element, so a default machine would be written"},
  };
  for (const auto& [input, lost] : inputs) {
    for (const bool force : {false, true}) {
      const std::string copy = dir.File("in.xml").string(), out = dir.File("out.xml").string();
      const std::vector<std::string> commands[] = {
          {"convert", copy, out},
          {"platform-mesh", copy, "--remove"},
          {"set", copy, "Machine/Name", "Renamed"},
      };
      for (std::vector<std::string> args : commands) {
        fs::remove(out);
        fs::copy_file(data + "/" + input, copy, fs::copy_options::overwrite_existing);
        if (force) args.push_back("--force");
        const Result result = RunTool(args);
        const std::string what = std::string(input) + " " + args.front();
        const std::string written = args.front() == "convert" ? out : copy;
        if (force) {
          EXPECT_EQ(result.status, 0) << what << result.err;
          EXPECT_TRUE(Finds(result.err, "^tal-machine: .*in.xml:[0-9:]* (warning|note): "));
          EXPECT_NE(ReadFile(written), ReadFile(data + "/" + input)) << what;
        } else {
          EXPECT_EQ(result.status, 1) << what;
          EXPECT_TRUE(Finds(result.err, "tal-machine: .*in.xml: not written: " + std::string(lost) +
                                            " \\(--force writes anyway\\)\n$"))
              << what << result.err;
          EXPECT_EQ(ReadFile(copy), ReadFile(data + "/" + input)) << what;
          EXPECT_FALSE(fs::exists(out)) << what;
        }
      }
    }
  }
  // new does not replace a file, nor what a link names, without --force.
  const std::string existing = dir.File("in.xml").string(), link = dir.File("link.xml").string();
  fs::create_symlink(existing, link);
  for (const std::string& target : {existing, link, dir.File("dangling.xml").string()}) {
    if (target.ends_with("dangling.xml")) fs::create_symlink(dir.File("none.xml"), target);
    const std::string before = ReadFile(existing);
    const Result refused = RunTool({"new", target});
    EXPECT_EQ(refused.status, 1) << target;
    EXPECT_TRUE(Finds(refused.err, "not written: the file exists \\(--force replaces it\\)\n$"));
    EXPECT_EQ(ReadFile(existing), before);
  }
  EXPECT_EQ(RunTool({"new", "--force", existing}).status, 0);
  EXPECT_TRUE(Finds(ReadFile(existing), "<Name>Untitled</Name>"));
}

// A symbolic link as the target: the file it names is replaced and the link stays. A device
// is refused and stays a device.
TEST(TalMachineTool, WriteTargets) {
  const TempDirectory dir;
  const std::string real = dir.File("real.xml").string(), link = dir.File("link.xml").string();
  WriteFile(real, "old");
  fs::create_symlink("real.xml", link);
  const Result converted = RunTool({"convert", kExample, link});
  EXPECT_EQ(converted.status, 0) << converted.err;
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_EQ(ReadFile(real), ReadFile(kExample));
  EXPECT_EQ(Entries(dir.Path()), (std::set<std::string>{"real.xml", "link.xml"}));

  if (::geteuid() != 0) GTEST_SKIP() << "a device can be replaced only by root";
  const Result device = RunTool({"convert", kExample, "/dev/null"});
  EXPECT_EQ(device.status, 1);
  EXPECT_EQ(device.err, "tal-machine: /dev/null: cannot write: not a regular file\n");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

// "-" is the standard input where a file is read and the standard output where one is written.
TEST(TalMachineTool, StandardInputAndOutput) {
  const std::string example = ReadFile(kExample);
  const Result copied = RunTool({"convert", "-", "-"}, kExample);
  EXPECT_EQ(copied.status, 0) << copied.err;
  EXPECT_EQ(copied.out, example);
  EXPECT_TRUE(Finds(RunTool({"show", "-"}, kExample).out, "^File: +<stdin>\nName: +M2 Cusing"));
  EXPECT_EQ(RunTool({"check", "-"}, kExample).out, "<stdin>: OK (3 unknown elements kept)\n");
  EXPECT_EQ(RunTool({"get", "-", "Machine/Name"}, kExample).out, "M2 Cusing 250\n");
  const Result set = RunTool({"set", "-", "Machine/Platform/Envelope/Dx", "300000"}, kExample);
  EXPECT_TRUE(Finds(set.out, "<Dx>300000</Dx>")) << set.err;
  EXPECT_EQ(
      RunTool({"new", "-", "--name", "Piped"}).out.find("<Name>Piped</Name>") != std::string::npos,
      true);
  const Result refused = RunTool({"check", "-"}, TOOL_TEST_DATA "/bad-unit.xml");
  EXPECT_TRUE(Finds(refused.err, "^tal-machine: <stdin>:4:3: error: refused element"));

  const std::string cl =
      (fs::path(kExample).parent_path().parent_path() / "conceptlaser" / "example.xml").string();
  const Result clCopied = RunTool({"cl", "convert", "-", "-"}, cl);
  EXPECT_EQ(clCopied.status, 0);
  EXPECT_EQ(clCopied.out, ReadFile(cl));
  // A text the document cannot hold fails on one line, with nothing on the standard output.
  const Result bell = RunTool({"new", "-", "--name", "bell \x07"});
  EXPECT_EQ(bell.status, 1);
  EXPECT_EQ(bell.out, "");
  EXPECT_TRUE(Finds(bell.err, "^tal-machine: <stdout>: [^\n]*U\\+0007[^\n]*\n$")) << bell.err;
}

// diff agrees with the library's equality both ways: a pair that differs in one value of
// any block, or in one kept element, differs; a display colour, which equality ignores, does
// not make a difference; get reads back what set wrote.
TEST(TalMachineTool, DiffAgreesWithEquality) {
  const TempDirectory dir;
  const std::string changed = dir.File("changed.xml").string();
  TalAM::MachineParameters example;
  ASSERT_TRUE(TalAM::LoadFromTMCF(example, fs::path(kExample).wstring().c_str(),
                                  TalAM::MachineParametersSaxRead::KeepUnhandledElements));
  // Values of each top-level block that equality compares, with another text; one it ignores.
  std::map<std::string, std::vector<std::pair<std::string, std::string>>> candidates;
  std::string ignored;
  TalAM::FieldVisit visit(
      [&](const TalAM::FieldView& field) {
        using K = TalAM::FieldKind;
        const std::string path(field.path), text(field.text);
        if (!field.compared && ignored.empty() && field.kind == K::Bool) ignored = path;
        if (!field.compared || (field.kind != K::Integer && field.kind != K::Length &&
                                field.kind != K::Bool && field.kind != K::String)) {
          return;
        }
        candidates[path.substr(0, path.find('/', 8))].emplace_back(
            path, field.kind == K::Bool     ? (text == "true" ? "false" : "true")
                  : field.kind == K::String ? text + " changed"
                                            : std::to_string(std::stol(text) + 1));
      },
      "Machine");
  example.VisitFields(visit);
  ASSERT_GE(candidates.size(), 15u);
  candidates["kept element"] = {{"Machine/AdaptiveLayerThickness", ""}};
  candidates["ignored"] = {{ignored, ""}};

  // Where a value has no element of its own (locked areas are written as parallel lists), the
  // file is edited instead.
  const auto edit = [&](const std::string& from, const std::string& to) {
    std::string text = ReadFile(kExample);
    const auto at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    WriteFile(changed, text.replace(at, from.size(), to));
  };
  for (const auto& [block, changes] : candidates) {
    std::string path = changes.front().first;
    if (block == "kept element") {
      edit("<MaxLayer>0.06<", "<MaxLayer>0.08<");
    } else if (block == "Machine/LockedAreas") {
      edit("<AreaName>Clamp front left<", "<AreaName>Clamp front right<");
      path = "Machine/LockedAreas/Areas/Area[1]/AreaName";
    } else if (block == "ignored") {
      const bool on = RunTool({"get", kExample, path}).out == "true\n";
      ASSERT_EQ(RunTool({"set", kExample, path, on ? "false" : "true", "--out", changed}).status,
                0);
    } else {
      const Result set = RunTool({"set", kExample, path, changes.front().second, "--out", changed});
      ASSERT_EQ(set.status, 0) << path << set.err;
      EXPECT_EQ(RunTool({"get", changed, path}).out, changes.front().second + "\n") << path;
    }
    TalAM::MachineParameters other;
    ASSERT_TRUE(TalAM::LoadFromTMCF(other, fs::path(changed).wstring().c_str(),
                                    TalAM::MachineParametersSaxRead::KeepUnhandledElements));
    const int expected = example == other ? 0 : 1;
    EXPECT_EQ(expected, block == "ignored" ? 0 : 1) << block;
    for (const auto& [a, b] : {std::pair{kExample, changed}, std::pair{changed, kExample}}) {
      const Result diff = RunTool({"diff", a, b});
      EXPECT_EQ(diff.status, expected) << block << diff.out << diff.err;
      EXPECT_EQ(diff.out.empty(), expected == 0) << block << diff.out;
      if (expected == 1) {
        EXPECT_TRUE(diff.out.starts_with(path + ": ")) << diff.out;
      }
    }
  }
  const Result dx =
      RunTool({"set", kExample, "Machine/Platform/Envelope/Dx", "300000", "--out", changed});
  ASSERT_EQ(dx.status, 0);
  EXPECT_EQ(RunTool({"diff", kExample, changed}).out,
            "Machine/Platform/Envelope/Dx: 250000 → 300000 (250 mm → 300 mm)\n");
  EXPECT_EQ(RunTool({"diff", dir.File("changed.xml"), kExample}).status, 1);
}

// set takes exactly the texts a machine file may hold there.
TEST(TalMachineTool, SetRefusesTextsTheValueDoesNotTake) {
  const TempDirectory dir;
  const std::string out = dir.File("out.xml").string();
  const struct {
    const char* path;
    const char* value;
    const char* error;
  } cases[] = {
      {"Machine/Platform/Envelope/Dx", "250mm", "'250mm' is not a valid value for"},
      {"Machine/Platform/Shape", "Triangle", "'Triangle' is not a valid value for"},
      {"Machine/Platform/RecoaterDirection", "Sideways", "it would be read as 'Positive'"},
      {"Machine/Platform", "1", "is a block, not a value"},
      {"Machine/SupportProfilesVector", "1", "is a list, not a value"},
  };
  for (const auto& c : cases) {
    const Result result = RunTool({"set", kExample, c.path, c.value, "--out", out});
    EXPECT_EQ(result.status, 1) << c.path;
    EXPECT_TRUE(Finds(result.err, c.error)) << result.err;
    EXPECT_EQ(Lines(result.err), 1u) << result.err;
    EXPECT_FALSE(fs::exists(out));
  }
  // Markup in a text is escaped, and the rest of the file is written as it was.
  ASSERT_EQ(RunTool({"set", kExample, "Machine/Name", "A & <B>", "--out", out}).status, 0);
  EXPECT_EQ(RunTool({"get", out, "Machine/Name"}).out, "A & <B>\n");
  std::string expected = ReadFile(kExample);
  expected.replace(expected.find("M2 Cusing 250"), 13, "A &amp; &lt;B&gt;");
  EXPECT_EQ(ReadFile(out), expected);
}

// Every command's help says what it does, its exit statuses and one example; those that read
// a machine file say what the policies mean.
TEST(TalMachineTool, HelpOfEveryCommand) {
  for (const char* command : {"new", "show", "check", "convert", "platform-mesh", "diff", "get",
                              "set", "cost", "scan-speed", "render"}) {
    const Result help = RunTool({command, "--help"});
    EXPECT_EQ(help.status, 0) << command;
    EXPECT_TRUE(Finds(help.out, "Exit status: 0 ")) << command;
    EXPECT_TRUE(Finds(help.out, std::string("\nExample: tal-machine ") + command + " ")) << command;
    EXPECT_TRUE(Finds(help.out, "standard input")) << command;
  }
  for (const char* command : {"show", "check", "convert", "diff", "get", "cost", "scan-speed"}) {
    const std::string help = RunTool({command, "--help"}).out;
    EXPECT_TRUE(Finds(help, "reject-required keeps them but fails")) << command;
    EXPECT_TRUE(Finds(help, "--policy TEXT:\\{ignore,keep,reject-required\\}=")) << command;
    EXPECT_TRUE(Finds(help, "\nUsage: tal-machine [a-z-]+ \\[OPTIONS\\] (FILE|IN|A)[ .\n]"))
        << command;
  }
}

}  // namespace

// The mesh goes in, and every unknown element of the file changed stays.
TEST(TalMachineTool, PlatformMeshFromStl) {
  const TempDirectory dir;
  const std::string machine = dir.File("m.xml").string();
  fs::copy_file(kExample, machine);
  const std::string data = TOOL_TEST_DATA;

  for (const char* stl : {"cube-binary.stl", "cube-ascii.stl"}) {
    const Result added = RunTool({"platform-mesh", machine, data + "/" + stl});
    ASSERT_EQ(added.status, 0) << stl << added.err;
    const Result shown = RunTool({"show", machine});
    EXPECT_TRUE(Finds(shown.out, "Mesh: +12 triangles, 8 vertices\n +Name: +cube-")) << shown.out;
    EXPECT_TRUE(Finds(shown.out, "Volume: +1000\n")) << shown.out;
    EXPECT_EQ(RunTool({"check", machine}).out, machine + ": OK (3 unknown elements kept)\n");
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
  EXPECT_FALSE(Finds(RunTool({"show", out}).out, "PlatformStl\n +Mesh:"));
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
  // The default part position: a diamond on the plate and one in the legend.
  EXPECT_EQ(Count(svg, "fill=\"#d0021b\""), 2u);

  // Standard output, by default and with "-", is the same document.
  EXPECT_EQ(RunTool({"render", kExample}).out, svg);
  EXPECT_EQ(RunTool({"render", kExample, "-o", "-"}).out, svg);

  // A machine without locked areas has no area shapes; a missing file fails on one line.
  const std::string plain = dir.File("plain.xml").string();
  std::string disabled = ReadFile(kExample);
  disabled.replace(disabled.find("<AreasEnabled>true"), 18, "<AreasEnabled>false");
  WriteFile(plain, disabled);
  EXPECT_TRUE(Finds(RunTool({"render", plain}).out, ">Locked areas are disabled<"));
  ASSERT_EQ(RunTool({"new", "--force", plain}).status, 0);
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
  EXPECT_TRUE(Finds(json.out,
                    "\"kind\": \"length\",\n +\"text\": \"250000\",\n +"
                    "\"compared\": true,\n +\"mm\": 250\\.0\n"));
  // Each laser set closes before the next; a named set's name comes before its values.
  EXPECT_TRUE(Finds(json.out,
                    "\"CLParameterFile/ParameterSet\\[1\\]/HatchingProcessParameters\",\n +"
                    "\"tag\": \"HatchingProcessParameters\",\n +\"kind\": \"block\""));
  EXPECT_TRUE(Finds(json.out,
                    "Parameters\\[1\\]/Name\",\n.*\n +\"kind\": \"string\",\n +\"text\": "
                    "\"Lattice\",\n.*\n +\\},\n +\\{\n +\"path\": \"[^\"]*/Parameters\\[1\\]/"
                    "SkinWidth\""));
  const Result dump = RunTool({"cl", "show", "--dump", example});
  EXPECT_TRUE(Finds(dump.out,
                    "^Scanning set Default\n  BorderProcessParameters\nBuild params:\n"
                    "\t\tPower: +\t[0-9]+\n"));
  EXPECT_TRUE(Finds(dump.out,
                    "\nScanning set Solid\n(.*\n){91}Post-process set of the platform\n"
                    "(.*\n){17}Post-process set Lattice\n"));

  const std::string fresh = dir.File("new.xml").string();
  EXPECT_EQ(RunTool({"cl", "new", fresh}).status, 0);
  EXPECT_EQ(RunTool({"cl", "new", fresh}).status, 1);
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
