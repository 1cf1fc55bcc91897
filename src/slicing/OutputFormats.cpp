#include <TalSDK/slicing/OutputFormats.h>

#include "persistence/Description.h"
#include "slicing/SlicingTexts.h"

namespace {

using namespace TalAM::Persistence;
using F = MFormatParameters;
using B = MBitmapExportParameters;
using S = Sony::SCDBExportParameters;

// A format without a text fails before anything is written.
constexpr auto kFormatFields = Describe<F>(Enum("Format", &F::m_format, UnknownText::Refused,
                                                ValueWithoutText::FailsWrite, SliceFormat::cli),
                                           Value("Units", &F::m_units));

// Written in the order the application reads them, not in member order.
constexpr auto kBitmapFields = Describe<B>(
    Value("Columns", &B::m_columns), Value("Rows", &B::m_rows), Value("Overlap", &B::m_overlap),
    Value("BitmapX", &B::m_bitmapX), Value("BitmapY", &B::m_bitmapY), Value("Dpi", &B::m_dpi),
    Value("MicronPerPixel", &B::m_micronPerPixel), Value("BoundingBox", &B::m_boundingBox),
    Value("Empty", &B::m_empty));

// "InternalMinWidth" is written last, unlike its place among the members.
constexpr auto kScdbFields = Describe<S>(
    Value("SolidwareExt", &S::m_solidwareExt), Value("OutlineCount", &S::m_outlineCount),
    Value("OutlineOffset1", &S::m_outlineOffset1), Value("OutlineOffset2", &S::m_outlineOffset2),
    Value("InternalOffset", &S::m_internalOffset), Value("SurfaceOffset", &S::m_surfaceOffset),
    Value("SurfaceBoundaryOffset", &S::m_surfaceBoundaryOffset),
    Value("DetectSurface", &S::m_detectSurface), Value("FilteringOffset", &S::m_filteringOffset),
    Value("SurfaceMinThickness", &S::m_surfaceMinThickness),
    Value("SurfaceMinWidth", &S::m_surfaceMinWidth), Value("SurfaceMinArea", &S::m_surfaceMinArea),
    Value("FilteringX", &S::m_filteringX), Value("InternalMinWidth", &S::m_internalMinWidth));

}  // namespace

TALAM_DESCRIBED_BLOCK(MFormatParameters, kFormatFields)
void MFormatParameters::SetDefaults() {
  kFormatFields.SetDefaults(*this);
}

TALAM_DESCRIBED_BLOCK(MBitmapExportParameters, kBitmapFields)
void MBitmapExportParameters::SetDefaults() {
  kBitmapFields.SetDefaults(*this);
}

namespace Sony {

TALAM_DESCRIBED_BLOCK(SCDBExportParameters, kScdbFields)
void SCDBExportParameters::SetDefaults() {
  kScdbFields.SetDefaults(*this);
}

}  // namespace Sony
