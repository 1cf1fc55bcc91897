// Reads arbitrary bytes as a machine file, writes the machine it got, reads that back and
// requires an equal machine. Whatever a load accepts must save so that it loads unchanged.

#include <TalSDK/Machines.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace {

// The root of a machine document: "Machine", possibly inside "tal:ProjectFile".
class Root : public ISAXPersistHelper {
 public:
  explicit Root(TalAM::MachineParameters& machine) : m_read(machine) {}
  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    if (tag == "tal:ProjectFile") return true;
    return tag == "Machine" && reader.DelegateToChild(m_read);
  }

 private:
  TalAM::MachineParametersSaxRead m_read;
};

[[noreturn]] void Die(const char* what, const std::string& detail) {
  std::fprintf(stderr, "fuzz_machine: %s\n%s\n", what, detail.c_str());
  std::abort();
}

bool Read(std::string_view document, TalAM::MachineParameters& machine) {
  try {
    Root root(machine);
    TalSAX::SAXReader reader(true, nullptr);
    reader.ParseBuffer(document, &root);
    return true;
  } catch (const TalSDK::FileIO::MSAXError::MGeneric&) {
    return false;
  }
}

// Messages for the log (a duplicate quality part name, for one) would only slow the fuzzer.
class SilentLogger : public TalSDK::Common::Logging::ILogger {
 public:
  void LogMessage(std::string_view) override {}
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto quiet = TalSDK::Common::Logging::SetLogger(std::make_shared<SilentLogger>());
  (void)quiet;
  TalAM::MachineParameters first;
  if (!Read(std::string_view(reinterpret_cast<const char*>(data), size), first)) return 0;

  std::string written;
  try {
    TalSAX::SAXWriter writer(nullptr);
    writer.OpenString(written);
    {
      MSAXTagWriter root(writer, "Machine");
      TalAM::MachineParametersSaxWrite content(first);
      content.RegisterUnhandledElementIds(writer);
      if (!content.Write(writer)) Die("a block refused to write", written);
    }
    writer.Close();
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    Die("saving a loaded machine failed", error.GetMessage());
  }

  TalAM::MachineParameters second;
  if (!Read(written, second)) Die("a saved machine does not load", written);
  // The one known difference: an empty angle-factor table is not written, so it loads as the
  // default table (machine files have always behaved so).
  if (first.m_zCompensationParameters.m_angleFactors.empty()) {
    if (second.m_zCompensationParameters.m_angleFactors !=
        MSAXMachineZCompensation().m_angleFactors) {
      Die("an empty angle-factor table did not load as the default one", written);
    }
    second.m_zCompensationParameters.m_angleFactors.clear();
  }
  if (first != second) Die("the machine changed through a save and a load", written);
  return 0;
}
