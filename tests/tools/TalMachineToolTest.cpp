// tal-machine run through the shell: exit status, standard output and standard error.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <TalSDK/Machines.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <tuple>

#include "support/TestSupport.h"

namespace {

namespace fs = std::filesystem;
using TestSupport::ReadFile;
using TestSupport::TempDirectory;
using TestSupport::WriteFile;

const std::string kData = TOOL_TEST_DATA, kExample = EXAMPLE_MACHINE;
const std::string kCl =
    (fs::path(kExample).parent_path().parent_path() / "conceptlaser" / "example.xml").string();

struct Result {
  int status = -1;
  std::string out, err;
};

std::string Quoted(const std::string& text) {
  return "'" + std::regex_replace(text, std::regex("'"), "'\\''") + "'";
}

// How often `pattern` matches in `text`.
std::size_t Count(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  return static_cast<std::size_t>(
      std::distance(std::sregex_iterator(text.begin(), text.end(), regex), std::sregex_iterator()));
}

// Whether `pattern` is found in `text`. Its parts between "[\s\S]*" are searched one after the
// other: std::regex recurses once per character matched, too deep for a whole output.
bool Finds(const std::string& text, const std::string& pattern) {
  const std::string gap = "[\\s\\S]*";
  std::smatch match;
  auto from = text.cbegin();
  for (std::size_t start = 0, end = 0; end != std::string::npos; start = end + gap.size()) {
    end = pattern.find(gap, start);
    const std::regex part(pattern.substr(start, end - start));
    if (!std::regex_search(from, text.cend(), match, part)) return false;
    from = match[0].second;
  }
  return true;
}

// Runs `tal-machine ARGS` in the test data directory, so that messages name files as given.
// ARGS are shell words: $EX is the example machine, $CL the example parameter file, $T the
// test's own empty directory and $TM the tool, for a pipe; the standard input is empty unless
// redirected.
class TalMachineTool : public testing::Test {
 protected:
  Result Run(const std::string& args) const {
    const std::string command = "cd " + Quoted(kData) + " && EX=" + Quoted(kExample) +
                                " CL=" + Quoted(kCl) + " T=" + Quoted(dir.Path().string()) +
                                " TM=" + Quoted(TAL_MACHINE) + " && $TM </dev/null " + args + " >" +
                                Quoted(capture.File("out")) + " 2>" + Quoted(capture.File("err"));
    const int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, ReadFile(capture.File("out")),
            ReadFile(capture.File("err"))};
  }
  std::string Tmp(const std::string& name) const { return dir.File(name).string(); }
  std::set<std::string> Entries() const { return TestSupport::Entries(dir.Path()); }

  TempDirectory dir, capture;
};

