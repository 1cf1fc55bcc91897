#include <TalSDK/sdk/property/PropertyDocument.h>

#include <algorithm>

#include <TalSDK/sdk/common/StringConversion.h>
#include <TalSDK/sdk/property/PersistentPropertyCreator.h>
#include <TalSDK/sdk/sax/SAXError.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

using TalSDK::FileIO::MSAXError::MGeneric;

namespace {

// The document's root element, whose content the document reads itself.
class DocumentRoot : public ISAXPersistHelper {
 public:
  DocumentRoot(MPropertyDocument& document, std::string_view source)
      : m_document(document), m_source(source) {}
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override {
    if (tagName != MPropertyDocument::kRootTag) {
      throw MGeneric(m_source + ": the root element is '" + tagName + "', not '" +
                     std::string(MPropertyDocument::kRootTag) + "'");
    }
    return reader.DelegateToChild(m_document);
  }

 private:
  MPropertyDocument& m_document;
  std::string m_source;
};

template <class Parse>
bool Read(MPropertyDocument& document, std::string_view source, std::wstring* message,
          Parse parse) {
  document.Clear();
  try {
    TalSAX::SAXReader reader(true, nullptr);
    DocumentRoot root(document, source);
    parse(reader, root);
    reader.InitHelpersAfterLoading();
    return true;
  } catch (const MGeneric& error) {
    if (message != nullptr) *message = StringConversion::Utf8ToNative(error.GetMessage());
  }
  return false;
}

bool WriteDocument(const MPropertyDocument& document, TalSAX::SAXWriter& writer) {
  bool written = false;
  {
    const MSAXTagWriter root(writer, MPropertyDocument::kRootTag);
    written = document.Write(writer);
  }
  return writer.Close() && written;
}

}  // namespace

MPropertyDocument::~MPropertyDocument() = default;

IPersistentProperty* MPropertyDocument::AddProperty(const std::wstring& name,
                                                    const std::wstring& typeName) {
  std::unique_ptr<IPersistentProperty> property = PersistentPropertyCreators::Create(typeName);
  IPersistentProperty* added = property.get();
  if (added != nullptr) Put(name, std::move(property));
  return added;
}

void MPropertyDocument::Put(const std::wstring& name,
                            std::unique_ptr<IPersistentProperty> property) {
  const auto found = std::find_if(m_properties.begin(), m_properties.end(),
                                  [&](const Entry& entry) { return entry.first == name; });
  if (found != m_properties.end()) {
    found->second = std::move(property);
  } else {
    m_properties.emplace_back(name, std::move(property));
  }
}

IPersistentProperty* MPropertyDocument::GetProperty(const std::wstring& name) {
  return const_cast<IPersistentProperty*>(std::as_const(*this).GetProperty(name));
}

const IPersistentProperty* MPropertyDocument::GetProperty(const std::wstring& name) const {
  for (const Entry& entry : m_properties) {
    if (entry.first == name) return entry.second.get();
  }
  return nullptr;
}

bool MPropertyDocument::RemoveProperty(const std::wstring& name) {
  return std::erase_if(m_properties, [&](const Entry& entry) { return entry.first == name; }) != 0;
}

std::vector<std::wstring> MPropertyDocument::GetPropertyNames() const {
  std::vector<std::wstring> names;
  names.reserve(m_properties.size());
  for (const Entry& entry : m_properties)
    names.push_back(entry.first);
  return names;
}

void MPropertyDocument::Clear() {
  m_properties.clear();
  ClearUnhandledElements();
}

bool MPropertyDocument::HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) {
  if (tagName == kPropertyTag) {
    const auto name = reader.GetAttribute(kNameAttribute);
    const auto type = reader.GetAttribute(kTypeAttribute);
    std::wstring wideName;
    std::wstring wideType;
    // A property without a usable name or type cannot be addressed: it is refused.
    if (!name || !type || !StringConversion::TryUtf8ToNative(*name, wideName) ||
        !StringConversion::TryUtf8ToNative(*type, wideType)) {
      return false;
    }
    if (std::unique_ptr<IPersistentProperty> property =
            PersistentPropertyCreators::Create(wideType)) {
      IPersistentProperty& read = *property;
      // Stored first: the value is read into it while the element's content is dispatched.
      Put(wideName, std::move(property));
      return read.HandleValue(reader);
    }
  }
  TalSDK::MSaxPersistExtensibleObjectReader keep(*this);
  return keep.HandleTag(tagName, reader);
}

bool MPropertyDocument::Write(TalSAX::ISAXWriter& writer) const {
  for (const Entry& entry : m_properties) {
    const IPersistentProperty& property = *entry.second;
    if (!property.GetPersistent()) continue;
    const MSAXTagWriter element(writer, kPropertyTag);
    writer.WriteAttribute(kNameAttribute, StringConversion::NativeToUtf8(entry.first));
    writer.WriteAttribute(kTypeAttribute,
                          StringConversion::NativeToUtf8(property.GetTypeOfProperty()));
    if (!property.WriteValue(writer)) return false;
  }
  return TalSDK::MSaxPersistExtensibleObjectWriter(*this).Write(writer);
}

bool MPropertyDocument::Save(const std::wstring& path) const {
  try {
    TalSAX::SAXWriter writer(nullptr);
    if (!writer.Open(path.c_str(), TalSAX::eEncryptionNone, TalSAX::eCompressionNone, true)) {
      return false;
    }
    return WriteDocument(*this, writer);
  } catch (const MGeneric&) {
    return false;
  }
}

bool MPropertyDocument::SaveToString(std::string& document) const {
  try {
    TalSAX::SAXWriter writer(nullptr);
    if (!writer.OpenString(document)) return false;
    return WriteDocument(*this, writer);
  } catch (const MGeneric&) {
    return false;
  }
}

bool MPropertyDocument::Load(const std::wstring& path, std::wstring* message) {
  const std::string source = StringConversion::NativeToUtf8(path);
  return Read(*this, source, message, [&](TalSAX::SAXReader& reader, DocumentRoot& root) {
    reader.Parse(path.c_str(), &root);
  });
}

bool MPropertyDocument::LoadFromString(std::string_view document, std::wstring* message) {
  return Read(*this, "<memory>", message, [&](TalSAX::SAXReader& reader, DocumentRoot& root) {
    reader.ParseBuffer(document, &root, "<memory>");
  });
}
