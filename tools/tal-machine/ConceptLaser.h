#pragma once
// The `cl` commands of tal-machine: Concept Laser parameter files.

#include <CLI/CLI.hpp>
#include <string>

namespace TalMachineTool {

// The command group `cl`, registered on the tool's parser.
class ClCommands {
 public:
  explicit ClCommands(CLI::App& app);
  // Whether the command line chose a `cl` command.
  explicit operator bool() const { return m_group->parsed(); }
  // Runs the command chosen; its exit status.
  int Run() const;

 private:
  CLI::App* m_group;
  CLI::App* m_new;
  CLI::App* m_show;
  CLI::App* m_check;
  CLI::App* m_convert;
  std::string m_file;
  std::string m_output;
  std::string m_format = "text";
  bool m_dump = false;
  bool m_force = false;
};

// Writes a default parameter set; an existing file only with `force`.
int RunClNew(const std::string& file, bool force);
// Prints every value of the set, lengths in millimetres, or with `dump` every laser and
// post-process set through the library's dump operators; refused elements are warnings.
int RunClShow(const std::string& file, const std::string& format, bool dump);
// Reports every problem of the load; fails when the load fails or refuses any element.
int RunClCheck(const std::string& file);
// Loads `in` and saves it as `out`; an existing `out` is replaced only by a complete file. A
// load that refused an element is not written (its previous value would be) unless `force`.
int RunClConvert(const std::string& in, const std::string& out, bool force);

}  // namespace TalMachineTool
