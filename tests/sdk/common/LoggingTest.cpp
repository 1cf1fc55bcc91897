#include <TalSDK/sdk/common/Logging.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/TestSupport.h"

namespace {

using namespace TalSDK::Common::Logging;

TEST(LoggingTest, SetLoggerRoutesMessagesAndNullRestoresTheStderrLogger) {
  auto capture = std::make_shared<TestSupport::CapturedLog>();
  const std::shared_ptr<ILogger> original = SetLogger(capture);
  GetLogger().LogMessage("f\xC3\xBCnf");
  EXPECT_EQ(capture->messages, std::vector<std::string>{"f\xC3\xBCnf"});

  EXPECT_EQ(SetLogger(nullptr), capture);
  EXPECT_EQ(&GetLogger(), original.get());
  ::testing::internal::CaptureStderr();
  GetLogger().LogMessage("first");
  GetLogger().LogMessage("second");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "first\nsecond\n");
  SetLogger(original);
}

}  // namespace
