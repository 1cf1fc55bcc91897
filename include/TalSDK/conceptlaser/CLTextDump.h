#pragma once
// Concept Laser laser and post-process sets as readable text, for logs and diagnostics. One
// value per line, each line ended by std::endl (so the stream is flushed); values use the
// stream's own formatting (booleans as 1 or 0 unless std::boolalpha is set, doubles with the
// stream's precision). Lengths print as raw internal units.

#include <ostream>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/conceptlaser/CLBuildParameters.h>
#include <TalSDK/conceptlaser/CLPostProcessParameters.h>

// "Build params:" and eleven laser values, power to maximum jump delay; the saturation time
// is not printed, as in the logs the existing tools read.
TALSDK_MACHINES_EXPORT std::wostream& operator<<(std::wostream& stream,
                                                 const MCLBuildParameters& parameters);
// Seventeen lines, skin width to the hatching's turning angle, without a header.
TALSDK_MACHINES_EXPORT std::wostream& operator<<(std::wostream& stream,
                                                 const MCLPostProcessParameters& parameters);
