// tal-machine: creates, inspects, checks and converts machine files; costs builds.

#include <TalSDK/Machines.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "Commands.h"
#include "ConceptLaser.h"
#include "Cost.h"
#include "Diff.h"
#include "Render.h"
#include "Text.h"

namespace {

using TalMachineTool::Policy;
using Read = TalAM::MachineParametersSaxRead;

const std::map<std::string, Policy> kPolicies = {
    {"ignore", Read::IgnoreUnhandledElements},
    {"keep", Read::KeepUnhandledElements},
    {"reject-required", Read::RejectRequiredUnhandledElements}};

const std::map<std::string, TalAM::MachineUnit> kUnits = {{"mm", TalAM::eMillimetre},
                                                          {"inch", TalAM::eInch}};

template <typename Map>
std::vector<std::string> Keys(const Map& map) {
  std::vector<std::string> keys;
  for (const auto& entry : map) {
    keys.push_back(entry.first);
  }
  return keys;
}

// Paths and names reach the library as wide strings; text that is not UTF-8 has none.
const CLI::Validator kUtf8(
    [](std::string& text) {
      std::wstring ignored;
      return StringConversion::TryUtf8ToNative(text, ignored) ? std::string() : "not valid UTF-8";
    },
    "UTF-8");

// A quantity: a finite number, not negative; with `whole`, also without a fraction.
CLI::Validator Quantity(bool whole) {
  return CLI::Validator(
      [whole](std::string& text) {
        double value = 0.0;
        const char* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, value);
        if (error != std::errc() || stop != end || !std::isfinite(value)) {
          return "'" + text + "' is not a number";
        }
        if (value < 0.0) return "'" + text + "' is negative";
        if (whole && value != std::floor(value)) return "'" + text + "' is not a whole number";
        return std::string();
      },
      "");
}

CLI::Option* AddPolicy(CLI::App& command, std::string& policy) {
  return command
      .add_option("--policy", policy, "What to do with elements the machine does not know")
      ->check(CLI::IsMember(Keys(kPolicies)))
      ->capture_default_str();
}

CLI::Option* AddFormat(CLI::App& command, std::string& format) {
  return command.add_option("--format", format, "Output format")
      ->check(CLI::IsMember({"text", "json"}))
      ->capture_default_str();
}

CLI::Option* AddForce(CLI::App& command, bool& force) {
  return command.add_flag("--force", force,
                          "Write even when the file read had refused elements, values read "
                          "leniently or no Machine element (default: refuse)");
}

// The end of a command's help: what its exit statuses mean, the policies when it reads a
// machine file, and one example.
std::string Footer(const std::string& statuses, const std::string& example,
                   bool readsMachine = true) {
  std::string text = "Exit status: " + statuses + "; 2 on a usage error.\n";
  if (readsMachine) {
    text +=
        "Policies for elements the machine does not know: ignore drops them; keep keeps them\n"
        "and writes them back; reject-required keeps them but fails the load when one is\n"
        "marked required=\"true\".\n";
  }
  text += "A FILE of - is the standard input (or, written, the standard output).\n";
  return text + "Example: " + example;
}

