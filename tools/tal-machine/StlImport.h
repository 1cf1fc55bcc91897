#pragma once
// Reads a triangle mesh from an STL file (binary or ASCII, millimetres) with ADMesh.

#include <TalSDK/Machines.h>

#include <string>

namespace TalMachineTool {

// Fills `mesh` (vertices shared between triangles that meet at exactly the same point) and
// names it after the file. False with a one-line `error` when the file cannot be read as
// STL; `mesh` is then unchanged.
bool ReadStl(const std::string& path, MStlBase& mesh, std::string& error);

}  // namespace TalMachineTool
