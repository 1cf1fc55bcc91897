#pragma once
// The content of a machine file's "Machine" element, described once for the machine's reader,
// writer, comparison and visitor.

#include <TalSDK/machine/MachineParameters.h>
#include <TalSDK/sdk/support/SupportGlobal.h>

#include "persistence/Description.h"
#include "platform/PlatformTexts.h"

namespace TalAM::Persistence {

template <>
inline constexpr auto EnumTexts<MachineUnit> =
    std::to_array<EnumText<MachineUnit>>({{eMillimetre, "Mm"}, {eInch, "Inch"}});

// Support settings are kept as the file has them: each one is shown with its own text.
void VisitSupportSettings(const TalSDK::SupportGeneration::MSupportGlobal& support,
                          FieldVisit& visit);

}  // namespace TalAM::Persistence

namespace TalAM {

struct MachineParametersDescription {
  using M = MachineParameters;
  using SupportReader = TalSDK::SupportGeneration::MSaxSupportGlobal;

  static void VisitQualityPartsProfiles(const std::list<MMachineQualityParts>& profiles,
                                        FieldVisit& visit) {
    std::size_t index = 0;
    for (const MMachineQualityParts& parts : profiles) {
      visit.Enter(Persistence::Detail::ItemTag("QualityParts", index++), FieldKind::Item);
      parts.VisitFields(visit);
      visit.Leave();
    }
  }

  // In the order of the file. "Name" inside "Material" is the material's, anywhere else the
  // machine's. Any unit but millimetres is written as inches, the only other text readers
  // accept. "ZCompensation" repeats the Z compensation block's value at the top level; an
  // unreadable one is ignored, kept for compatibility with existing machine files, and the
  // block compares it. "SupportProfilesVector" starts a new list; a "SupportProfile" outside it
  // is not a profile.
  static constexpr auto kFields = Persistence::Describe<M>(
      Persistence::Value("Name", &M::m_name), Persistence::Value("Comments", &M::m_comments),
      Persistence::Group<M>("Material", Persistence::Value("Name", &M::m_materialName)),
      Persistence::Enum("Unit", &M::m_unit, Persistence::UnknownText::Refused,
                        Persistence::ValueWithoutText::WritesFallback, eInch),
      Persistence::Value<M>("ZCompensation",
                            Persistence::InMember(&M::m_zCompensationParameters,
                                                  &MSAXMachineZCompensation::m_zCompensationValue))
          .ReadResultIgnored()
          .NotCompared(),
      Persistence::Child("Platform", &M::m_platform), Persistence::Child("Slicer", &M::m_slicer),
      Persistence::Child("PostProcessing", &M::m_postProcessing),
      Persistence::ModelList<SupportReader, SupportReader>(
          "SupportProfilesVector", &M::m_supportProfiles,
          {.itemTag = "SupportProfile", .wrapperClears = true}, Persistence::VisitSupportSettings),
      Persistence::ChildModel<SupportReader, SupportReader>("Support", &M::m_support,
                                                            Persistence::VisitSupportSettings),
      Persistence::Child("ExportPart", &M::m_exportPart),
      Persistence::Child("CostFragments", &M::m_costFragments),
      Persistence::Child("BuildTimeCalculation", &M::m_buildTimeCalculation),
      Persistence::Child("Nesting", &M::m_nesting),
      Persistence::Child("ZCompensationParameters", &M::m_zCompensationParameters),
      Persistence::Child("LockedAreas", &M::m_lockedAreas),
      Persistence::ChildModel<MSAXQualityPartsHelper, MSAXQualityPartsWriter>("QualityParts",
                                                                              &M::m_qualityParts),
      Persistence::ChildModel<MSAXQualityPartsProfilesHelper, MSAXQualityPartsProfilesWriter>(
          "QualityPartsProfiles", &M::m_qualityPartsProfiles, VisitQualityPartsProfiles),
      Persistence::ChildModel<MSaxKestrumSupportParametersReaderHelper,
                              MSaxKestrumSupportParametersWriter>("KestrumSupport",
                                                                  &M::m_kestrumSupport),
      Persistence::ChildModel<MSaxBaseplateParametersReaderHelper, MSaxBaseplateParametersWriter>(
          "BaseplateParameters", &M::m_baseplateParameters));
};

}  // namespace TalAM
