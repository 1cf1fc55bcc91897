#pragma once
// A host document: named, typed properties saved into and loaded from a tag document.
//
//   <PropertyDocument>
//     <Property Name="Laser" Type="CLParameters">...the value's own content...</Property>
//   </PropertyDocument>
//
// Each property is made from its type name by the registered creators. A property whose type
// no creator knows, and any other element, is kept as it was read and written back after the
// known properties, so a document written by an application with more property types
// survives a load and a save here.

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <TalSDK/SDKExport.h>
#include <TalSDK/sdk/property/PersistentProperty.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

class TALSDK_SDK_EXPORT MPropertyDocument : public ISAXPersist,
                                            public TalSDK::MSaxPersistExtensibleObject {
 public:
  static constexpr std::string_view kRootTag = "PropertyDocument";
  static constexpr std::string_view kPropertyTag = "Property";
  static constexpr std::string_view kNameAttribute = "Name";
  static constexpr std::string_view kTypeAttribute = "Type";

  MPropertyDocument() = default;
  MPropertyDocument(const MPropertyDocument&) = delete;
  MPropertyDocument& operator=(const MPropertyDocument&) = delete;
  ~MPropertyDocument() override;

  // A new property of `typeName` with a default value under `name`, replacing one of that
  // name. Null (and nothing replaced) when no creator knows the type.
  IPersistentProperty* AddProperty(const std::wstring& name, const std::wstring& typeName);
  IPersistentProperty* GetProperty(const std::wstring& name);
  const IPersistentProperty* GetProperty(const std::wstring& name) const;
  // False when there was no property of that name.
  bool RemoveProperty(const std::wstring& name);
  // The names in the order the properties were added (or read).
  std::vector<std::wstring> GetPropertyNames() const;
  std::size_t GetPropertyCount() const { return m_properties.size(); }
  // Removes every property and every kept element.
  void Clear();

  // Writes the persistent properties. False when the file cannot be created or written.
  bool Save(const std::wstring& path) const;
  // Replaces the content with the file's. False, with `message` set when given, when the file
  // cannot be read or is not a property document; what was read before the failure stays.
  bool Load(const std::wstring& path, std::wstring* message = nullptr);
  // The same with the document in memory.
  bool SaveToString(std::string& document) const;
  bool LoadFromString(std::string_view document, std::wstring* message = nullptr);

  // The content of the root element: "Property" elements and kept ones.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;

 private:
  using Entry = std::pair<std::wstring, std::unique_ptr<IPersistentProperty>>;
  void Put(const std::wstring& name, std::unique_ptr<IPersistentProperty> property);

  std::vector<Entry> m_properties;
};
