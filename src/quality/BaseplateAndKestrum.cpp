#include <TalSDK/quality/BaseplateParameters.h>
#include <TalSDK/quality/KestrumSupportParameters.h>

#include "persistence/Description.h"

namespace TalAM::Persistence {

template <>
inline constexpr auto EnumTexts<BaseplateMethod> = std::to_array<EnumText<BaseplateMethod>>(
    {{BaseplateMethod::Contour, "Contour"}, {BaseplateMethod::BoundingBox, "BoundingBox"}});

}  // namespace TalAM::Persistence

namespace {

using namespace TalAM::Persistence;
using B = MBaseplateParameters;
using K = MKestrumSupportParameters;

// "Method": any text but "BoundingBox" reads as Contour, any value but 1 writes as "Contour".
constexpr auto kBaseplateFields = Describe<B>(
    Value("Enabled", &B::m_enabled),
    Enum("Method", &B::m_method, UnknownText::AsFallback, ValueWithoutText::WritesFallback,
         BaseplateMethod::Contour),
    Value("Thickness", &B::m_thickness), Value("Offset", &B::m_offset),
    Value("LiftEdgesEnabled", &B::m_liftEdgesEnabled), Value("LiftHeight", &B::m_liftHeight),
    Value("PerforationsEnabled", &B::m_perforationsEnabled),
    Value("PerforationsSize", &B::m_perforationsSize),
    Value("PerforationsSpacing", &B::m_perforationsSpacing));

constexpr auto kKestrumFields =
    Describe<K>(Value("ParametersFilePath", &K::m_parametersFilePath),
                Value("UseNoBuildZones", &K::m_useNoBuildZones),
                Value("UseLayerThickness", &K::m_useLayerThickness),
                Value("LayerThickness", &K::m_layerThickness),
                Value("UseRealNoBuildZones", &K::m_useRealNoBuildZones),
                Value("kestrumMerge", &K::m_kestrumMerge),
                Value("OnePlatformSupportTemplate", &K::m_onePlatformSupportTemplate),
                Value("UseBuildEnvelope", &K::m_useBuildEnvelope),
                Value("IgnoreKestrumBaseplate", &K::m_ignoreKestrumBaseplate));

}  // namespace

bool MBaseplateParameters::operator==(const MBaseplateParameters& other) const {
  return kBaseplateFields.Equal(*this, other);
}
void MBaseplateParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kBaseplateFields.Visit(*this, visit);
}

MSaxBaseplateParametersReaderHelper::MSaxBaseplateParametersReaderHelper(
    MBaseplateParameters& parameters)
    : m_parameters(parameters) {}
bool MSaxBaseplateParametersReaderHelper::HandleTag(const std::string& tagName,
                                                    TalSAX::ISAXReader& reader) {
  return kBaseplateFields.HandleTag(tagName, m_parameters, reader);
}
void MSaxBaseplateParametersReaderHelper::SetDefaults() {
  m_parameters.ClearUnhandledElements();
  kBaseplateFields.SetDefaults(m_parameters);
}

MSaxBaseplateParametersWriter::MSaxBaseplateParametersWriter(const MBaseplateParameters& parameters)
    : m_parameters(parameters) {}
bool MSaxBaseplateParametersWriter::Write(TalSAX::ISAXWriter& writer) const {
  return kBaseplateFields.Write(m_parameters, writer);
}

bool MKestrumSupportParameters::operator==(const MKestrumSupportParameters& other) const {
  return kKestrumFields.Equal(*this, other);
}
void MKestrumSupportParameters::VisitFields(TalAM::FieldVisit& visit) const {
  kKestrumFields.Visit(*this, visit);
}

MSaxKestrumSupportParametersReaderHelper::MSaxKestrumSupportParametersReaderHelper(
    MKestrumSupportParameters& parameters)
    : m_parameters(parameters) {}
bool MSaxKestrumSupportParametersReaderHelper::HandleTag(const std::string& tagName,
                                                         TalSAX::ISAXReader& reader) {
  return kKestrumFields.HandleTag(tagName, m_parameters, reader);
}
void MSaxKestrumSupportParametersReaderHelper::SetDefaults() {
  m_parameters.ClearUnhandledElements();
  kKestrumFields.SetDefaults(m_parameters);
}

MSaxKestrumSupportParametersWriter::MSaxKestrumSupportParametersWriter(
    const MKestrumSupportParameters& parameters)
    : m_parameters(parameters) {}
bool MSaxKestrumSupportParametersWriter::Write(TalSAX::ISAXWriter& writer) const {
  return kKestrumFields.Write(m_parameters, writer);
}
