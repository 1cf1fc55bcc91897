// tal-machine: creates, inspects, checks and converts machine files.

#include <TalSDK/Machines.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "Commands.h"
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

CLI::Option* AddPolicy(CLI::App& command, std::string& policy) {
  return command
      .add_option("--policy", policy, "What to do with elements the machine does not know")
      ->check(CLI::IsMember(Keys(kPolicies)))
      ->capture_default_str();
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
      what = "a command is required: new, show, check or convert";
    } else {
      what = (rest.front().starts_with('-') ? "unknown option '" : "unknown command '") +
             rest.front() + "'";
    }
  }
  return what + " (see " + help + " --help)";
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Creates, inspects, checks and converts machine files.", "tal-machine"};
  app.set_version_flag("--version", TALSDK_MACHINES_VERSION_STRING);
  app.require_subcommand(1);

  std::string file;
  std::string name = "Untitled";
  std::string unit = "mm";
  CLI::App* create = app.add_subcommand("new", "Write a default machine");
  create->add_option("FILE", file, "Machine file to write")->required()->check(kUtf8);
  create->add_option("--name", name, "Name of the machine")->check(kUtf8)->capture_default_str();
  create->add_option("--unit", unit, "Length unit")
      ->check(CLI::IsMember(Keys(kUnits)))
      ->capture_default_str();

  std::string showPolicy = "keep";
  CLI::App* show = app.add_subcommand("show", "Print a summary of a machine file");
  show->add_option("FILE", file, "Machine file to read")->required()->check(kUtf8);
  AddPolicy(*show, showPolicy);

  std::string checkPolicy = "reject-required";
  CLI::App* check = app.add_subcommand("check", "Report every problem of a machine file");
  check->add_option("FILE", file, "Machine file to read")->required()->check(kUtf8);
  AddPolicy(*check, checkPolicy);

  std::string output;
  std::string convertPolicy = "keep";
  CLI::App* convert = app.add_subcommand("convert", "Read a machine file and write it again");
  convert->add_option("IN", file, "Machine file to read")->required()->check(kUtf8);
  convert->add_option("OUT", output, "Machine file to write (replaced only when complete)")
      ->required()
      ->check(kUtf8);
  AddPolicy(*convert, convertPolicy);

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
  mesh->add_option("--out", meshOutput, "Write the machine here instead of over FILE")
      ->check(kUtf8);
  mesh->callback([&] {
    if (stl.empty() && !removeMesh) throw CLI::RequiredError("MESH or --remove");
  });

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // --help, --version
    std::cerr << "tal-machine: " << UsageMessage(app, error) << '\n';
    return TalMachineTool::kUsageError;
  }

  int status = TalMachineTool::kFailure;
  try {
    if (*create) status = TalMachineTool::RunNew(file, name, kUnits.at(unit));
    if (*show) status = TalMachineTool::RunShow(file, kPolicies.at(showPolicy));
    if (*check) status = TalMachineTool::RunCheck(file, kPolicies.at(checkPolicy));
    if (*mesh) status = TalMachineTool::RunPlatformMesh(file, stl, removeMesh, meshOutput);
    if (*convert) status = TalMachineTool::RunConvert(file, output, kPolicies.at(convertPolicy));
  } catch (const std::exception& error) {
    std::cerr << "tal-machine: " << TalMachineTool::OneLine(error.what()) << '\n';
    return TalMachineTool::kFailure;
  }
  std::cout.flush();
  if (!std::cout) {
    std::cerr << "tal-machine: cannot write the standard output\n";
    return TalMachineTool::kFailure;
  }
  return status;
}
