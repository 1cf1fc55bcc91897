#pragma once
// Concept Laser sets as typed property values of host documents (MPropertyDocument): a
// property that owns one set, creators that make such properties from their type names, and
// the free functions that connect a set to tag reading, tag writing and binary files.
//
// Type names, by value type:
//   MCLParameters                                   "CLParameters"
//   MCLPlatformParameters                           "CLPlatformParameters"
//   MCLPostProcessParameters                        "CLPlatformProcessParameters"
//   MCLBuildParameters                              "CLBuildParameters"
//   MCLScanningParameters                           "CLComponentProcessParameters"
//   IndexedProperties<MCLScanningParameters>        "IndexedCLComponentProcessParameters"
//   IndexedProperties<MCLPostProcessParameters>     "IndexedCLComponentPostProcessParameters"
// The post-process name matches the "PlatformProcessParameters" element of parameter files
// and stays as it is for the documents that already hold it.

#include <cstdint>
#include <string>
#include <type_traits>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/conceptlaser/CLBuildParameters.h>
#include <TalSDK/conceptlaser/CLParameters.h>
#include <TalSDK/conceptlaser/CLPlatformParameters.h>
#include <TalSDK/conceptlaser/CLPostProcessParameters.h>
#include <TalSDK/sdk/file/File.h>
#include <TalSDK/sdk/property/IndexedProperties.h>
#include <TalSDK/sdk/property/PersistentProperty.h>
#include <TalSDK/sdk/property/PersistentPropertyCreator.h>
#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>

// Defined in the library for the Concept Laser types above (the tag and binary functions for
// every type but IndexedProperties<MCLPostProcessParameters>, whose property is only made by
// PersistentPropertySaxHandlerConceptLaser, and for the two indexed collections as well).

// The type name of the table above.
template <class T>
TALSDK_MACHINES_EXPORT std::wstring GetTypeOfProperty(const T& value);
// From inside HandleTag of the element holding the value: the value reads the element's
// content itself. Always true.
template <class T>
TALSDK_MACHINES_EXPORT bool HandleValueOfProperty(T& value, TalSAX::ISAXReader& reader);
// Writes the value's content into the element the caller opened. Always true: a value that
// fails to write is not reported here.
template <class T>
TALSDK_MACHINES_EXPORT bool WriteValueOfProperty(const T& value, TalSAX::ISAXWriter& writer);
// Concept Laser sets have no binary form: a binary project stores nothing for them, and
// reading leaves the value as it is. Kept so for the binary projects that exist.
template <class T>
TALSDK_MACHINES_EXPORT void ReadValueOfProperty(T& value, MFile& file);
template <class T>
TALSDK_MACHINES_EXPORT void WriteValueOfProperty(const T& value, MFile& file);

// A property owning one value of type T.
template <class T>
class TALSDK_MACHINES_EXPORT PersistentProperty : public IPersistentProperty,
                                                  public IPersistentPropertyUndo {
 public:
  static constexpr std::uint32_t kModifiedBit = 1u << 0;
  static constexpr std::uint32_t kModificationTrackedBit = 1u << 1;

  PersistentProperty() = default;
  explicit PersistentProperty(const T& value) : m_value(value) {}
  ~PersistentProperty() override = default;

  // Null, with nothing changed, when `other` is not a PersistentProperty<T>. A value that
  // implements IMergeablePropertyValue merges the other's into itself (overwriting); any
  // other value is copied. The locked flag is taken over; the others stay.
  IPersistentProperty* Assign(const IPersistentProperty& other) override {
    const auto* same = dynamic_cast<const PersistentProperty<T>*>(&other);
    if (same == nullptr) return nullptr;
    if (!Merge(same->m_value)) m_value = same->m_value;
    m_locked = same->m_locked;
    return this;
  }

  bool GetLocked() const override { return m_locked; }
  void SetLocked(bool locked) override { m_locked = locked; }
  bool GetVisible() const override { return m_visible; }
  void SetVisible(bool visible) override { m_visible = visible; }
  bool GetPersistent() const override { return m_persistent; }
  void SetPersistent(bool persistent) override { m_persistent = persistent; }

  bool IsModified() const override { return (m_state & kModifiedBit) != 0; }
  bool IsModificationTracked() const override { return (m_state & kModificationTrackedBit) != 0; }
  void SetModified(bool modified) override {
    if (modified) {
      m_state |= kModifiedBit;
    } else {
      m_state &= ~kModifiedBit;
    }
    m_state |= kModificationTrackedBit;
  }
  std::uint32_t GetState() const override { return m_state; }
  void SetState(std::uint32_t state) override { m_state = state; }
  void ClearState() override { m_state = 0; }

  bool WriteValue(TalSAX::ISAXWriter& writer) const override {
    return WriteValueOfProperty(m_value, writer);
  }
  bool HandleValue(TalSAX::ISAXReader& reader) override {
    HandleValueOfProperty(m_value, reader);
    return true;
  }
  std::wstring GetTypeOfProperty() const override { return ::GetTypeOfProperty(m_value); }
  IPersistentPropertyPolymorphicValue* GetPolymorphicValue() override {
    if constexpr (std::is_polymorphic_v<T>) {
      return dynamic_cast<IPersistentPropertyPolymorphicValue*>(&m_value);
    } else {
      return nullptr;
    }
  }
  const IPersistentPropertyPolymorphicValue* GetPolymorphicValue() const override {
    if constexpr (std::is_polymorphic_v<T>) {
      return dynamic_cast<const IPersistentPropertyPolymorphicValue*>(&m_value);
    } else {
      return nullptr;
    }
  }

  T& GetValue() { return m_value; }
  const T& GetValue() const { return m_value; }
  void SetValue(const T& value) { m_value = value; }

 private:
  // True when the value merged `other` into itself.
  bool Merge(const T& other) {
    if constexpr (std::is_polymorphic_v<T>) {
      if (auto* mergeable = dynamic_cast<IMergeablePropertyValue*>(&m_value)) {
        mergeable->MergePropertyValue(dynamic_cast<const IMergeablePropertyValue&>(other), true);
        return true;
      }
    }
    return false;
  }

  T m_value{};
  bool m_locked = false;
  bool m_visible = true;
  bool m_persistent = true;
  std::uint32_t m_state = 0;
};

