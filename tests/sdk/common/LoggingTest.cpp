#include <TalSDK/sdk/common/Logging.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace TalSDK::Common::Logging;

class CaptureLogger : public ILogger {
 public:
  void LogMessage(std::string_view utf8Message) override { messages.emplace_back(utf8Message); }
  std::vector<std::string> messages;
};

TEST(LoggingTest, SetLoggerRoutesMessagesAndNullRestoresTheStderrLogger) {
  auto capture = std::make_shared<CaptureLogger>();
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