// One invocation each: arguments, exit status, regular expressions searched in the standard
// output and error, and the number of error lines. None of them writes a file.
TEST_F(TalMachineTool, StatusAndMessages) {
  const std::tuple<const char*, int, const char*, const char*, std::size_t> cases[] = {
      // Values in one column, strings line by line, top-level blocks after an empty line,
      // lengths and points also in millimetres, list items numbered, lists with their size.
      {"show $EX", 0,
       "^File: {31}.*example-machine.xml\nName: {31}M2 Cusing 250\n"
       "Comments: +Two-laser powder-bed machine, hall B\\.\n {36}Recalibrated 2026-10-02\\.\n"
       "\nMaterial\n  Name: {29}316L stainless steel\n[\\s\\S]*"
       "\n  Envelope\n    Dx: +250 mm \\(250000\\)\n[\\s\\S]*"
       "\n  Position: +0 0 4 mm \\(0 0 4000\\)\n[\\s\\S]*"
       "\n    Overlap\\[2\\]\n      Orientation: +Y\n      Position: +120 mm \\(120000\\)\n"
       "[\\s\\S]*\n    Mesh: +12 triangles, 8 vertices\n      Name: +build-plate\n[\\s\\S]*"
       "\nSupportProfilesVector: +2\n  SupportProfile\\[1\\]\n    ProfileName: +Fine lattice\n"
       "    Lattice: +\\(structured\\)\n[\\s\\S]*"
       "\n  QualityParts\\[2\\]\n    ProfileName: +None\n[\\s\\S]*\nBaseplateParameters\n  Enabled"
       "[\\s\\S]*\n\nKept unknown elements: +3\n"
       "  Machine/QualityParts/Item/InspectionPlan, line [0-9]+, not required\n"
       "  Machine/QualityParts/RetentionDays, line [0-9]+, not required\n"
       "  Machine/AdaptiveLayerThickness, line [0-9]+, not required\n$",
       "", 0},
      {"show --policy ignore --format text $EX", 0, "elements: +0\n", "", 0},
      {"show $EX", 0, "\n      AskLaserPowerDuringEstimation: true\n", "", 0},  // a long label
      {"show bad-unit.xml", 0, "Unit: +Mm\n",
       "bad-unit.xml:4:3: warning: refused element Machine/Unit", 2},
      // Several files, each reported; a failure does not stop the others. A refused element is
      // named with its text, an element refused with empty text without one.
      {"check required-element.xml lenient.xml no-such.xml bad-unit.xml empty-unit.xml "
       "not-xml.txt one-kept.xml $EX",
       1,
       "^lenient.xml: OK\none-kept.xml: OK \\(1 unknown element kept\\)\n"
       ".*example-machine.xml: OK \\(3 unknown elements kept\\)\n$",
       "^tal-machine: required-element.xml:7: error: unknown required element "
       ".*/LaserOffset\n"
       "tal-machine: required-element.xml:9: error: unknown required element Machine/Recoater\n"
       "tal-machine: required-element.xml: error: unknown required elements found \\(policy "
       "reject-required\\)\n"
       "tal-machine: lenient.xml:5:3: note: Machine/Platform/RecoaterDirection, text 'Sideways': "
       "unknown text read as 'Positive'\n"
       "tal-machine: lenient.xml:6:24: note: .*/Method: unknown text read as 'Contour'\n"
       "tal-machine: no-such.xml: error: cannot read: No such file or directory\n"
       "tal-machine: bad-unit.xml:4:3: error: refused element Machine/Unit, text 'Metre'\n"
       "tal-machine: bad-unit.xml:6:5: error: .*/ZCompensationParameters/PreserveThin, text "
       "'thin'\n"
       "tal-machine: empty-unit.xml:3:3: error: refused element Machine/Unit\n"
       "tal-machine: not-xml.txt:1:1: error: not well-formed XML: text before the root element\n$",
       10},
      // At most 20 diagnostics of a file as text, a count of those left out, and the last one.
      {"check many-refused.xml", 1, "",
       "^(.*Machine/Unit.*\n){20}tal-machine: many-refused.xml: 1 more diagnostics not shown "
       "\\(see --format json\\)\n.*:24:3: error: refused element Machine/Unit.*\n$",
       22},
      // Diagnostics of every kind in the order of the file. Under a policy that keeps them,
      // required elements are no error, not even when the file fails.
      {"check --policy reject-required mixed-diagnostics.xml", 1, "^$",
       "^tal-machine: (mixed-diagnostics.xml):6: error: unknown required element .*/LaserOffset\n"
       "tal-machine: \\1:8: error: unknown required element Machine/Recoater\n"
       "tal-machine: \\1:11:11: note: .*/RecoaterDirection, text 'Sideways': unknown text.*\n"
       "tal-machine: \\1:11:69: error: refused element Machine/Unit, text 'Metre'\n",
       5},
      {"check --policy keep cut-required.xml", 1, "^$",
       "^tal-machine: cut-required.xml:9:3: error: not well-formed XML: element 'Recoater' is "
       "not closed\n$",
       1},
      {"show other-root.xml", 0, "^File: ",
       "^tal-machine: other-root.xml:2:1: warning: refused element Project\n"
       "tal-machine: other-root.xml: warning: no 'Machine' element: nothing was read\n$",
       2},
      {"show --policy keep required-element.xml", 0,
       "Unit: +Inch\n[\\s\\S]*  ZCompensationValue: +900\n[\\s\\S]*"
       "  Machine/ZCompensationParameters/LaserOffset, line 7, required\n"
       "  Machine/Recoater, line 9, required\n",
       "", 0},
      // Control characters from a file are shown as escapes; each line break, CR LF at the end too,
      // breaks the line.
      {"show unsafe-text.xml", 0, "Name: +A\n +\\\\x7FB\n +\nComments:", "", 0},
      // "-" reads the standard input and writes the standard output.
      {"show - <$EX", 0, "^File: +<stdin>\nName: +M2 Cusing", "", 0},
      // A text that starts with a line break; a kept element on the first line.
      {"show first-line.xml", 0, "\nName: *\n +X\n[\\s\\S]*\n  Machine/F, line 1, not required\n$",
       "", 0},
      {"check - <$EX", 0, "^<stdin>: OK \\(3 unknown elements kept\\)\n$", "", 0},
      // Kept elements on one line are listed in the order of the file.
      {"convert $EX - | sed 's|<AdaptiveLayerThickness|<Zz/>&|' | $TM show -", 0,
       "\n  Machine/Zz, line ([0-9]+), not required\n  Machine/AdaptiveLayerThickness, line \\1,",
       "", 0},
      // A standard input that cannot be read, or does not hold a parameter file, is named.
      {"show - <.", 1, "^$", "^tal-machine: <stdin>: error: cannot read: Is a directory\n$", 1},
      {"cl check - <.", 1, "^$", "^tal-machine: <stdin>: error: cannot read: Is a directory\n$", 1},
      {"cl check - <not-xml.txt", 1, "^$", "^tal-machine: <stdin>:1:1: error: not well-formed", 1},
      {"get - Machine/Name <$EX", 0, "^M2 Cusing 250\n$", "", 0},
      // A full standard output fails, also when all of the output is still in the buffer.
      {"convert $EX - | ($TM get - Machine/Name >/dev/full; echo $?)", 0, "^1\n$",
       "^tal-machine: cannot write the standard output\n$", 1},
      // A text the document cannot hold fails on one line, with nothing on the standard output.
      {"new - --name 'bell \x07'", 1, "^$",
       "^tal-machine: <stdout>: cannot write [^\n]*U\\+0007[^\n]*\n$", 1},
      // Usage errors: one line, status 2; the top-level message lists every command.
      {"", 2, "",
       "a command is required: new, show, check, convert, platform-mesh, diff, get, set, cost, "
       "scan-speed, render or cl",
       1},
      {"frob $EX", 2, "", "unknown command 'frob'", 1},
      {"show \"$(printf '\\377').xml\"", 2, "", "UTF-8", 1},
      {"platform-mesh $EX", 2, "", "MESH or --remove", 1},
      {"cl", 2, "", "", 1},
      // get: a value for scripts, a list's count, and refusals of what is no value.
      {"get $EX Machine/SupportProfilesVector", 0, "^2\n$", "", 0},
      {"get $EX Machine/Platform", 1, "", "'Machine/Platform' is a block, not a value", 1},
      {"get $EX Machine/Nope", 1, "", "no field 'Machine/Nope'", 1},
      {"get bad-unit.xml Machine/Name", 0, "^Unit nobody knows\n$",
       "^tal-machine: bad-unit.xml:4:3: warning: refused element Machine/Unit, text 'Metre'\n", 2},
      // set takes exactly the texts a machine file may hold there, and writes nothing else.
      {"set - Machine/Platform/Envelope/Dx 250mm <$EX", 1, "^$", "'250mm' is not a valid value", 1},
      {"set - Machine/Platform/Shape Triangle <$EX", 1, "^$", "'Triangle' is not a valid value", 1},
      {"set - Machine/Platform/RecoaterDirection Sideways <$EX", 1, "^$", "read as 'Positive'", 1},
      {"set - Machine/SupportProfilesVector 1 <$EX", 1, "^$", "is a list, not a value", 1},
      // A value element without content gets one.
      {"convert $EX - | sed 's|>M2 Cusing 250</Name>|/>|' | $TM set - Machine/Name X | "
       "$TM get - Machine/Name",
       0, "^X\n$", "", 0},
      // diff: 2 on trouble.
      {"diff $EX no-such.xml", 2, "^$", "no-such.xml", 1},
      // Costs of a build: the time fragment per hour, the volume in litres, and a dependency
      // outside the charged quantities costs nothing and is reported.
      {"cost costed-machine.xml --volume 2000000 --time 7200", 0,
       "^Fragment +Dependency +Units +Unit cost +Cost\n"
       "Machine time +Estimated Build Time +7200 +90\\.00 +180\\.00\n"
       "Powder +Volume +2 +3\\.00 +6\\.00\n"
       "Finishing +Z Proj\\. Surface +0 +12\\.50 +0\\.00\n"
       "Total +186\\.00 EUR\n$",
       "^tal-machine: costed-machine.xml: warning: cost fragment 'Finishing' depends on Z Proj\\. "
       "Surface, which always costs nothing\n$",
       1},
      {"cost costed-machine.xml --volume 2000000", 0,
       "\nMachine time +Estimated Build Time +0 +90\\.00 +0\\.00\n[\\s\\S]*Total +6\\.00 EUR\n$",
       "'Machine time' depends on the estimated build time, which is 0 without --time", 2},
      // Every other quantity, columns aligned by characters, rates with the digits they need,
      // large units in full.
      {"cost every-dependency.xml --support-volume 3000000 --surface 200 --dx 10 --dy 20 "
       "--dz 1000000 --stls 2",
       0,
       "^Fragment  Dependency            Units  Unit cost       Cost\n"
       "Größe     Support Volume            3      0\\.005       0\\.01\n"
       "Polish    Surface Area              2      1e-07       0\\.00\n"
       "Width     Delta X                  10       1\\.00      10\\.00\n"
       "Depth     Delta Y                  20       2\\.00      40\\.00\n"
       "Height    Delta Z             1000000       0\\.50  500000\\.00\n"
       "Setup     Number of Stls            2      25\\.00      50\\.00\n"
       "Box       Volume Bouding Box      200       0\\.10      20\\.00\n"
       "Total                                             500120\\.02 EUR\n$",
       "", 0},
      {"cost costed-machine.xml --volume 0 --time 0", 0, "\nTotal +0\\.00 EUR\n$", "", 1},
      {"cost costed-machine.xml --volume -1", 2, "",
       "^tal-machine: --volume: '-1' is negative \\(see tal-machine cost --help\\)\n$", 1},
      {"cost costed-machine.xml --stls 1.5", 2, "", "--stls", 1},
      // The working curve of the default resin and laser: Dp deep at about 618 mm/s.
      {"scan-speed costed-machine.xml --cure-depth 0.1651", 0, "^617\\.9[0-9]*\n$", "", 0},
      {"scan-speed costed-machine.xml", 2, "", "--cure-depth", 1},
      // A malformed, truncated or missing STL file: one line naming it.
      {"platform-mesh $EX truncated.stl --out $T/m.xml", 1, "", "truncated.stl", 1},
      {"platform-mesh $EX garbage.stl --out $T/m.xml", 1, "", "garbage.stl", 1},
      {"platform-mesh $EX missing.stl --out $T/m.xml", 1, "", "missing.stl", 1},
      {"platform-mesh $EX . --out -", 1, "^$", "^tal-machine: \\.: .*: not a readable regular", 1},
      {"platform-mesh $EX nan.stl --out -", 1, "^$",
       "nan.stl: cannot read as STL: facet 2 has a coordinate that is not a finite number\n$", 1},
      // ADMesh refuses a binary file of fewer than four facets.
      {"platform-mesh $EX three-facets.stl --out -", 1, "^$",
       "three-facets.stl: cannot read as STL: not a valid binary or ASCII STL file\n$", 1},
      // The copy a binary file may need goes to the temporary directory and is removed.
      {"convert $EX - | TMPDIR=/proc $TM platform-mesh - late-high-byte.stl", 1, "^$",
       "late-high-byte.stl: cannot read as STL: no room for a temporary copy\n$", 1},
      {"convert $EX - | TMPDIR=$T $TM platform-mesh - late-high-byte.stl", 0, "<Triangles>", "", 0},
      {"platform-mesh $EX empty-binary.stl --out $T/m.xml", 1, "",
       "empty-binary.stl: cannot read as STL: it holds no triangles\n", 1},
      {"render no-such.xml -o $T/x.svg", 1, "", "no-such.xml", 1},
      // The Concept Laser commands: a machine file is no parameter file, kept elements are
      // counted, and the bundled example shows its sets in millimetres, as JSON (each laser set
      // closes before the next; a named set's name comes before its values) and as the library
      // dumps it.
      {"cl check $EX", 1, "",
       "^tal-machine: .*example-machine.xml: error: the root element is 'Machine', not "
       "'CLParameterFile'",
       1},
      {"cl check cl-kept.xml", 0, "^cl-kept.xml: OK \\(1 unknown element kept\\)\n$", "", 0},
      // A refused value fails check, is a warning to show, and convert writes it (with its
      // previous value) only when forced.
      {"cl convert $CL - | sed 's|Limit>500<|Limit>x<|' | $TM cl check -", 1, "^$",
       "^tal-machine: <stdin>:4:3: error: refused element CLParameterFile/FileSizeLimit, text "
       "'x'\n$",
       1},
      {"cl convert $CL - | sed 's|Limit>500<|Limit>x<|' | $TM cl show -", 0, "^File: +<stdin>\n",
       "^tal-machine: <stdin>:4:3: warning: refused element CLParameterFile/FileSizeLimit", 1},
      {"cl convert $CL - | sed 's|Limit>500<|Limit>x<|' | $TM cl convert - -", 1, "^$",
       "^tal-machine: <stdin>:4:3: warning: refused element CLParameterFile/FileSizeLimit.*\n"
       "tal-machine: <stdin>: not written: 1 refused element \\(first "
       "CLParameterFile/FileSizeLimit\\) would be written with its previous value \\(--force "
       "writes anyway\\)\n$",
       2},
      {"cl convert $CL - | sed 's|Limit>500<|Limit>x<|' | $TM cl convert - - --force", 0,
       "^<\\?xml[\\s\\S]*<FileSizeLimit>500<", "warning: refused element", 1},
      {"cl show --format text $CL", 0,
       "^File: {35}.*example.xml\n[\\s\\S]*\n\nSliceParameters\n  Thickness: {28}0\\.03 mm "
       "\\(30\\)\n[\\s\\S]*\n  PlatformX: +250 mm \\(250000\\)\n[\\s\\S]*"
       "\n  ScanOptimizationSupport: +false\n  PlatformProcessParameters\n[\\s\\S]*"
       "\n  Name: +Lattice\n[\\s\\S]*\n  Name: +Solid\n[\\s\\S]*"
       "\n\nComponentPostProcessParameters \\(1\\)\n[\\s\\S]*\n\nKept unknown elements: {18}0\n$",
       "", 0},
      {"cl show --format json $CL", 0,
       "\"kind\": \"length\",\n +\"text\": \"250000\",\n +\"compared\": true,\n +\"mm\": 250\\.0\n"
       "[\\s\\S]*\"CLParameterFile/ParameterSet\\[1\\]/HatchingProcessParameters\",\n +"
       "\"tag\": \"HatchingProcessParameters\",\n +\"kind\": \"block\"[\\s\\S]*"
       "Parameters\\[1\\]/Name\",\n.*\n +\"kind\": \"string\",\n +\"text\": \"Lattice\",\n.*\n +"
       "\\},\n +\\{\n +\"path\": \"[^\"]*/Parameters\\[1\\]/SkinWidth\"",
       "", 0},
      {"cl show --dump $CL", 0,
       "^Scanning set Default\n  BorderProcessParameters\nBuild params:\n\t\tPower: +\t[0-9]+\n"
       "[\\s\\S]*\nScanning set Solid\n(.*\n){91}Post-process set of the platform\n"
       "(.*\n){17}Post-process set Lattice\n",
       "", 0},
      {"convert $EX $T/missing/out.xml", 1, "",
       "^tal-machine: /.*/missing/out.xml: cannot write: No such file or directory\n$", 1},
      // Anything but a regular file is refused and left as it is.
      {"cl convert $CL $T", 1, "", "^tal-machine: /.*: not written: not a regular file\n$", 1},
  };
  for (const auto& [args, status, out, err, errLines] : cases) {
    SCOPED_TRACE(args);
    const Result result = Run(args);
    EXPECT_EQ(result.status, status) << result.err;
    EXPECT_TRUE(Finds(result.out, out)) << out << "\nnot in:\n" << result.out;
    EXPECT_TRUE(Finds(result.err, err)) << err << "\nnot in:\n" << result.err;
    EXPECT_EQ(Count(result.err, "\n"), errLines) << result.err;
  }
  EXPECT_EQ(Entries(), std::set<std::string>{});
}

