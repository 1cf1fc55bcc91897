// Writes a small machine-like document with the tag writer, reads it back with the tag
// reader, and prints both: the shortest tour of the persistence layer.

#include <TalSDK/Machines.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

namespace {

// A block of the caller's own, persisted with the public reader and value-tag helpers.
struct Envelope : ISAXPersist, TalSDK::MSaxPersistExtensibleObject {
  std::int32_t m_dx = 250 * MUnit::GetIE();
  std::int32_t m_dy = 250 * MUnit::GetIE();
  double m_layer = 0.03;
  std::wstring m_label = L"Büild plate ⌀250";

  bool HandleTag(const std::string& tag, TalSAX::ISAXReader& reader) override {
    if (tag == "Dx") return reader.ReadValue(m_dx);
    if (tag == "Dy") return reader.ReadValue(m_dy);
    if (tag == "Layer") return reader.ReadValue(m_layer);
    if (tag == "Label") return reader.ReadValue(m_label);
    return TalSDK::MSaxPersistExtensibleObjectReader(*this).HandleTag(tag, reader);
  }
  bool Write(TalSAX::ISAXWriter& writer) const override {
    return TalAM::WriteValueTag(writer, "Dx", m_dx) && TalAM::WriteValueTag(writer, "Dy", m_dy) &&
           TalAM::WriteValueTag(writer, "Layer", m_layer) &&
           TalAM::WriteValueTag(writer, "Label", m_label) &&
           TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
  }
  bool operator==(const Envelope& other) const {
    return m_dx == other.m_dx && m_dy == other.m_dy && m_layer == other.m_layer &&
           m_label == other.m_label && MSaxPersistExtensibleObject::operator==(other);
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
              << "Equal to what was written: " << (read == written ? "yes" : "no") << "\n";
    std::filesystem::remove(path);
    return read == written ? 0 : 1;
  } catch (const TalSDK::FileIO::MSAXError::MGeneric& error) {
    std::cerr << error.GetMessage() << "\n";
    return 1;
  }
}
