#include <TalSDK/Version.h>

#include <gtest/gtest.h>

#include <string>

// The version header is the one source of the version: its string, its three numbers and the
// version the build read from it (TALSDK_VERSION, the project version) must all agree.
TEST(Version, HeaderStringNumbersAndBuildAgree) {
  const std::string numbers = std::to_string(TALSDK_MACHINES_VERSION_MAJOR) + "." +
                              std::to_string(TALSDK_MACHINES_VERSION_MINOR) + "." +
                              std::to_string(TALSDK_MACHINES_VERSION_PATCH);
  EXPECT_EQ(numbers, TALSDK_MACHINES_VERSION_STRING);
  EXPECT_EQ(numbers, TALSDK_VERSION);
}
