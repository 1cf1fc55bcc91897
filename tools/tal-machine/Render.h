#pragma once
// The render command of tal-machine: an SVG top view of the machine's platform.

#include <string>

#include "Commands.h"

namespace TalMachineTool {

// Writes an SVG top view of the platform of `file`, drawn to scale in millimetres (+Y up): the
// envelope, laser overlap bands, locked areas, gas-flow and recoater arrows, the platform and
// default part positions, a legend and a scale bar. `out` empty or "-" is the standard output.
int RunRender(const std::string& file, const std::string& out, Policy policy);

}  // namespace TalMachineTool
