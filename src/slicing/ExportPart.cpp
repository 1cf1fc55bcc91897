#include <TalSDK/slicing/ExportPart.h>

#include "persistence/Description.h"

namespace {

using namespace TalAM::Persistence;
using E = MSAXMachineExportPart;

// In the order of machine files: "LoadGenSupport" before "kestrumMerge", "kestrumParFile"
// before "kestrumNoBuildZones".
constexpr auto kFields = Describe<E>(
    Value("Stl", &E::m_stl), Value("Slice", &E::m_slice),
    Value("GenerateSupport", &E::m_generateSupport), Value("FileTemplate", &E::m_fileTemplate),
    Value("UseScaling", &E::m_useScaling), Value("ApplyZCompensation", &E::m_applyZCompensation),
    Value("SaveAsBrisko", &E::m_saveAsBrisko), Value("ScaleX", &E::m_scaleX),
    Value("ScaleY", &E::m_scaleY), Value("ScaleZ", &E::m_scaleZ),
    Value("ScaleRadius", &E::m_scaleRadius), Value("Zcp", &E::m_zcp),
    Value("GenSupportSelectedPart", &E::m_genSupportSelectedPart),
    Value("GenSupportOfNotsupported", &E::m_genSupportOfNotsupported),
    Value("LoadGenSupport", &E::m_loadGenSupport), Value("kestrumMerge", &E::m_kestrumMerge),
    Value("kestrumMergeWithOther", &E::m_kestrumMergeWithOther),
    Value("kestrumParFile", &E::m_kestrumParFile),
    Value("kestrumNoBuildZones", &E::m_kestrumNoBuildZones),
    Value("CheckCollisions", &E::m_checkCollisions),
    Value("CheckCollisionsWithClearance", &E::m_checkCollisionsWithClearance),
    Value("CollisionClearance", &E::m_collisionClearance),
    Value("CheckOutOfPlatform", &E::m_checkOutOfPlatform),
    Value("OnePlatformSupportTemplate", &E::m_onePlatformSupportTemplate));

}  // namespace

TALAM_DESCRIBED_BLOCK(MSAXMachineExportPart, kFields)
void MSAXMachineExportPart::SetDefaults() {
  kFields.SetDefaults(*this);
}
