#pragma once
// Platform, quadrant, slice and trace settings of a Concept Laser build. Lengths are 32-bit
// integers in internal units (MUnit::GetIE() per millimetre).

#include <cstdint>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/conceptlaser/CLPostProcessParameters.h>
#include <TalSDK/persistence/FieldVisit.h>
#include <TalSDK/sdk/sax/ExtensibleObject.h>
#include <TalSDK/sdk/sax/SAXPersist.h>

// How the platform is split into quadrants for the lasers.
class TALSDK_MACHINES_EXPORT MCLQuadrantParameters : public ISAXPersist,
                                                     public TalSDK::MSaxPersistExtensibleObject {
 public:
  MCLQuadrantParameters();
  MCLQuadrantParameters(const MCLQuadrantParameters&) = default;
  MCLQuadrantParameters& operator=(const MCLQuadrantParameters&) = default;
  ~MCLQuadrantParameters() override;

  // The five values; kept elements are not compared.
  bool operator==(const MCLQuadrantParameters& other) const;
  bool operator!=(const MCLQuadrantParameters& other) const { return !(*this == other); }

  bool GetEnabled() const { return m_enabled; }
  void SetEnabled(bool enabled) { m_enabled = enabled; }
  void Set(int sizeX, int sizeY, int overlapX, int overlapY);

  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // Writes every element and always returns true.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  bool m_enabled = false;
  std::int32_t m_sizeX;     // 50 mm
  std::int32_t m_sizeY;     // 50 mm
  std::int32_t m_overlapX;  // 1 mm
  std::int32_t m_overlapY;  // 1 mm
};

// Layer thicknesses.
class TALSDK_MACHINES_EXPORT MCLSliceParameters : public ISAXPersist,
                                                  public TalSDK::MSaxPersistExtensibleObject {
 public:
  MCLSliceParameters() = default;
  MCLSliceParameters(const MCLSliceParameters&) = default;
  MCLSliceParameters& operator=(const MCLSliceParameters&) = default;
  ~MCLSliceParameters() override;

  // Both thicknesses; kept elements are not compared.
  bool operator==(const MCLSliceParameters& other) const;
  bool operator!=(const MCLSliceParameters& other) const { return !(*this == other); }

  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // Writes every element and always returns true.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  // Raw internal units, not scaled by the unit of the platform.
  std::int32_t m_thickness = 5000;
  std::int32_t m_thicknessFine = 1000;
};

// Whether and where the consumer of the set writes its trace.
class TALSDK_MACHINES_EXPORT MCLTracingParameters : public ISAXPersist,
                                                    public TalSDK::MSaxPersistExtensibleObject {
 public:
  MCLTracingParameters() = default;
  MCLTracingParameters(const MCLTracingParameters&) = default;
  MCLTracingParameters& operator=(const MCLTracingParameters&) = default;
  ~MCLTracingParameters() override;

  // The three values; kept elements are not compared.
  bool operator==(const MCLTracingParameters& other) const;
  bool operator!=(const MCLTracingParameters& other) const { return !(*this == other); }

  std::wstring GetTraceFileName() const { return m_traceFileName; }
  void SetTraceFileName(const std::wstring& name) { m_traceFileName = name; }
  bool GetEnabled() const { return m_enabled; }
  bool GetAddAllSlices() const { return m_addAllSlices; }
  void SetEnabled(bool enabled, bool addAllSlices) {
    m_enabled = enabled;
    m_addAllSlices = addAllSlices;
  }

  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // Every element; true when all were written.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::wstring m_traceFileName = L"C:/cl_parameters.log";
  bool m_enabled = true;
  bool m_addAllSlices = true;
};

// The build platform: identification, extent, powder dose, scan options, quadrants and the
// platform's own post-process set.
class TALSDK_MACHINES_EXPORT MCLPlatformParameters : public ISAXPersist,
                                                     public TalSDK::MSaxPersistExtensibleObject {
 public:
  MCLPlatformParameters() = default;
  MCLPlatformParameters(const MCLPlatformParameters&) = default;
  MCLPlatformParameters& operator=(const MCLPlatformParameters&) = default;
  ~MCLPlatformParameters() override;

  // Every field, the quadrant and post-process sets by their own comparison; kept elements
  // are not compared.
  bool operator==(const MCLPlatformParameters& other) const;
  bool operator!=(const MCLPlatformParameters& other) const { return !(*this == other); }

  std::wstring GetBuildID() const { return m_buildID; }
  void SetBuildID(const std::wstring& id) { m_buildID = id; }
  std::wstring GetMachineID() const { return m_machineID; }
  void SetMachineID(const std::wstring& id) { m_machineID = id; }
  // Axes 0 (X), 1 (Y), 2 (Z); not checked.
  int GetMin(int axis) const { return m_min[axis]; }
  int GetSize(int axis) const { return m_size[axis]; }
  int GetMax(int axis) const { return m_min[axis] + m_size[axis]; }
  int GetXSize() const { return m_size[0]; }
  int GetYSize() const { return m_size[1]; }
  // Sets the minimum in X and Y; Z keeps its value.
  void SetPosition(int x, int y) {
    m_min[0] = x;
    m_min[1] = y;
  }
  void SetSize(int x, int y, int z) {
    m_size[0] = x;
    m_size[1] = y;
    m_size[2] = z;
  }
  bool GetPreprocessSlices() const { return m_preprocessSlices; }
  void SetPreprocessSlices(bool preprocess) { m_preprocessSlices = preprocess; }
  bool GetScanOptimization() const { return m_scanOptimization; }
  void SetScanOptimization(bool optimize) { m_scanOptimization = optimize; }
  bool GetScanOptimizationSupport() const { return m_scanOptimizationSupport; }
  void SetScanOptimizationSupport(bool optimize) { m_scanOptimizationSupport = optimize; }
  MCLQuadrantParameters& GetQuadrantParameters() { return m_quadrant; }
  const MCLQuadrantParameters& GetQuadrantParameters() const { return m_quadrant; }
  MCLPostProcessParameters& GetPostProcessParameters() { return m_postProcess; }
  const MCLPostProcessParameters& GetPostProcessParameters() const { return m_postProcess; }

  bool HandleTag(const std::string& tagName, TalSAX::ISAXReader& reader) override;
  // The values stop at the first one that cannot be written; the post-process and quadrant
  // containers are written all the same. True when everything was written. The minimum is
  // not part of the file.
  bool Write(TalSAX::ISAXWriter& writer) const override;
  NodeList GetExtensibleObjectNodes() const override;
  void VisitFields(TalAM::FieldVisit& visit) const;

  std::wstring m_buildID;
  std::wstring m_machineID;
  std::int32_t m_min[3] = {0, 0, 0};
  std::int32_t m_size[3] = {0, 0, 0};
  double m_powderDoseFactor = 1.0;
  bool m_preprocessSlices = false;
  bool m_scanOptimization = false;
  bool m_scanOptimizationSupport = false;
  MCLQuadrantParameters m_quadrant;
  MCLPostProcessParameters m_postProcess;
};
