#include <TalSDK/platform/MachineZCompensation.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include <TalSDK/sdk/sax/SAXReader.h>
#include <TalSDK/sdk/sax/SAXWriter.h>
#include "support/TestSupport.h"

using ::testing::ElementsAre;

namespace {

std::string Written(const MSAXMachineZCompensation& z) {
  return TestSupport::WriteBlock("ZCompensationParameters", z);
}

MSAXMachineZCompensation Read(const std::string& content) {
  MSAXMachineZCompensation z;
  TestSupport::ReadBlock("<ZCompensationParameters>" + content + "</ZCompensationParameters>", z);
  return z;
}

}  // namespace

TEST(MachineZCompensationTest, DefaultObjectIsWrittenInFileOrder) {
  EXPECT_EQ(Written(MSAXMachineZCompensation()),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<ZCompensationParameters>\n"
            "  <ZCompensationValue>1000</ZCompensationValue>\n"
            "  <PreserveThin>10</PreserveThin>\n"
            "  <PreserveSmallFeatures>false</PreserveSmallFeatures>\n"
            "  <RemoveSelfIteractions>false</RemoveSelfIteractions>\n"
            "  <ZCompType>0</ZCompType>\n"
            "  <SaveZCompToPartName>true</SaveZCompToPartName>\n"
            "  <UseAngleBasedFactor>false</UseAngleBasedFactor>\n"
            "  <FilterSharpTriangles>true</FilterSharpTriangles>\n"
            "  <AngleFactorArray>\n"
            "    <AngleFactor>1000</AngleFactor>\n"
            "    <AngleFactor>740</AngleFactor>\n"
            "    <AngleFactor>500</AngleFactor>\n"
            "    <AngleFactor>293</AngleFactor>\n"
            "    <AngleFactor>134</AngleFactor>\n"
            "    <AngleFactor>34</AngleFactor>\n"
            "    <AngleFactor>0</AngleFactor>\n"
            "  </AngleFactorArray>\n"
            "</ZCompensationParameters>\n");
}

TEST(MachineZCompensationTest, AngleFactorTable) {
  // No container keeps the defaults; a container replaces them; an empty one empties them.
  EXPECT_EQ(Read("<PreserveThin>3</PreserveThin>").m_angleFactors.size(), 7u);
  EXPECT_THAT(Read("<AngleFactorArray><AngleFactor>5</AngleFactor><AngleFactor>-6</AngleFactor>"
                   "</AngleFactorArray>")
                  .m_angleFactors,
              ElementsAre(5, -6));
  // Factors outside a container are appended; an unreadable one is refused and not appended.
  EXPECT_THAT(Read("<AngleFactorArray/><AngleFactor>1</AngleFactor><AngleFactor>x</AngleFactor>"
                   "<AngleFactor>2</AngleFactor>")
                  .m_angleFactors,
              ElementsAre(1, 2));

  MSAXMachineZCompensation empty;
  empty.m_angleFactors.clear();
  EXPECT_THAT(Written(empty), ::testing::Not(::testing::HasSubstr("AngleFactorArray")));
  EXPECT_TRUE(Read("<AngleFactorArray/>") == empty);
}

TEST(MachineZCompensationTest, EqualityRoundTripAndDefaults) {
  MSAXMachineZCompensation z;
  z.m_zCompensationValue = -7;
  z.m_preserveSmallFeatures = true;
  z.m_angleFactors = {3, 2, 1};
  MSAXMachineZCompensation read;
  EXPECT_TRUE(TestSupport::ReadBlock(Written(z), read).empty());
  EXPECT_TRUE(read == z);
  read.m_angleFactors.back() = 0;
  EXPECT_TRUE(read != z);

  z.SetOperatingMode(TalSDK::MSaxPersistExtensibleObject::eIgnoreUnhandledElements);
  z.SetDefaults();
  EXPECT_TRUE(z == MSAXMachineZCompensation());
  EXPECT_EQ(z.GetOperatingMode(), TalSDK::MSaxPersistExtensibleObject::eIgnoreUnhandledElements);
}
