#pragma once
// The machine's named locked areas and the switch that enables them, persisted as the
// "LockedAreas" block: "AreasEnabled", then per area "AreaName", "AreaVisibility", "AreaType"
// and the container "AreaParameters", then the kept elements.

#include <map>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/lockedareas/LockedAreas.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

namespace LockedAreas::SAX {

class TALSDK_MACHINES_EXPORT AreasData : public ISAXPersist,
                                         public TalSDK::MSaxPersistExtensibleObject {
 public:
  AreasData();
  // Copies never share a custom mesh with their source.
  AreasData(const AreasData& other);
  AreasData(AreasData&&) = default;
  AreasData& operator=(const AreasData& other);
  AreasData& operator=(AreasData&&) = default;
  ~AreasData() override;

  // The switch and the areas; the reader state is left out.
  bool operator==(const AreasData& other) const;
  bool operator!=(const AreasData& other) const { return !(*this == other); }

  // This object, then the shape of every area in name order.
  NodeList GetExtensibleObjectNodes() const override;

  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // Writes its own "LockedAreas" element inside the one the caller opened.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // Every field with its path, kind and value text.
  void VisitFields(TalAM::FieldVisit& visit) const;

  // Reader state: the area being read. Not reset after an area, so that an area omitting its
  // name or type reuses the previous one.
  std::wstring m_areaName;
  std::wstring m_areaType;
  bool m_areaVisibility = true;
  bool m_areaVisibilityRead = false;  // an "AreaVisibility" was read and not yet used

  std::map<std::wstring, AreaHolder> m_areas;  // by name
  bool m_areasEnabled = true;
};

// Reads and writes the parameters of one box.
class TALSDK_MACHINES_EXPORT RectangleAreaData : public ISAXPersistHelper {
 public:
  explicit RectangleAreaData(Rectangle& shape) : m_shape(&shape), m_target(&shape) {}
  // Writes only.
  explicit RectangleAreaData(const Rectangle& shape) : m_shape(&shape) {}

  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;

 private:
  const Rectangle* m_shape;
  Rectangle* m_target = nullptr;
};

// Reads and writes the parameters of one cylinder.
class TALSDK_MACHINES_EXPORT CylindricalAreaData : public ISAXPersistHelper {
 public:
  explicit CylindricalAreaData(Cylindrical& shape) : m_shape(&shape), m_target(&shape) {}
  // Writes only.
  explicit CylindricalAreaData(const Cylindrical& shape) : m_shape(&shape) {}

  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;

 private:
  const Cylindrical* m_shape;
  Cylindrical* m_target = nullptr;
};

// Reads and writes the mesh of one custom shape; the mesh is read into in place.
class TALSDK_MACHINES_EXPORT CustomShapeAreaData : public ISAXPersistHelper {
 public:
  explicit CustomShapeAreaData(CustomShape& shape) : m_shape(&shape), m_target(&shape) {}
  // Writes only.
  explicit CustomShapeAreaData(const CustomShape& shape) : m_shape(&shape) {}

  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  bool Write(TalSAX::ISAXWriter& writer) const override;

 private:
  const CustomShape* m_shape;
  CustomShape* m_target = nullptr;
};

}  // namespace LockedAreas::SAX
