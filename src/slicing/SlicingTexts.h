#pragma once
// The texts of the slicing enumerations in machine files, declared once.

#include <array>

#include <TalSDK/slicing/OutputFormats.h>
#include <TalSDK/slicing/Slicer.h>

#include "persistence/Description.h"

namespace TalAM::Persistence {

template <>
inline constexpr auto EnumTexts<SliceFormat> = std::to_array<EnumText<SliceFormat>>({
    {SliceFormat::cli, "cli"},
    {SliceFormat::sli_3d, "sli_3d"},
    {SliceFormat::slc_3d, "slc_3d"},
    {SliceFormat::ssl, "ssl"},
    {SliceFormat::fs, "fs"},
    {SliceFormat::cli_float, "cli_float"},
    {SliceFormat::bitmap_export, "bitmap_export"},
    {SliceFormat::scdb_dp, "scdb_dp"},
    {SliceFormat::sli_eos, "sli_eos"},
    {SliceFormat::dxf_2d, "dxf_2d"},
    {SliceFormat::meiko_nc, "meiko_nc"},
    {SliceFormat::cmet, "cmet"},
    {SliceFormat::tarrow, "tarrow"},
    {SliceFormat::sli_by_rptools, "sli_by_rptools"},
    {SliceFormat::pellin, "pellin"},
});

template <>
inline constexpr auto EnumTexts<SmoothingType> =
    std::to_array<EnumText<SmoothingType>>({{SmoothingType::None, "None"},
                                            {SmoothingType::Normal, "Normal"},
                                            {SmoothingType::Heavy, "Heavy"}});

}  // namespace TalAM::Persistence