TEST_F(TalMachineTool, NewShowAndConvertRoundTrip) {
  // Options, and the name and unit shown; the second replaces the first file.
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"--name 'Two\nlines' --unit mm", "Two\n +lines", "Mm"},
      {"", "Untitled", "Mm"},
      {"--name 'Büild ⌀250' --unit inch", "Büild ⌀250", "Inch"}};
  for (const auto& [options, name, unit] : cases) {
    ASSERT_EQ(Run("new --force $T/new.xml " + options).status, 0) << options;
    const std::string shown = Run("show $T/new.xml").out;
    EXPECT_TRUE(Finds(shown, "\nName: +" + name + "\n[\\s\\S]*\nUnit: +" + unit + "\n")) << shown;
  }

  // A new parameter file checks.
  EXPECT_EQ(Run("cl new --force $T/cl.xml").status, 0);
  EXPECT_EQ(Run("cl check $T/cl.xml").out, Tmp("cl.xml") + ": OK\n");

  // New files get the usual permissions; a replaced one keeps its own. A symbolic link as the
  // target: the file it names is replaced and the link stays. (Machine files are replaced by
  // the library's atomic save, which its own tests cover.)
  const mode_t mask = ::umask(0);
  ::umask(mask);
  for (const char* file : {"new.xml", "cl.xml"})
    EXPECT_EQ(fs::status(Tmp(file)).permissions(), fs::perms(0666 & ~mask)) << file;
  WriteFile(Tmp("converted.xml"), "older content");
  fs::permissions(Tmp("converted.xml"), fs::perms(0640));
  fs::create_symlink("converted.xml", Tmp("link.xml"));
  const Result result = Run("cl convert $T/cl.xml $T/link.xml");
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(ReadFile(Tmp("converted.xml")), Run("cl convert $T/cl.xml -").out);
  EXPECT_EQ(fs::status(Tmp("converted.xml")).permissions(), fs::perms(0640));
  EXPECT_TRUE(fs::is_symlink(Tmp("link.xml")));
  EXPECT_EQ(Entries(), (std::set<std::string>{"new.xml", "cl.xml", "converted.xml", "link.xml"}));

  // "-" as both ends copies the standard input, machine file or parameter file.
  for (const auto& [args, file] :
       {std::pair{"convert - - <$EX", kExample}, std::pair{"cl convert - - <$CL", kCl}}) {
    const Result copied = Run(args);
    EXPECT_EQ(copied.status, 0) << copied.err;
    EXPECT_EQ(copied.out, ReadFile(file));
  }
}

