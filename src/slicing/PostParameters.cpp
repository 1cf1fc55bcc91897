#include <TalSDK/slicing/PostParameters.h>

#include "persistence/Description.h"
#include "slicing/SlicingTexts.h"

namespace {

using namespace TalAM::Persistence;
using Style = MHatchStyle;
using Hatch = MHatchParameters;
using Skin = MSkinfillParameters;
using Merge = MMergeParameters;
using Post = MPostParameters;

constexpr auto kStyleFields = Describe<Style>(
    Value("Alternated", &Style::m_alternated), Value("Retracted", &Style::m_retracted),
    Value("RetractedValue", &Style::m_retractedValue), Value("Staggered", &Style::m_staggered));

constexpr auto kHatchFields = Describe<Hatch>(
    Value("EnableHatchings", &Hatch::m_enableHatchings),
    Value("LayerAlternated", &Hatch::m_layerAlternated), Value("XHatching", &Hatch::m_xHatching),
    Value("YHatching", &Hatch::m_yHatching), Value("Offset", &Hatch::m_offset),
    Value("Filter", &Hatch::m_filter), Child("Style", &Hatch::m_style));

constexpr auto kSkinFields = Describe<Skin>(
    Value("EnableSkinFill", &Skin::m_enableSkinFill), Value("NumberUp", &Skin::m_numberUp),
    Value("NumberDown", &Skin::m_numberDown), Value("HatchingUp", &Skin::m_hatchingUp),
    Value("HatchingDown", &Skin::m_hatchingDown), Value("Angle", &Skin::m_angle));

constexpr auto kMergeFields = Describe<Merge>(
    Value("Parts", &Merge::m_parts), Value("PartsName", &Merge::m_partsName),
    Value("Supports", &Merge::m_supports), Value("SupportsName", &Merge::m_supportsName),
    Value("FirstHatch", &Merge::m_firstHatch), Value("KeepOriginal", &Merge::m_keepOriginal));

// The two switches stand between the hatch and the skin-fill containers in machine files.
constexpr auto kPostFields =
    Describe<Post>(Child("HatchParameters", &Post::m_hatchParameters),
                   Value("EnablePostProcessing", &Post::m_enablePostProcessing),
                   Value("BordersFirst", &Post::m_bordersFirst),
                   Child("SkinFillParameters", &Post::m_skinFillParameters),
                   Child("MergeParameters", &Post::m_mergeParameters),
                   Child("FormatParameters", &Post::m_formatParameters),
                   Child("BitmapExportParameters", &Post::m_bitmapExportParameters),
                   Child("SCDBExportParameters", &Post::m_scdbExportParameters));

}  // namespace

TALAM_DESCRIBED_BLOCK(MHatchStyle, kStyleFields)
void MHatchStyle::SetDefaults() {
  kStyleFields.SetDefaults(*this);
}

TALAM_DESCRIBED_BLOCK(MHatchParameters, kHatchFields)
void MHatchParameters::SetDefaults() {
  kHatchFields.SetDefaults(*this);
}
MHatchParameters::NodeList MHatchParameters::GetExtensibleObjectNodes() const {
  return kHatchFields.Nodes(*this);
}

TALAM_DESCRIBED_BLOCK(MSkinfillParameters, kSkinFields)
void MSkinfillParameters::SetDefaults() {
  kSkinFields.SetDefaults(*this);
}

TALAM_DESCRIBED_BLOCK(MMergeParameters, kMergeFields)
void MMergeParameters::SetDefaults() {
  kMergeFields.SetDefaults(*this);
}

TALAM_DESCRIBED_BLOCK(MPostParameters, kPostFields)
void MPostParameters::SetDefaults() {
  kPostFields.SetDefaults(*this);
}
MPostParameters::NodeList MPostParameters::GetExtensibleObjectNodes() const {
  return kPostFields.Nodes(*this);
}
