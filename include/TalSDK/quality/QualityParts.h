#pragma once
// Quality parts: named meshes (test or witness parts) added to a build, each with its placement
// and optionally its own supports. A machine holds one current set ("QualityParts") and a list
// of named sets ("QualityPartsProfiles"). The models do not depend on persistence: reader
// helpers and writers persist them.

#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/math/TransformMatrix.h>
#include <TalSDK/sdk/mesh/StlBase.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>
#include <TalSDK/sdk/support/SupportGlobal.h>

// One quality part: its mesh (whose name is the part's name) and its placement.
struct TALSDK_MACHINES_EXPORT QualityPartItem : public TalSDK::MSaxPersistExtensibleObject {
  // An empty mesh at the identity position.
  QualityPartItem();
  // Copies own a deep copy of the mesh.
  QualityPartItem(const QualityPartItem& other);
  QualityPartItem& operator=(const QualityPartItem& other);
  ~QualityPartItem() override;

  // The mesh names, the positions and the kept elements; the geometry is not compared.
  bool operator==(const QualityPartItem& other) const;
  bool operator!=(const QualityPartItem& other) const { return !(*this == other); }

  // The item and its mesh.
  NodeList GetExtensibleObjectNodes() const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::unique_ptr<MStlBase> m_mesh;  // never null
  MMTransformMatrix m_position;
};

class TALSDK_MACHINES_EXPORT MMachineQualityParts : public TalSDK::MSaxPersistExtensibleObject {
 public:
  // The kept elements, the switches, the profile name, then the items in key order.
  bool operator==(const MMachineQualityParts& other) const;
  bool operator!=(const MMachineQualityParts& other) const { return !(*this == other); }
  // By profile name only, character code by character code; a prefix is less.
  bool operator<(const MMachineQualityParts& other) const;

  // The set and its items.
  NodeList GetExtensibleObjectNodes() const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  bool m_enabled = true;
  bool m_group = false;
  bool m_keepPosition = true;
  std::wstring m_profileName;
  std::map<std::wstring, QualityPartItem> m_items;  // by item name
};

// Reads a set inside the element its caller opened. Unknown tags are kept in the set.
class TALSDK_MACHINES_EXPORT MSAXQualityPartsHelper : public ISAXPersistHelper {
 public:
  MSAXQualityPartsHelper(MMachineQualityParts& parts,
                         TalSDK::MSaxPersistExtensibleObject::OperatingMode mode);
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // Empties the items only: the switches, the profile name and the kept elements stay.
  void SetDefaults() override;

 private:
  MMachineQualityParts& m_parts;
  TalSDK::MSaxPersistExtensibleObject::OperatingMode m_mode;
};

class TALSDK_MACHINES_EXPORT MSAXQualityPartsWriter : public ISAXPersist {
 public:
  explicit MSAXQualityPartsWriter(const MMachineQualityParts& parts);
  // "ProfileName", "Enabled", "Group", "KeepPosition", one "Item" per item in key order, then
  // the kept elements; stops at the first failure.
  bool Write(TalSAX::ISAXWriter& writer) const override;

 private:
  const MMachineQualityParts& m_parts;
};

// Reads one "Item" element into the map. "Name" must come first: it creates the item that the
// other tags fill; before it they are refused.
class TALSDK_MACHINES_EXPORT MSAXQualityPartItemHelper : public ISAXPersistHelper {
 public:
  MSAXQualityPartItemHelper(std::map<std::wstring, QualityPartItem>& items,
                            TalSDK::MSaxPersistExtensibleObject::OperatingMode mode);
  ~MSAXQualityPartItemHelper() override;
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;

 private:
  std::map<std::wstring, QualityPartItem>& m_items;
  TalSDK::MSaxPersistExtensibleObject::OperatingMode m_mode;
  QualityPartItem* m_current = nullptr;  // the item being filled
};

class TALSDK_MACHINES_EXPORT MSAXQualityPartWriter : public ISAXPersist {
 public:
  explicit MSAXQualityPartWriter(const std::pair<const std::wstring, QualityPartItem>& item);
  // "Name" (the key), "Position" (sixteen numbers, row by row), "Mesh", "Support" when the mesh
  // carries one, then the kept elements.
  bool Write(TalSAX::ISAXWriter& writer) const override;

 private:
  const std::pair<const std::wstring, QualityPartItem>& m_item;
};

// Reads the named sets: each "QualityParts" appends a set. Other tags are dropped.
class TALSDK_MACHINES_EXPORT MSAXQualityPartsProfilesHelper : public ISAXPersistHelper {
 public:
  MSAXQualityPartsProfilesHelper(std::list<MMachineQualityParts>& profiles,
                                 TalSDK::MSaxPersistExtensibleObject::OperatingMode mode);
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // Empties the list.
  void SetDefaults() override;

 private:
  std::list<MMachineQualityParts>& m_profiles;
  TalSDK::MSaxPersistExtensibleObject::OperatingMode m_mode;
};

class TALSDK_MACHINES_EXPORT MSAXQualityPartsProfilesWriter : public ISAXPersist {
 public:
  explicit MSAXQualityPartsProfilesWriter(const std::list<MMachineQualityParts>& profiles);
  // One "QualityParts" per set, in list order.
  bool Write(TalSAX::ISAXWriter& writer) const override;

 private:
  const std::list<MMachineQualityParts>& m_profiles;
};