// A failed write leaves the existing file as it was, and no temporary file. new does not
// replace a file, nor what a link names, without --force.
TEST_F(TalMachineTool, FailedWriteLeavesExistingFile) {
  fs::create_symlink(Tmp("out.xml"), Tmp("link.xml"));
  fs::create_symlink(Tmp("none.xml"), Tmp("dangling.xml"));
  const char* const exists =
      "^tal-machine: .*: not written: the file exists \\(--force replaces it\\)\n$";
  const std::tuple<const char*, std::size_t, const char*> commands[] = {
      {"convert not-xml.txt $T/out.xml", 1, ""},
      {"convert --policy reject-required required-element.xml $T/out.xml", 3, ""},
      {"new --force $T/out.xml --name 'bell \x07'", 1, ""},  // XML cannot hold the character
      {"convert $EX $T/out.xml/in-a-file.xml", 1, ""},
      {"cl convert $EX $T/out.xml", 1, ""},
      {"cl new $T/none/x.xml", 1, "^tal-machine: .*/none/x.xml: cannot write: No such file or"},
      // A write cut short (here by a file size limit) names the target, not the temporary file.
      {"cl convert $CL - | (trap '' XFSZ; ulimit -f 1; exec $TM cl convert - $T/out.xml)", 1,
       "^tal-machine: (.*/out.xml): cannot write '\\1': File too large\n$"},
      {"convert $EX - | (trap '' XFSZ; ulimit -f 1; exec $TM render - -o $T/out.xml)", 1,
       "^tal-machine: .*/out.xml: cannot write: File too large\n$"},
      {"new $T/out.xml", 1, exists},
      {"new $T/link.xml", 1, exists},
      {"new $T/dangling.xml", 1, exists},
      {"cl new $T/out.xml", 1, exists},
  };
  for (const auto& [args, lines, err] : commands) {
    WriteFile(Tmp("out.xml"), "previous content");
    const Result result = Run(args);
    EXPECT_EQ(result.status, 1) << args;
    EXPECT_EQ(Count(result.err, "\n"), lines) << result.err;
    EXPECT_TRUE(Finds(result.err, err)) << result.err;
    EXPECT_EQ(ReadFile(Tmp("out.xml")), "previous content");
    EXPECT_EQ(Entries(), (std::set<std::string>{"out.xml", "link.xml", "dangling.xml"}));
  }
}

