#pragma once
// The whole definition of a machine: every settings block, the support profiles and the
// machine's name. Callers change the public blocks directly and load or save the machine
// with TalAM::LoadFromTMCF / TalAM::SaveToTMCF (machine/MachineFile.h).

#include <cstdint>
#include <list>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/buildtime/BuildTimeCalculation.h>
#include <TalSDK/buildtime/CostFragments.h>
#include <TalSDK/lockedareas/AreasData.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/platform/MachineNesting.h>
#include <TalSDK/platform/MachinePlatform.h>
#include <TalSDK/platform/MachineZCompensation.h>
#include <TalSDK/quality/BaseplateParameters.h>
#include <TalSDK/quality/KestrumSupportParameters.h>
#include <TalSDK/quality/QualityParts.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/support/SupportGlobal.h>
#include <TalSDK/slicing/ExportPart.h>
#include <TalSDK/slicing/PostParameters.h>
#include <TalSDK/slicing/Slicer.h>

namespace TalAM {

// The length unit a machine is defined in.
enum MachineUnit : std::int32_t { eMillimetre = 0, eInch = 1 };

class TALSDK_MACHINES_EXPORT MachineParameters : public TalSDK::MSaxPersistExtensibleObject {
 public:
  // Named "Untitled"; the unit follows the process-wide unit factor.
  MachineParameters();
  MachineParameters(const MachineParameters&);
  MachineParameters(MachineParameters&&) noexcept;
  MachineParameters& operator=(const MachineParameters&);
  MachineParameters& operator=(MachineParameters&&) noexcept;
  ~MachineParameters() override;

  bool operator==(const MachineParameters& other) const;
  bool operator!=(const MachineParameters& other) const { return !(other == *this); }

  std::wstring GetName() const { return m_name; }
  void SetName(const std::wstring& name) { m_name = name; }

  // The machine and every extensible object inside it, in a fixed order.
  NodeList GetExtensibleObjectNodes() const override;

  // Every field of the machine, block by block in the order of the machine file, with its
  // path ("Machine/Platform/Envelope/Dx"), kind and value text:
  //   TalAM::FieldVisit visit([](const TalAM::FieldView& field) { ... }, "Machine");
  //   machine.VisitFields(visit);
  void VisitFields(FieldVisit& visit) const;

  std::wstring m_materialName;
  std::wstring m_comments;
  std::int32_t m_unit;  // a MachineUnit: 0 millimetre, 1 inch
  BUILD_TIME_CALCULATIE m_buildTimeCalculation;
  MSlicer m_slicer;
  MPostParameters m_postProcessing;
  TalSDK::SupportGeneration::MSupportGlobal m_support;
  std::list<TalSDK::SupportGeneration::MSupportGlobal> m_supportProfiles;
  MSAXMachineExportPart m_exportPart;
  MCostFragments m_costFragments;
  MSaxMachineNesting m_nesting;
  MSAXMachinePlatform m_platform;
  MSAXMachineZCompensation m_zCompensationParameters;
  LockedAreas::SAX::AreasData m_lockedAreas;
  MMachineQualityParts m_qualityParts;
  std::list<MMachineQualityParts> m_qualityPartsProfiles;  // named sets, in file order
  MKestrumSupportParameters m_kestrumSupport;
  MBaseplateParameters m_baseplateParameters;

 private:
  friend struct MachineParametersDescription;  // the description of the machine file

  std::wstring m_name = L"Untitled";
};

}  // namespace TalAM
