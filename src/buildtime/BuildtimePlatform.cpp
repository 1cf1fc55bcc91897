#include <TalSDK/buildtime/BuildtimePlatform.h>

namespace {

using P = MBuildtimeEstimatorParameter;

constexpr unsigned int Index(P parameter) {
  return static_cast<unsigned int>(parameter);
}

}  // namespace

double MBuildtimePlatform::GetParameter(unsigned int parameter, bool perLaserPower) const {
  if (parameter >= kParameterCount) return 0.0;
  const double value = m_parameters[parameter];
  return perLaserPower ? value / GetLaserPower() : value;
}

void MBuildtimePlatform::SetParameter(unsigned int parameter, double value) {
  if (parameter < kParameterCount) m_parameters[parameter] = value;
}

double MBuildtimePlatform::GetLaserPower() const {
  return m_parameters[Index(P::LaserPower)];
}
void MBuildtimePlatform::SetLaserPower(double power) {
  m_parameters[Index(P::LaserPower)] = power;
}
double MBuildtimePlatform::GetTime() const {
  return m_parameters[Index(P::MeasuredBuildTime)];
}
void MBuildtimePlatform::SetTime(double time) {
  m_parameters[Index(P::MeasuredBuildTime)] = time;
}

// Display texts of the application, kept as they are ("Bouding" included).
const wchar_t* MBuildtimePlatform::GetParameterName(unsigned int parameter) {
  static const wchar_t* const kNames[] = {L"Fixed time",
                                          L"Volume",
                                          L"Support Volume",
                                          L"Surface Area",
                                          L"Z Proj. Surface",
                                          L"XY Proj. Surface",
                                          L"Delta X",
                                          L"Delta Y",
                                          L"Delta Z",
                                          L"XMin",
                                          L"YMin",
                                          L"ZMin",
                                          L"Number of Stls",
                                          L"Volume Bouding Box",
                                          L"Measured Build Time",
                                          L"Estimated Build Time",
                                          L"Absolute Error",
                                          L"Relative Error",
                                          L"Laser Power"};
  return parameter < std::size(kNames) ? kNames[parameter] : L"No Parameter";
}

void ConvertPlatform(const PLATEAU_DATA& from, MBuildtimePlatform& to) {
  to.SetName(from.m_filename.c_str());
  to.SetParameter(Index(P::FixedTime), 1.0);
  to.SetParameter(Index(P::Volume), from.m_volume);
  to.SetParameter(Index(P::SupportVolume), from.m_supportVolume);
  // The record's "DeltaZ" carries the surface area and its "Height" the extent in Z.
  to.SetParameter(Index(P::SurfaceArea), from.m_deltaZ);
  to.SetParameter(Index(P::ZProjSurface), from.m_mantleSurface);
  to.SetParameter(Index(P::XYProjSurface), from.m_xySurface);
  to.SetParameter(Index(P::DeltaX), from.m_deltaX);
  to.SetParameter(Index(P::DeltaY), from.m_deltaY);
  to.SetParameter(Index(P::DeltaZ), from.m_height);
  to.SetParameter(Index(P::XMin), from.m_xMinimum);
  to.SetParameter(Index(P::YMin), from.m_yMinimum);
  to.SetParameter(Index(P::ZMin), from.m_zMinimum);
  to.SetParameter(Index(P::NumberOfStls), from.m_numberOfStls);
  to.SetParameter(Index(P::VolumeBoundingBox), from.m_deltaX * from.m_height * from.m_deltaY);
  to.SetParameter(Index(P::MeasuredBuildTime), from.m_realTime);
  to.SetParameter(Index(P::EstimatedBuildTime), from.m_estimatedTime);
  to.SetParameter(Index(P::AbsoluteError), from.m_absoluteError);
  to.SetParameter(Index(P::RelativeError), from.m_relativeError);
  to.SetParameter(Index(P::LaserPower), from.m_laserPower);
}

void ConvertPlatform(const MBuildtimePlatform& from, PLATEAU_DATA& to) {
  const auto get = [&from](P parameter) { return from.GetParameter(Index(parameter), false); };
  to.m_filename = from.GetName();
  to.m_volume = get(P::Volume);
  to.m_supportVolume = get(P::SupportVolume);
  to.m_mantleSurface = get(P::ZProjSurface);
  to.m_xySurface = get(P::XYProjSurface);
  to.m_deltaZ = get(P::SurfaceArea);
  to.m_numberOfStls = get(P::NumberOfStls);
  to.m_height = get(P::DeltaZ);
  to.m_deltaX = get(P::DeltaX);
  to.m_deltaY = get(P::DeltaY);
  to.m_xMinimum = get(P::XMin);
  to.m_yMinimum = get(P::YMin);
  to.m_zMinimum = get(P::ZMin);
  to.m_estimatedTime = get(P::EstimatedBuildTime);
  to.m_absoluteError = get(P::AbsoluteError);
  to.m_relativeError = get(P::RelativeError);
  to.m_laserPower = get(P::LaserPower);
  to.m_realTime = get(P::MeasuredBuildTime);
}