// A command that writes does not lose what the file held unless told to: refused elements
// (written with their old values), lenient readings (written as the fallback) and another
// root element (written as a default machine).
TEST_F(TalMachineTool, WritesRefuseToLoseData) {
  const std::pair<std::string, const char*> inputs[] = {
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
    const std::string original = ReadFile(kData + "/" + input);
    for (const std::string force : {"", " --force"}) {
      for (const std::string args :
           {"convert $T/in.xml $T/out.xml", "platform-mesh $T/in.xml --remove",
            "set $T/in.xml Machine/Name Renamed"}) {
        SCOPED_TRACE(input + ": " + args + force);
        fs::remove(Tmp("out.xml"));
        WriteFile(Tmp("in.xml"), original);
        const Result result = Run(args + force);
        if (force.empty()) {
          EXPECT_EQ(result.status, 1);
          EXPECT_TRUE(Finds(result.err, "tal-machine: .*in.xml: not written: " + std::string(lost) +
                                            " \\(--force writes anyway\\)\n$"))
              << result.err;
          EXPECT_EQ(ReadFile(Tmp("in.xml")), original);
          EXPECT_FALSE(fs::exists(Tmp("out.xml")));
        } else {
          EXPECT_EQ(result.status, 0) << result.err;
          EXPECT_TRUE(Finds(result.err, "^tal-machine: .*in.xml:[0-9:]* (warning|note): "));
          EXPECT_NE(ReadFile(Tmp(args.starts_with("convert") ? "out.xml" : "in.xml")), original);
        }
      }
    }
  }
}

