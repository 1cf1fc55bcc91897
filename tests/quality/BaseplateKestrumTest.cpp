#include <TalSDK/quality/BaseplateParameters.h>
#include <TalSDK/quality/KestrumSupportParameters.h>

#include <gtest/gtest.h>

#include <string>

#include "support/TestSupport.h"

namespace {

using Mode = TalSDK::MSaxPersistExtensibleObject;

// Reads `content` through the model's reader helper, as the machine file does; the refused paths.
template <class Reader, class Model>
std::string Read(const std::string& content, Model& model) {
  Reader reader(model);
  return TestSupport::Listed(TestSupport::ReadBlock("<B>" + content + "</B>", reader));
}

// Any method text but "BoundingBox" reads as Contour; any value but 1 writes as "Contour".
TEST(BaseplateKestrumTest, MethodIsLenientBothWays) {
  for (const auto& [text, method] : {std::pair{"BoundingBox", BaseplateMethod::BoundingBox},
                                     std::pair{"boundingbox", BaseplateMethod::Contour},
                                     std::pair{"Circle", BaseplateMethod::Contour}}) {
    MBaseplateParameters plate;
    plate.m_method = BaseplateMethod::BoundingBox;
    EXPECT_EQ(Read<MSaxBaseplateParametersReaderHelper>(
                  std::string("<Method>") + text + "</Method>", plate),
              "");
    EXPECT_EQ(plate.m_method, method) << text;
  }
  MBaseplateParameters odd;
  odd.m_method = static_cast<BaseplateMethod>(5);
  EXPECT_NE(TestSupport::WriteBlock("B", MSaxBaseplateParametersWriter(odd))
                .find("<Method>Contour</Method>"),
            std::string::npos);
}

// "KestrumMerge" with a capital is not the lower-case tag: it is kept and changes nothing. The
// readers' reset keeps the operating mode and drops the kept elements.
TEST(BaseplateKestrumTest, TagsAreExactAndTheResetDropsKeptElements) {
  MKestrumSupportParameters kestrum;
  EXPECT_EQ(Read<MSaxKestrumSupportParametersReaderHelper>(
                "<KestrumMerge>true</KestrumMerge><LayerThickness>x</LayerThickness>"
                "<UseRealNoBuildZones>true</UseRealNoBuildZones>",
                kestrum),
            "B/LayerThickness ");
  EXPECT_FALSE(kestrum.m_kestrumMerge);
  EXPECT_TRUE(kestrum.m_useRealNoBuildZones);
  EXPECT_EQ(kestrum.m_layerThickness, 500);
  ASSERT_EQ(kestrum.GetUnhandledElements().size(), 1u);

  kestrum.SetOperatingMode(Mode::eIgnoreUnhandledElements);
  MSaxKestrumSupportParametersReaderHelper(kestrum).SetDefaults();
  EXPECT_EQ(kestrum, MKestrumSupportParameters());
  EXPECT_EQ(kestrum.GetOperatingMode(), Mode::eIgnoreUnhandledElements);
  MBaseplateParameters plate;
  plate.m_thickness = 1;
  plate.AddUnhandledElement(TalSDK::MSaxUnhandledElement("Future"));
  MSaxBaseplateParametersReaderHelper(plate).SetDefaults();
  EXPECT_EQ(plate, MBaseplateParameters());
}

}  // namespace
