// A program built against the installed TalSDK.Machines package: writes a small document into
// a string, reads it back, checks that a malformed document is reported as MGeneric, and
// saves and loads a machine.
// Exits non-zero when anything differs, so it doubles as a check of the installed package.

#include <TalSDK/Machines.h>

#include <cstdio>
#include <iostream>
#include <string>

namespace {

struct Plate {
  int width = 0;
  double layer = 0.0;
  std::wstring label;
};

// Handles the children of "Plate"; the root element itself is accepted and descended into.
struct PlateReader : ISAXPersist {
  Plate& plate;
  explicit PlateReader(Plate& p) : plate(p) {}
  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    if (tag == "Plate") return true;
    if (tag == "Width") return reader.ReadValue(plate.width);
    if (tag == "Layer") return reader.ReadValue(plate.layer);
    if (tag == "Label") return reader.ReadValue(plate.label);
    return false;
  }
};

int Fail(const std::string& what) {
  std::cerr << "consumer: " << what << "\n";
  return 1;
}

}  // namespace

int main() {
  const Plate written{250, 0.03, L"Büild plate ⌀250"};
  std::string document;
  try {
    TalSAX::SAXWriter writer(nullptr);
    if (!writer.OpenString(document)) return Fail("OpenString failed");
    {
      MSAXTagWriter plate(writer, "Plate");
      TalAM::WriteValueTag(writer, "Width", written.width);
      TalAM::WriteValueTag(writer, "Layer", written.layer);
      TalAM::WriteValueTag(writer, "Label", written.label);
    }
    if (!writer.Close()) return Fail("Close failed");

    Plate read;
    PlateReader handler(read);
    TalSAX::SAXReader reader(true, nullptr);
    reader.ParseBuffer(document, &handler);
    reader.InitHelpersAfterLoading();
    if (!reader.GetWarnings().empty()) return Fail("unexpected warnings reading:\n" + document);
    if (read.width != written.width || read.layer != written.layer || read.label != written.label)
      return Fail("read back differs from what was written:\n" + document);
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    return Fail("unexpected error: " + error.GetMessage());
  }

  // The library's exception type must be catchable here, across the shared library boundary.
  try {
    Plate ignored;
    PlateReader handler(ignored);
    TalSAX::SAXReader reader(true, nullptr);
    reader.ParseBuffer("<Plate><Width>1</Plate>", &handler, "broken.xml");
    return Fail("a malformed document was accepted");
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    if (error.GetMessage().find("broken.xml") == std::string::npos)
      return Fail("error message does not name the source: " + error.GetMessage());
  }

  // A machine: create, save, load.
  TalAM::MachineParameters machine;
  machine.SetName(L"Consumer test machine");
  const std::wstring path = L"consumer-machine.xml";
  std::wstring message;
  if (!TalAM::SaveToTMCF(machine, path.c_str(), message)) return Fail("SaveToTMCF failed");
  TalAM::MachineParameters loaded;
  if (!TalAM::LoadFromTMCF(loaded, path.c_str(), message,
                           TalAM::MachineParametersSaxRead::RejectRequiredUnhandledElements)) {
    return Fail("LoadFromTMCF failed: " + StringConversion::NativeToUtf8(message));
  }
  std::remove("consumer-machine.xml");
  if (loaded != machine) return Fail("the machine read back differs from the one saved");

  std::cout << "TalSDK.Machines package works:\n" << document << "\n";
  return 0;
}