// One line: what is wrong, and where to read the usage of the command given.
std::string UsageMessage(const CLI::App& app, const CLI::ParseError& error) {
  std::string help = "tal-machine";
  for (const CLI::App* command : app.get_subcommands()) {
    help += " " + command->get_name();
  }
  std::string what = TalMachineTool::OneLine(error.what());
  if (app.get_subcommands().empty() && dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
    // Without a known command the parser only says that one is missing.
    const std::vector<std::string> rest = app.remaining();
    if (rest.empty()) {
      const std::vector<const CLI::App*> all =
          app.get_subcommands([](const CLI::App*) { return true; });
      what = "a command is required: ";
      for (std::size_t index = 0; index < all.size(); ++index) {
        if (index > 0) what += index + 1 == all.size() ? " or " : ", ";
        what += all[index]->get_name();
      }
    } else {
      what = (rest.front().starts_with('-') ? "unknown option '" : "unknown command '") +
             rest.front() + "'";
    }
  }
  return what + " (see " + help + " --help)";
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Creates, inspects, checks, compares and converts machine files; costs builds.",
               "tal-machine"};
  app.set_version_flag("--version", TALSDK_MACHINES_VERSION_STRING);
  app.require_subcommand(1);
  app.footer("Run tal-machine COMMAND --help for the options of a command.");

  std::string file;
  std::string name = "Untitled";
  std::string unit = "mm";
  bool force = false;
  CLI::App* create = app.add_subcommand("new", "Write a default machine");
  create->add_option("FILE", file, "Machine file to write")->required()->check(kUtf8);
  create->add_option("--name", name, "Name of the machine")->check(kUtf8)->capture_default_str();
  create->add_option("--unit", unit, "Length unit")
      ->check(CLI::IsMember(Keys(kUnits)))
      ->capture_default_str();
  create->add_flag("--force", force, "Replace an existing FILE (default: refuse)");
  create->footer(Footer("0 when written, 1 when FILE exists or cannot be written",
                        "tal-machine new m2.xml --name \"M2 Cusing\" --unit mm", false));

  std::string showPolicy = "keep";
  std::string showFormat = "text";
  CLI::App* show = app.add_subcommand("show", "Print every field of a machine file");
  show->add_option("FILE", file, "Machine file to read")->required()->check(kUtf8);
  AddPolicy(*show, showPolicy);
  AddFormat(*show, showFormat);
  show->footer(Footer("0 when the file loads, 1 when it does not",
                      "tal-machine show machine.xml --format json"));

  std::string checkPolicy = "reject-required";
  std::string checkFormat = "text";
  std::vector<std::string> checkFiles;
  CLI::App* check = app.add_subcommand("check", "Report every problem of machine files");
  check->add_option("FILE", checkFiles, "Machine files to read")->required()->check(kUtf8);
  AddPolicy(*check, checkPolicy);
  AddFormat(*check, checkFormat);
  check->footer(Footer("0 when every file loads without a refused element, 1 when one does not",
                       "tal-machine check a.xml b.xml"));

  std::string output;
  std::string convertPolicy = "keep";
  CLI::App* convert = app.add_subcommand("convert", "Read a machine file and write it again");
  convert->add_option("IN", file, "Machine file to read")->required()->check(kUtf8);
  convert->add_option("OUT", output, "Machine file to write (replaced only when complete)")
      ->required()
      ->check(kUtf8);
  AddPolicy(*convert, convertPolicy);
  AddForce(*convert, force);
  convert->footer(
      Footer("0 when written, 1 when IN cannot be loaded, would lose data or OUT "
             "cannot be written",
             "tal-machine convert old.xml new.xml"));

  std::string stl;
  std::string meshOutput;
  bool removeMesh = false;
  CLI::App* mesh = app.add_subcommand("platform-mesh", "Put an STL mesh into the platform mesh");
  mesh->add_option("FILE", file, "Machine file to change")->required()->check(kUtf8);
  CLI::Option* stlOption =
      mesh->add_option("MESH", stl, "STL file (binary or ASCII, millimetres)")->check(kUtf8);
  CLI::Option* removeOption =
      mesh->add_flag("--remove", removeMesh, "Take the platform mesh out instead");
  stlOption->excludes(removeOption);
  mesh->add_option("--out", meshOutput, "Write the machine here (default: over FILE)")
      ->check(kUtf8);
  AddForce(*mesh, force);
  mesh->callback([&] {
    if (stl.empty() && !removeMesh) throw CLI::RequiredError("MESH or --remove");
  });
  mesh->footer(
      Footer("0 when written, 1 when a file cannot be read, would lose data or "
             "cannot be written. FILE is read with the policy keep",
             "tal-machine platform-mesh machine.xml plate.stl", false));

  std::string diffPolicy = "keep";
  std::string other;
  CLI::App* diff = app.add_subcommand("diff", "Print the fields in which two machine files differ");
  diff->add_option("A", file, "First machine file")->required()->check(kUtf8);
  diff->add_option("B", other, "Second machine file")->required()->check(kUtf8);
  AddPolicy(*diff, diffPolicy);
  diff->footer(
      Footer("0 when the machines are equal, 1 when they differ, 2 when one cannot be loaded",
             "tal-machine diff before.xml after.xml"));

  std::string getPolicy = "keep";
  std::string fieldPath;
  CLI::App* get = app.add_subcommand("get", "Print one value of a machine file");
  get->add_option("FILE", file, "Machine file to read")->required()->check(kUtf8);
  get->add_option("PATH", fieldPath, "Path of the value, as show --format json lists it")
      ->required();
  AddPolicy(*get, getPolicy);
  get->footer(Footer("0 when printed, 1 when the file cannot be loaded or PATH is no value",
                     "tal-machine get machine.xml Machine/Platform/Envelope/Dx"));

  std::string value;
  std::string setOutput;
  CLI::App* set = app.add_subcommand("set", "Change one value of a machine file");
  set->add_option("FILE", file, "Machine file to change")->required()->check(kUtf8);
  set->add_option("PATH", fieldPath, "Path of the value, as show --format json lists it")
      ->required();
  set->add_option("VALUE", value, "New text of the value, as a machine file holds it")
      ->required()
      ->check(kUtf8);
  set->add_option("--out", setOutput, "Write the machine here (default: over FILE)")->check(kUtf8);
  AddForce(*set, force);
  set->footer(
      Footer("0 when written, 1 when the file cannot be loaded, would lose data, "
             "PATH is no value or VALUE is not a text it takes. FILE is read with the "
             "policy keep",
             "tal-machine set machine.xml Machine/Platform/Envelope/Dx 300000", false));

  std::string costPolicy = "keep";
  TalMachineTool::BuildQuantities build;
  double dx = 0.0, dy = 0.0, dz = 0.0, time = 0.0;
  CLI::App* cost = app.add_subcommand("cost", "Print what a build costs on the machine");
  cost->add_option("FILE", file, "Machine file to read")->required()->check(kUtf8);
  cost->add_option("--volume", build.volume, "Part volume (mm³)")
      ->type_name("MM3")
      ->check(Quantity(false));
  cost->add_option("--support-volume", build.supportVolume, "Support volume (mm³)")
      ->type_name("MM3")
      ->check(Quantity(false));
  cost->add_option("--surface", build.surface, "Surface area (mm²)")
      ->type_name("MM2")
      ->check(Quantity(false));
  CLI::Option* dxOption =
      cost->add_option("--dx", dx, "Extent in X (mm)")->type_name("MM")->check(Quantity(false));
  CLI::Option* dyOption =
      cost->add_option("--dy", dy, "Extent in Y (mm)")->type_name("MM")->check(Quantity(false));
  CLI::Option* dzOption =
      cost->add_option("--dz", dz, "Extent in Z (mm); all three give the bounding-box volume")
          ->type_name("MM")
          ->check(Quantity(false));
  cost->add_option("--stls", build.stls, "Number of STL files")
      ->type_name("N")
      ->check(Quantity(true));
  CLI::Option* timeOption = cost->add_option("--time", time, "Estimated build time (seconds)")
                                ->type_name("SECONDS")
                                ->check(Quantity(false));
  AddPolicy(*cost, costPolicy);
  cost->footer(
      "Missing quantities count as 0. Units are litres for volumes, cm² for surfaces, mm for\n"
      "extents and seconds for the build time, whose unit cost is per hour.\n" +
      Footer("0 when printed, 1 when the machine cannot be loaded",
             "tal-machine cost machine.xml --volume 2000000 --time 7200"));

  std::string scanPolicy = "keep";
  double cureDepth = 0.0;
  CLI::App* scan =
      app.add_subcommand("scan-speed", "Print the scan speed that cures the resin to a depth");
  scan->add_option("FILE", file, "Machine file to read")->required()->check(kUtf8);
  scan->add_option("--cure-depth", cureDepth, "Cure depth, in the unit of the resin's Dp (mm)")
      ->required()
      ->type_name("D")
      ->check(Quantity(false));
  AddPolicy(*scan, scanPolicy);
  scan->footer(Footer("0 when printed, 1 when the machine cannot be loaded",
                      "tal-machine scan-speed machine.xml --cure-depth 0.1651"));

  std::string renderPolicy = "keep";
  std::string renderOutput;
  CLI::App* render = app.add_subcommand("render", "Draw the platform seen from above as SVG");
  render->add_option("FILE", file, "Machine file to read")->required()->check(kUtf8);
  render->add_option("-o,--out", renderOutput, "SVG file to write (default or -: standard output)")
      ->type_name("OUT.svg")
      ->check(kUtf8);
  AddPolicy(*render, renderPolicy);
  render->footer(
      "The envelope, laser overlaps, locked areas (hidden ones dashed), gas-flow and recoater\n"
      "arrows and the default part position, to scale in millimetres.\n" +
      Footer("0 when drawn, 1 when the machine cannot be loaded or the file cannot be written",
             "tal-machine render machine.xml -o platform.svg"));

  TalMachineTool::ClCommands cl(app);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // --help, --version
    std::cerr << "tal-machine: " << UsageMessage(app, error) << '\n';
    return TalMachineTool::kUsageError;
  }

  int status = TalMachineTool::kFailure;
  try {
    if (*create) status = TalMachineTool::RunNew(file, name, kUnits.at(unit), force);
    if (*show) status = TalMachineTool::RunShow(file, kPolicies.at(showPolicy), showFormat);
    if (*check) {
      status = TalMachineTool::RunCheck(checkFiles, kPolicies.at(checkPolicy), checkFormat);
    }
    if (*mesh) status = TalMachineTool::RunPlatformMesh(file, stl, removeMesh, meshOutput, force);
    if (*convert) {
      status = TalMachineTool::RunConvert(file, output, kPolicies.at(convertPolicy), force);
    }
    if (*diff) status = TalMachineTool::RunDiff(file, other, kPolicies.at(diffPolicy));
    if (*get) status = TalMachineTool::RunGet(file, fieldPath, kPolicies.at(getPolicy));
    if (*set) status = TalMachineTool::RunSet(file, fieldPath, value, setOutput, force);
    if (*cost) {
      if (*dxOption) build.dx = dx;
      if (*dyOption) build.dy = dy;
      if (*dzOption) build.dz = dz;
      if (*timeOption) build.time = time;
      status = TalMachineTool::RunCost(file, kPolicies.at(costPolicy), build);
    }
    if (*render) {
      status = TalMachineTool::RunRender(file, renderOutput, kPolicies.at(renderPolicy));
    }
    if (*scan) status = TalMachineTool::RunScanSpeed(file, kPolicies.at(scanPolicy), cureDepth);
    if (cl) status = cl.Run();
  } catch (const std::exception& error) {
    std::cerr << "tal-machine: " << TalMachineTool::OneLine(error.what()) << '\n';
    return TalMachineTool::kFailure;
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    std::cerr << "tal-machine: " << TalMachineTool::OneLine(error.GetMessage()) << '\n';
    return TalMachineTool::kFailure;
  }
  std::cout.flush();
  if (!std::cout) {
    std::cerr << "tal-machine: cannot write the standard output\n";
    return TalMachineTool::kFailure;
  }
  return status;
}
