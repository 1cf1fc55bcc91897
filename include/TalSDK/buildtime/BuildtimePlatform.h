#pragma once
// The measured quantities of one build platform (one build job), indexed by
// MBuildtimeEstimatorParameter, with the platform's name; and the conversions to and from the
// reference builds of the self-learning estimator. Not persisted itself.

#include <cstdint>
#include <string>

#include <TalSDK/MachinesExport.h>
#include <TalSDK/buildtime/BuildTimeCalculation.h>

// The quantities of a build. The same values index MBuildtimePlatform's parameters.
enum class MBuildtimeEstimatorParameter : std::int32_t {
  FixedTime = 0,
  Volume = 1,
  SupportVolume = 2,
  SurfaceArea = 3,
  ZProjSurface = 4,
  XYProjSurface = 5,
  DeltaX = 6,
  DeltaY = 7,
  DeltaZ = 8,
  XMin = 9,
  YMin = 10,
  ZMin = 11,
  NumberOfStls = 12,
  VolumeBoundingBox = 13,
  MeasuredBuildTime = 14,
  EstimatedBuildTime = 15,
  AbsoluteError = 16,
  RelativeError = 17,
  LaserPower = 18,
  NoParameter = 19,
};

class TALSDK_MACHINES_EXPORT MBuildtimePlatform {
 public:
  static constexpr unsigned int kParameterCount = 20;

  // Every parameter 0.0, the name empty.
  MBuildtimePlatform() = default;

  // The value of `parameter`; with `perLaserPower`, divided by the laser power (no guard
  // against a zero power). A parameter past the last reads as 0.0.
  double GetParameter(unsigned int parameter, bool perLaserPower) const;
  // A parameter past the last is ignored.
  void SetParameter(unsigned int parameter, double value);
  double GetLaserPower() const;  // parameter 18
  void SetLaserPower(double power);
  double GetTime() const;  // parameter 14, the measured build time
  void SetTime(double time);
  const wchar_t* GetName() const { return m_name.c_str(); }
  // A null name is the empty name.
  void SetName(const wchar_t* name) { m_name = name != nullptr ? name : L""; }

  // The display name of a parameter ("Volume Bouding Box", spelled so); "No Parameter" for 19
  // and above.
  static const wchar_t* GetParameterName(unsigned int parameter);

 private:
  double m_parameters[kParameterCount] = {};
  std::wstring m_name;
};

// A reference build as platform quantities: the record's "DeltaZ" field carries the surface
// area (parameter 3) and its "Height" the extent in Z (parameter 8), in both directions; fixed
// time is 1.0 and the bounding-box volume DeltaX × Height × DeltaY. Parameter 19 is left as it
// was.
TALSDK_MACHINES_EXPORT void ConvertPlatform(const PLATEAU_DATA& from, MBuildtimePlatform& to);
// The inverse for the stored fields; parameters 0, 13 and 19 are not stored, and the record's
// "AddingDate" and "Author" stay as they were.
TALSDK_MACHINES_EXPORT void ConvertPlatform(const MBuildtimePlatform& from, PLATEAU_DATA& to);
