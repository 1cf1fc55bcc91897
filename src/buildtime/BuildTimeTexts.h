#pragma once
// The texts of the build-time enumerations in machine files, declared once.

#include <array>

#include <TalSDK/buildtime/BuildTimeCalculation.h>
#include <TalSDK/buildtime/BuildtimePlatform.h>

#include "persistence/Description.h"

namespace TalAM::Persistence {

template <>
inline constexpr auto EnumTexts<BuildTimeEstimationType> =
    std::to_array<EnumText<BuildTimeEstimationType>>(
        {{BuildTimeEstimationType::SlaParameters, "SlaParameters"},
         {BuildTimeEstimationType::DrawingSpeed, "DrawingSpeed"},
         {BuildTimeEstimationType::SelfLearning, "SelfLearning"},
         {BuildTimeEstimationType::None, "None"}});

// The dependencies a cost fragment can name in a file; XMin, YMin, the measured time, the
// errors and the laser power have no text.
template <>
inline constexpr auto EnumTexts<MBuildtimeEstimatorParameter> =
    std::to_array<EnumText<MBuildtimeEstimatorParameter>>({
        {MBuildtimeEstimatorParameter::FixedTime, "FixedTime"},
        {MBuildtimeEstimatorParameter::Volume, "Volume"},
        {MBuildtimeEstimatorParameter::SupportVolume, "SupportVolume"},
        {MBuildtimeEstimatorParameter::SurfaceArea, "Surface"},
        {MBuildtimeEstimatorParameter::ZProjSurface, "MantleSurface"},
        {MBuildtimeEstimatorParameter::XYProjSurface, "XYSurface"},
        {MBuildtimeEstimatorParameter::DeltaX, "DeltaX"},
        {MBuildtimeEstimatorParameter::DeltaY, "DeltaY"},
        {MBuildtimeEstimatorParameter::DeltaZ, "DeltaZ"},
        {MBuildtimeEstimatorParameter::ZMin, "ZMinimum"},
        {MBuildtimeEstimatorParameter::NumberOfStls, "NumberOfStls"},
        {MBuildtimeEstimatorParameter::VolumeBoundingBox, "VolumeOFBoundingBox"},
        {MBuildtimeEstimatorParameter::EstimatedBuildTime, "EstimatedBuildTime"},
    });

}  // namespace TalAM::Persistence
