#pragma once
// The cost model of a machine ("CostFragments"): a list of fragments, each charging a unit cost
// per unit of one measured quantity of a build, and the currency. Computes the cost of one
// fragment for a build platform.

#include <cstddef>
#include <string>
#include <vector>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/buildtime/BuildtimePlatform.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

class TALSDK_MACHINES_EXPORT MCostFragment : public ISAXPersist,
                                             public TalSDK::MSaxPersistExtensibleObject {
 public:
  bool operator==(const MCostFragment& other) const;
  bool operator!=(const MCostFragment& other) const { return !(*this == other); }

  // Empties the name only.
  void SetDefaults() override;
  // An unknown "Dependency" text is refused.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // A dependency without a file text fails after "Name".
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  const std::wstring& GetName() const { return m_name; }
  void SetName(const std::wstring& name) { m_name = name; }
  MBuildtimeEstimatorParameter GetDependency() const { return m_dependency; }
  void SetDependency(MBuildtimeEstimatorParameter dependency) { m_dependency = dependency; }
  float GetUnitCost() const { return m_unitCost; }
  void SetUnitCost(float unitCost) { m_unitCost = unitCost; }

 private:
  friend struct MCostFragmentDescription;

  std::wstring m_name;
  MBuildtimeEstimatorParameter m_dependency = MBuildtimeEstimatorParameter::EstimatedBuildTime;
  float m_unitCost = 0.0f;
};

class TALSDK_MACHINES_EXPORT MCostFragments : public ISAXPersist,
                                              public TalSDK::MSaxPersistExtensibleObject {
 public:
  // The quantities a fragment may depend on: Estimated Build Time first, then Fixed time,
  // Volume, Support Volume, Surface Area, Delta X, Delta Y, Delta Z, Number of Stls and
  // Volume Bouding Box.
  static const MBuildtimeEstimatorParameter m_dependency_list[10];

  bool operator==(const MCostFragments& other) const;
  bool operator!=(const MCostFragments& other) const { return !(*this == other); }

  // Empties the list and the currency.
  void SetDefaults() override;
  // "CostFragment" makes a fragment only inside "CostFragmentList"; elsewhere it is accepted
  // and makes none.
  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // A fragment that cannot be written fails the block.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  // This block, then every fragment in order.
  NodeList GetExtensibleObjectNodes() const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  void AddCostFragment(const MCostFragment& fragment);  // appends a copy
  void Remove(std::size_t index);  // later fragments move up; an index past the end is ignored
  void ClearList();
  std::size_t GetNumberOfCostFragments() const { return m_costFragmentList.size(); }
  // Direct access, no range check.
  MCostFragment& GetCostFragment(std::size_t index) { return m_costFragmentList[index]; }
  const MCostFragment& GetCostFragment(std::size_t index) const {
    return m_costFragmentList[index];
  }
  MCostFragment& operator[](std::size_t index) { return m_costFragmentList[index]; }
  // Entry `index` of m_dependency_list, no range check.
  MBuildtimeEstimatorParameter GetDependency(unsigned short index) {
    return m_dependency_list[index];
  }
  static std::size_t GetNumDependencies() { return 10; }
  const std::wstring& GetCurrency() const { return m_currency; }
  void SetCurrency(const std::wstring& currency) { m_currency = currency; }

  // True when a fragment depends on the estimated build time, so that the caller must estimate
  // it before costing.
  bool NeedTimeCalculation() const;
  // The units fragment `index` charges for on `platform`; `time` is the estimated build time
  // in seconds. Volumes in litres and surfaces in square centimetres in metric mode (the
  // process-wide unit factor exactly 1.0), cubic and square inches otherwise; quantities
  // outside m_dependency_list give 0.
  double CalculateTotalUnits(std::size_t index, const MBuildtimePlatform& platform,
                             double time) const;
  // Unit cost × units; for the estimated build time the unit cost is per hour.
  double CalculateFragmentCost(std::size_t index, const MBuildtimePlatform& platform,
                               double time) const;

 private:
  friend struct MCostFragmentsDescription;

  std::vector<MCostFragment> m_costFragmentList;  // "CostFragmentList", in list order
  std::wstring m_currency;
};
