#pragma once
// The texts of the platform's enumerations in machine files, declared once for every block
// that uses them.

#include <array>

#include <TalSDK/platform/MachinePlatform.h>
#include <TalSDK/platform/PlatformTypes.h>

#include "persistence/Description.h"

namespace TalAM::Persistence {

template <>
inline constexpr auto EnumTexts<DirectionAxis> =
    std::to_array<EnumText<DirectionAxis>>({{DirectionAxis::X, "X"}, {DirectionAxis::Y, "Y"}});

template <>
inline constexpr auto EnumTexts<MSAXMachinePlatform::PlatformShape> =
    std::to_array<EnumText<MSAXMachinePlatform::PlatformShape>>(
        {{MSAXMachinePlatform::PlatformShape::Box, "Box"},
         {MSAXMachinePlatform::PlatformShape::Circle, "Circle"}});

template <>
inline constexpr auto EnumTexts<MSAXMachinePlatform::Direction> =
    std::to_array<EnumText<MSAXMachinePlatform::Direction>>(
        {{MSAXMachinePlatform::Direction::Positive, "Positive"},
         {MSAXMachinePlatform::Direction::Negative, "Negative"},
         {MSAXMachinePlatform::Direction::Double, "Double"}});

}  // namespace TalAM::Persistence
