#include <TalSDK/conceptlaser/CLTextDump.h>

namespace {

// Labels are narrow text, widened character by character by the stream.
template <class Value>
void Line(std::wostream& stream, const char* label, const Value& value) {
  stream << label << value << std::endl;
}

}  // namespace

std::wostream& operator<<(std::wostream& stream, const MCLBuildParameters& parameters) {
  stream << "Build params:\n";
  Line(stream, "\t\tPower:           \t", parameters.m_laserPower);
  Line(stream, "\t\tFocus:           \t", parameters.m_laserFocus);
  Line(stream, "\t\tSpeed:           \t", parameters.m_laserSpeed);
  Line(stream, "\t\tExposure:        \t", parameters.m_laserExposureTime);
  Line(stream, "\t\tOnDelay:         \t", parameters.m_laserOnDelay);
  Line(stream, "\t\tOffDelay:        \t", parameters.m_laserOffDelay);
  Line(stream, "\t\tMarkDelay:       \t", parameters.m_laserMarkDelay);
  Line(stream, "\t\tPolygonDelay:    \t", parameters.m_laserPolygonDelay);
  Line(stream, "\t\tJumpDelay:       \t", parameters.m_laserJumpDelay);
  Line(stream, "\t\tJumpDelayMin:    \t", parameters.m_laserJumpDelayMin);
  Line(stream, "\t\tJumpDelayMax:    \t", parameters.m_laserJumpDelayMax);
  return stream;
}

std::wostream& operator<<(std::wostream& stream, const MCLPostProcessParameters& parameters) {
  const MCLIslandParameters& island = parameters.m_island;
  const MCLHatchingParameters& hatching = parameters.m_hatching;
  Line(stream, "\t\tSkinWidth:                      ", parameters.m_skinWidth);
  Line(stream, "\t\tBeamCompensation:               ", parameters.m_beamCompensation);
  Line(stream, "\t\tInsideOffsets:                  ", parameters.m_insideOffsetCount);
  Line(stream, "\t\tInsideOffsetsInterval:          ", parameters.m_insideOffsetInterval);
  Line(stream, "\t\tOutsideOffsets:                 ", parameters.m_outsideOffsetCount);
  Line(stream, "\t\tOutsideOffsetsInterval:         ", parameters.m_outsideOffsetInterval);
  Line(stream, "\t\tIslandsEnabled:                 ", island.m_enabled);
  Line(stream, "\t\tIslandsXSize:                   ", island.m_sizeX);
  Line(stream, "\t\tIslandsYSize:                   ", island.m_sizeY);
  Line(stream, "\t\tIslandsOrientation:             ", island.m_orientation);
  Line(stream, "\t\tIslandsOrientationIncrement:    ", island.m_orientationIncrement);
  Line(stream, "\t\tHatchingEnabled:                ", hatching.m_enabled);
  Line(stream, "\t\tHatchingDistance:               ", hatching.m_distance);
  Line(stream, "\t\tHatchingOffset:                 ", hatching.m_offset);
  Line(stream, "\t\tHatchingRetract:                ", hatching.m_retract);
  Line(stream, "\t\tHatchingOrientation:            ", hatching.m_initialAngle);
  Line(stream, "\t\tHatchingOrientationIncrement:   ", hatching.m_turningAngle);
  return stream;
}
