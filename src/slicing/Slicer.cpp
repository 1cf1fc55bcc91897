#include <TalSDK/slicing/Slicer.h>

#include "persistence/Description.h"
#include "slicing/SlicingTexts.h"

namespace {

using namespace TalAM::Persistence;
using Fix = MFixParameters;
using Slice = MSliceParameters;
using Visualization = MSliceVisualizationParameters;

// A smoothing value without a text fails after the four numbers.
constexpr auto kFixFields = Describe<Fix>(
    Value("MaximumGapFill", &Fix::m_maximumGapFill), Value("Iterations", &Fix::m_iterations),
    Value("MinimumLengthOpenContour", &Fix::m_minimumLengthOpenContour),
    Value("MinimumLengthClosedContour", &Fix::m_minimumLengthClosedContour),
    Enum("Smoothing", &Fix::m_smoothing, UnknownText::Refused, ValueWithoutText::FailsWrite,
         SmoothingType::None));

constexpr auto kSliceFields = Describe<Slice>(
    Value("Thickness", &Slice::m_thickness), Value("ToolCompensation", &Slice::m_toolCompensation));

constexpr auto kVisualizationFields =
    Describe<Visualization>(Value("SliceLocation", &Visualization::m_sliceLocation));

constexpr auto kSlicerFields = Describe<MSlicer>(
    Child("FixParameters", &MSlicer::m_fixParameters),
    Child("FormatParameters", &MSlicer::m_formatParameters),
    Child("SliceParameters", &MSlicer::m_sliceParameters),
    Child("SliceVisualizationParameters", &MSlicer::m_sliceVisualizationParameters));

}  // namespace

TALAM_DESCRIBED_BLOCK(MFixParameters, kFixFields)
void MFixParameters::SetDefaults() {
  kFixFields.SetDefaults(*this);
}

TALAM_DESCRIBED_BLOCK(MSliceParameters, kSliceFields)
void MSliceParameters::SetDefaults() {
  kSliceFields.SetDefaults(*this);
}

TALAM_DESCRIBED_BLOCK(MSliceVisualizationParameters, kVisualizationFields)
void MSliceVisualizationParameters::SetDefaults() {
  kVisualizationFields.SetDefaults(*this);
}

TALAM_DESCRIBED_BLOCK(MSlicer, kSlicerFields)
MSlicer::NodeList MSlicer::GetExtensibleObjectNodes() const {
  return kSlicerFields.Nodes(*this);
}
