#pragma once
// The cost and scan-speed commands of tal-machine: what a build costs on a machine, from the
// machine's cost fragments, and the scan speed of its working curve.

#include <optional>
#include <string>

#include "Commands.h"

namespace TalMachineTool {

// The measured quantities of one build, in millimetres, square and cubic millimetres and
// seconds. Extents and time are optional: the bounding-box volume needs all three extents, and
// a missing build time is reported.
struct BuildQuantities {
  double volume = 0.0;
  double supportVolume = 0.0;
  double surface = 0.0;
  std::optional<double> dx, dy, dz;
  double stls = 0.0;
  std::optional<double> time;
};

// Prints the units and cost of each cost fragment of the machine for `build`, then the total
// with the currency; fragments whose cost cannot be right are reported as warnings.
int RunCost(const std::string& file, Policy policy, const BuildQuantities& build);
// Prints the scan speed that cures the machine's resin to `cureDepth`.
int RunScanSpeed(const std::string& file, Policy policy, double cureDepth);

}  // namespace TalMachineTool