// diff agrees with the library's equality both ways: a pair that differs in one value of
// any block, or in one kept element, differs; a display colour, which equality ignores, does
// not make a difference; get reads back what set wrote.
TEST_F(TalMachineTool, DiffAgreesWithEquality) {
  TalAM::MachineParameters example;
  ASSERT_TRUE(TalAM::LoadFromTMCF(example, fs::path(kExample).wstring().c_str(),
                                  TalAM::MachineParametersSaxRead::KeepUnhandledElements));
  // One value of each top-level block that equality compares, with another text; one flag it
  // ignores.
  std::map<std::string, std::pair<std::string, std::string>> candidates;
  TalAM::FieldVisit visit(
      [&](const TalAM::FieldView& field) {
        using K = TalAM::FieldKind;
        const std::string path(field.path), text(field.text);
        const std::string other = field.kind == K::Bool     ? (text == "true" ? "false" : "true")
                                  : field.kind == K::String ? text + " changed"
                                  : field.kind == K::Integer || field.kind == K::Length
                                      ? std::to_string(std::stol(text) + 1)
                                      : "";
        if (!other.empty() && (field.compared || field.kind == K::Bool)) {
          candidates.try_emplace(field.compared ? path.substr(0, path.find('/', 8)) : "ignored",
                                 path, other);
        }
      },
      "Machine");
  example.VisitFields(visit);
  ASSERT_GE(candidates.size(), 16u);
  candidates["kept element"] = {"Machine/AdaptiveLayerThickness", ""};
  candidates["Machine/LockedAreas"].first = "Machine/LockedAreas/Areas/Area[1]/AreaName";
  // Where a value has no element of its own (locked areas are written as parallel lists), the
  // file is edited instead.
  const std::map<std::string, std::pair<std::string, std::string>> edits = {
      {"kept element", {"<MaxLayer>0.06<", "<MaxLayer>0.08<"}},
      {"Machine/LockedAreas", {"<AreaName>Clamp front left<", "<AreaName>Clamp front right<"}}};
  for (const auto& [block, change] : candidates) {
    const auto& [path, value] = change;
    if (edits.contains(block)) {
      const auto& [from, to] = edits.at(block);
      std::string text = ReadFile(kExample);
      WriteFile(Tmp("changed.xml"), text.replace(text.find(from), from.size(), to));
    } else {
      const Result set =
          Run("set $EX " + Quoted(path) + " " + Quoted(value) + " --out $T/changed.xml");
      ASSERT_EQ(set.status, 0) << path << set.err;
      EXPECT_EQ(Run("get $T/changed.xml " + Quoted(path)).out, value + "\n") << path;
    }
    const int expected = block == "ignored" ? 0 : 1;
    for (const char* args : {"diff $EX $T/changed.xml", "diff $T/changed.xml $EX"}) {
      const Result diff = Run(args);
      EXPECT_EQ(diff.status, expected) << block << diff.out << diff.err;
      EXPECT_EQ(diff.out.empty(), expected == 0) << block << diff.out;
      EXPECT_TRUE(expected == 0 || diff.out.starts_with(path + ": ")) << diff.out;
    }
  }
  // Lengths and points also in millimetres, in the order of the file.
  EXPECT_EQ(Run("set - Machine/Platform/Envelope/Dx 300000 <$EX | $TM set - Machine/Name Xyz | "
                "$TM set - Machine/Platform/Position '0 0 5000' | $TM diff $EX -")
                .out,
            "Machine/Name: M2 Cusing 250 → Xyz\n"
            "Machine/Platform/Envelope/Dx: 250000 → 300000 (250 mm → 300 mm)\n"
            "Machine/Platform/Position: 0 0 4000 → 0 0 5000 (0 0 4 mm → 0 0 5 mm)\n");
  // Kept elements in another order are unequal, though none of them differs.
  std::string reordered = ReadFile(kExample);
  WriteFile(Tmp("z.xml"), reordered.insert(reordered.find("<AdaptiveLayerThickness"), "<Z/>"));
  EXPECT_EQ(Run("convert $T/z.xml - | sed 's|<Z/>||; s|</AdaptiveLayerThickness>|&<Z/>|' | "
                "$TM diff $T/z.xml -")
                .out,
            "Machine: differs where no field shows it\n");
  // An item one side lacks is named once, not with each of its values (lines 33-38: an overlap).
  EXPECT_EQ(Run("convert $EX - | sed 33,38d | $TM diff $EX -").out +
                Run("convert $EX - | sed 33,38d | $TM diff - $EX").out,
            "Machine/Platform/LaserOverlaps/Overlap[2]: removed\n"
            "Machine/Platform/LaserOverlaps/Overlap[2]: added\n");

  // Markup in a text is escaped, and the rest of the file is written as it was.
  ASSERT_EQ(Run("set $EX Machine/Name 'A & <B>' --out $T/out.xml").status, 0);
  EXPECT_EQ(Run("get $T/out.xml Machine/Name").out, "A & <B>\n");
  std::string expected = ReadFile(kExample);
  expected.replace(expected.find("M2 Cusing 250"), 13, "A &amp; &lt;B&gt;");
  EXPECT_EQ(ReadFile(Tmp("out.xml")), expected);
}