// Makes PersistentProperty<T> for one type name, the one GetTypeOfProperty gives for a
// default T. Known to host documents while it exists.
template <class T>
class TALSDK_MACHINES_EXPORT PersistentPropertyCreator : public IPersistentPropertyCreator {
 public:
  PersistentPropertyCreator() : m_typeName(::GetTypeOfProperty(T())) {}
  ~PersistentPropertyCreator() override = default;

  IPersistentProperty* create(const std::wstring& typeName) override {
    return typeName == m_typeName ? new PersistentProperty<T>() : nullptr;
  }
  const std::wstring& GetTypeName() const { return m_typeName; }

 private:
  std::wstring m_typeName;
};

// Makes a property of every Concept Laser type, by the type names of the table above
// (compared in that order, exactly). The library holds one for its whole lifetime.
class TALSDK_MACHINES_EXPORT PersistentPropertySaxHandlerConceptLaser
    : private IPersistentPropertyCreator {
 public:
  PersistentPropertySaxHandlerConceptLaser() = default;
  ~PersistentPropertySaxHandlerConceptLaser() override;

  // A new property holding a default value, owned by the caller; null for an unknown name.
  IPersistentProperty* create(const std::wstring& typeName) override;
};

// The indexed collections are read and written item by item, each set in an "Item" element
// whose attribute "Index" holds its index.
template <>
TALSDK_MACHINES_EXPORT bool HandleValueOfProperty(IndexedProperties<MCLScanningParameters>& value,
                                                  TalSAX::ISAXReader& reader);
template <>
TALSDK_MACHINES_EXPORT bool HandleValueOfProperty(
    IndexedProperties<MCLPostProcessParameters>& value, TalSAX::ISAXReader& reader);
template <>
TALSDK_MACHINES_EXPORT bool WriteValueOfProperty(
    const IndexedProperties<MCLScanningParameters>& value, TalSAX::ISAXWriter& writer);
template <>
TALSDK_MACHINES_EXPORT bool WriteValueOfProperty(
    const IndexedProperties<MCLPostProcessParameters>& value, TalSAX::ISAXWriter& writer);

extern template class PersistentProperty<MCLParameters>;
extern template class PersistentProperty<MCLPlatformParameters>;
extern template class PersistentProperty<MCLPostProcessParameters>;
extern template class PersistentProperty<MCLBuildParameters>;
extern template class PersistentProperty<MCLScanningParameters>;
extern template class PersistentProperty<IndexedProperties<MCLScanningParameters>>;
extern template class PersistentProperty<IndexedProperties<MCLPostProcessParameters>>;
extern template class PersistentPropertyCreator<MCLParameters>;
extern template class PersistentPropertyCreator<MCLScanningParameters>;
extern template class PersistentPropertyCreator<IndexedProperties<MCLScanningParameters>>;
