#pragma once
// How Concept Laser parameter files write and read their lengths. One process-wide mode:
//   0  internal units, as an integer;
//   1  millimetres (length / internal units per millimetre), a double with 17 digits;
//   2  inches (millimetres / 25.4), a double with 17 digits;
//   any other value: a length is neither written nor read, and the operation reports false.
// Reading modes 1 and 2 rounds half away from zero and clamps to the 32-bit range (infinities
// included); a text that is not a number, or NaN, fails the read and leaves the length as it
// was. The mode starts at 0. MCLParameters::Save and Load switch it to 1 for their duration,
// so a parameter file always holds millimetres. The mode has no lock: one thread at a time.

#include <TalSDK/MachinesExport.h>

namespace TalAM::Persistence {

TALSDK_MACHINES_EXPORT int GetClLengthMode();
TALSDK_MACHINES_EXPORT void SetClLengthMode(int mode);

// Sets the length mode for the lifetime of the object and restores the previous one however
// the scope is left, exceptions included.
class TALSDK_MACHINES_EXPORT ScopedClLengthMode {
 public:
  explicit ScopedClLengthMode(int mode);
  ~ScopedClLengthMode();
  ScopedClLengthMode(const ScopedClLengthMode&) = delete;
  ScopedClLengthMode& operator=(const ScopedClLengthMode&) = delete;

 private:
  int m_previous;
};

}  // namespace TalAM::Persistence
