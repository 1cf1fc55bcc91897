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
  empty.SetDefaults();
  EXPECT_TRUE(empty == MSAXMachineZCompensation());
}
