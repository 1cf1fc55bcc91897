// Writes a small machine-like document with the tag writer, reads it back with the tag
// reader, and prints both: the shortest tour of the persistence layer.

#include <TalSDK/Machines.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

namespace {

// A block with three values, persisted through a field table.
struct Envelope : ISAXPersist, TalSDK::MSaxPersistExtensibleObject {
  std::int32_t m_dx = 250 * MUnit::GetIE();
  std::int32_t m_dy = 250 * MUnit::GetIE();
  double m_layer = 0.03;
  std::wstring m_label = L"Büild plate ⌀250";

  static constexpr auto kFields = TalAM::Persistence::MakeFieldTable<Envelope>(
      TalAM::Persistence::Value("Dx", &Envelope::m_dx),
      TalAM::Persistence::Value("Dy", &Envelope::m_dy),
      TalAM::Persistence::Value("Layer", &Envelope::m_layer),
      TalAM::Persistence::Value("Label", &Envelope::m_label));

  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    if (auto result = kFields.Read(tag, *this, reader)) return *result;
    return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tag, reader);
  }
  bool Write(TalSAX::ISAXWriter& writer) const override {
    return kFields.Write(*this, writer) &&
           TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
  }
};

// The document root: "Machine" holds one "Envelope".
struct Root : ISAXPersist {
  Envelope& envelope;
  explicit Root(Envelope& e) : envelope(e) {}
  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    if (tag == "Machine") return true;
    if (tag == "Envelope") return reader.DelegateToChild(envelope);
    return false;
  }
};

}  // namespace

int main() {
  const std::filesystem::path path = std::filesystem::temp_directory_path() / "talsdk-example.xml";
  try {
    Envelope written;
    written.m_dx = 300 * MUnit::GetIE();
    {
      TalSAX::SAXWriter writer(nullptr);
      if (!writer.Open(path.wstring().c_str(), TalSAX::eEncryptionNone, TalSAX::eCompressionNone,
                       true)) {
        std::cerr << "cannot create " << path << "\n";
        return 1;
      }
      {
        MSAXTagWriter machine(writer, "Machine");
        MSAXTagWriter envelope(writer, "Envelope");
        written.Write(writer);
      }
      writer.Close();
    }

    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    std::cout << "Written " << path.string() << ":\n" << text.str() << "\n";

    Envelope read;
    Root root(read);
    TalSAX::SAXReader reader(true, nullptr);
    reader.Parse(path.wstring().c_str(), &root);
    reader.InitHelpersAfterLoading();
    std::cout << "Read back: Dx=" << read.m_dx << " Dy=" << read.m_dy << " Layer=" << read.m_layer
              << " Label=" << StringConversion::NativeToUtf8(read.m_label) << "\n"
              << "Equal to what was written: "
              << (Envelope::kFields.Equal(read, written) ? "yes" : "no") << "\n";
    std::filesystem::remove(path);
    return Envelope::kFields.Equal(read, written) ? 0 : 1;
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    std::cerr << error.GetMessage() << "\n";
    return 1;
  }
}