// Every command's help, the Concept Laser commands' too, names its operands and says what it
// does, its exit statuses and one example; those that read a machine file with a chosen policy
// say what the policies mean.
TEST_F(TalMachineTool, HelpOfEveryCommand) {
  for (const std::string usage :
       {"new FILE", "show FILE", "check FILE...", "convert IN OUT", "platform-mesh FILE [MESH]",
        "diff A B", "get FILE PATH", "set FILE PATH VALUE", "cost FILE", "scan-speed FILE",
        "render FILE", "cl new FILE", "cl show FILE", "cl check FILE", "cl convert IN OUT"}) {
    const std::size_t operands = usage.find_first_of("ABFIO");
    const std::string command = usage.substr(0, operands - 1);
    const bool policy = command != "new" && command != "platform-mesh" && command != "set" &&
                        !command.starts_with("cl");
    const Result help = Run(command + " --help");
    EXPECT_EQ(help.status, 0) << command;
    EXPECT_TRUE(Finds(
        help.out, "\nUsage: tal-machine " + command + " \\[OPTIONS\\] " +
                      std::regex_replace(usage.substr(operands), std::regex("[.[\\]]"), "\\$&") +
                      "\n[\\s\\S]*" +
                      (policy ? "--policy TEXT:\\{ignore,keep,reject-required\\}="
                                "[\\s\\S]*reject-required keeps them but fails"
                              : "") +
                      "[\\s\\S]*standard input[\\s\\S]*\nExample: tal-machine " +
                      (command.starts_with("cl") ? "cl show" : command) + " "))
        << help.out;
  }
}

// The mesh goes in, and every unknown element of the file changed stays; --remove takes it out.
TEST_F(TalMachineTool, PlatformMeshFromStl) {
  // A binary file whose first byte above 127 is the 129th after the header (one past the bytes
  // ADMesh looks at; a byte of 127 comes before it) is read as binary all the same; a file of
  // 64 KiB and one byte, the last one ending "endsolid", is read whole.
  std::string cube = ReadFile(kData + "/cube-ascii.stl");
  cube.resize(cube.rfind("endsolid") + 8);
  WriteFile(Tmp("long.stl"), cube.insert(5, std::string(65537 - cube.size(), ' ')));
  const std::tuple<const char*, const char*, const char*> meshes[] = {
      {"cube-binary.stl", "12 triangles, 8 vertices", "1000"},
      {"cube-ascii.stl", "12 triangles, 8 vertices", "1000"},
      {"late-high-byte.stl", "4 triangles, 7 vertices", "0"},
      {"one-facet.stl", "1 triangles, 3 vertices", "0"},
      {"$T/long.stl", "12 triangles, 8 vertices", "1000"}};
  for (const auto& [stl, mesh, volume] : meshes) {
    const std::string shown = Run("platform-mesh - " + std::string(stl) + " <$EX | $TM show -").out;
    EXPECT_TRUE(Finds(shown, std::string("Mesh: +") + mesh + "\n +Name: +" +
                                 fs::path(stl).stem().string() + "\n(.*\n){3} +Volume: +" + volume +
                                 "\n[\\s\\S]*\nKept unknown elements: +3\n"))
        << shown;
  }
  // Text that is not the form of an ASCII STL file is refused by the tool's own check, before
  // ADMesh could misread it: no facet, a facet without "endfacet" or "outer loop", a number that
  // is none or out of range, a file cut within a token or on its first line.
  for (const std::string bad : {"no-facets.stl", "no-endfacet.stl", "no-loop.stl", "bad-normal.stl",
                                "bad-vertex.stl", "cut-ascii.stl", "solid-line.stl"}) {
    EXPECT_TRUE(Finds(Run("platform-mesh $EX " + bad + " --out -").err, bad + ": .*: neither"))
        << bad;
  }
  fs::copy_file(kExample, Tmp("m.xml"));
  const std::string without = Run("platform-mesh $T/m.xml --remove --out - | $TM show -").out;
  EXPECT_TRUE(Finds(without, "\n  PlatformStl\n\n")) << without;
  EXPECT_EQ(ReadFile(Tmp("m.xml")), ReadFile(kExample));
}

