// Reads arbitrary bytes as a Concept Laser parameter file, writes the set it got and reads it
// back twice: the second and third reads must be equal, and so must the texts written from
// them. (The first read may differ from the second: "MeandersEnabled" is read into the hatching
// switch but written from the meandering switch, a length may round on its way to millimetres,
// and a kept unknown element named like a routing element, "ParameterSet" kept inside a set,
// is routed when read back, so its content is read instead of kept; once written and read, a
// set must stay as it is.)

#include <TalSDK/Machines.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

[[noreturn]] void Die(const char* what, const std::string& detail) {
  std::fprintf(stderr, "fuzz_conceptlaser: %s\n%s\n", what, detail.c_str());
  std::abort();
}

std::string Written(const MCLParameters& set) {
  std::string document;
  try {
    if (!TalAM::WriteCLParameterDocument(set, document))
      Die("a loaded set refused to write", document);
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    Die("writing a loaded set failed", error.GetMessage());
  }
  return document;
}

MCLParameters ReadBack(const std::string& document) {
  MCLParameters set;
  const TalAM::CLLoadResult result = TalAM::ReadCLParameterDocument(set, document, "written");
  if (!result.success) Die("a written set does not load", document);
  return set;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  MCLParameters first;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  if (!TalAM::ReadCLParameterDocument(first, input, "input").success) return 0;
  if (TalAM::Persistence::GetClLengthMode() != 0) Die("the length mode was not restored", "");

  const MCLParameters second = ReadBack(Written(first));
  const std::string twice = Written(second);
  const MCLParameters third = ReadBack(twice);
  if (second != third) Die("the set changed through a save and a load", twice);
  if (Written(third) != twice) Die("the written text changed through a save and a load", twice);
  return 0;
}