// The bundled example's drawing, as reviewed: the platform, both overlaps, the three areas
// (the hidden one dashed) each with its number and legend entry, the gas-flow and recoater
// arrows, the platform and default part positions, the scale bar and the legend.
TEST_F(TalMachineTool, RenderPlatform) {
  const Result rendered = Run("render $EX -o $T/platform.svg");
  ASSERT_EQ(rendered.status, 0) << rendered.err;
  EXPECT_EQ(rendered.out, "");
  const std::string svg = ReadFile(Tmp("platform.svg"));
  EXPECT_EQ(svg, ReadFile(kData + "/example-platform.svg"));
  EXPECT_NO_THROW(TestSupport::RoundTrip(svg));  // well-formed: the library's reader takes it

  // A custom shape is the outline of its mesh seen from above: its corners, without the points
  // inside it, on an edge or given twice.
  EXPECT_TRUE(Finds(
      Run("convert $EX - | sed '/Witness plate/,/<\\/Mesh>/s|<Vertices>[^<]*<|<Vertices>"
          "AAAAAAAAoEEAAAAAAAAgQgAAAAAAAAAAAADIQgAA8EEAAAAAAAC0QgAAoEIAAAAAAADwQQAAtEIAACBBAABIQgAA"
          "SEIAACBBAACMQgAAcEEAACBBAADwQQAAtEIAACBB<|' | $TM render -")
          .out,
      "points=\"30,266.67 70,286.67 130,256.67 120,206.67 60,196.67\""));
  // A cylinder reaching past the plate makes the drawing wider and higher; a deep platform makes
  // it 780 pixels high rather than 880 wide.
  EXPECT_TRUE(Finds(Run("convert $EX - | sed 's|<Radius>12.5<|<Radius>40<|' | $TM render -").out,
                    "viewBox=\"0 0 577.57 369.55\""));
  EXPECT_TRUE(Finds(Run("set - Machine/Platform/Envelope/Dy 900000 <$EX | $TM render -").out,
                    " width=\"787.25\" height=\"780\" "));

  // Standard output, by default and with "-", is the same document.
  EXPECT_EQ(Run("render $EX").out, svg);
  EXPECT_EQ(Run("render $EX -o -").out, svg);

  // Disabled locked areas are drawn with a note saying so; the drawing grows to hold a platform
  // position left of the plate and a default part position behind it. A machine without locked
  // areas has no area shapes, nor legend entries.
  EXPECT_TRUE(Finds(Run("convert $EX - | sed 's/AreasEnabled>true/AreasEnabled>false/; "
                        "s/GasFlowDirection>Negative/GasFlowDirection>Positive/; "
                        "s|<DefaultPartPosition>125000 125000|<DefaultPartPosition>125000 300000|; "
                        "s|<Position>0 0 4000|<Position>-20000 125000 4000|' | $TM render -")
                        .out,
                    "viewBox=\"0 0 611.75 421.17\"[\\s\\S]*>Gas flow Y positive<[\\s\\S]*"
                    "class=\"legend\"[^>]*>Locked areas are disabled<"));
  // A round platform of 200 mm: the circle inscribed in its square, clipping the overlaps too,
  // and a scale bar of exactly a quarter of it.
  EXPECT_TRUE(Finds(Run("new - | $TM set - Machine/Platform/Shape Circle | $TM set - "
                        "Machine/Platform/Envelope/Dx 200000 | $TM render -")
                        .out,
                    "<circle cx=\"124\" cy=\"137.33\" r=\"100\"/>[\\s\\S]*"
                    "<circle class=\"platform\" cx=\"124\" cy=\"137.33\" r=\"100\" "
                    "fill=\"#f4f4f0\" stroke=\"#222\" stroke-width=\"1\"/>[\\s\\S]*"
                    ">50 mm<[\\s\\S]*>Platform, circle ⌀200 mm<"));
  // A 45 mm platform: the scale bar's decade is that of a quarter of the drawing, 10 mm.
  EXPECT_TRUE(Finds(Run("new - | $TM set - Machine/Platform/Envelope/Dx 45000 | $TM set - "
                        "Machine/Platform/Envelope/Dy 45000 | $TM render -")
                        .out,
                    ">10 mm<"));
  const std::string empty = Run("new - --name '' | $TM render -").out;
  EXPECT_NO_THROW(TestSupport::RoundTrip(empty));
  EXPECT_EQ(Count(empty, "area\""), 0u) << empty;
  EXPECT_TRUE(Finds(empty, ">Machine — platform, top view<"));  // a machine without a name
}

}  // namespace
