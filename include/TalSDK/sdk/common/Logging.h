#pragma once
// The process logger. Library code reports through GetLogger(); the application (or a test)
// installs its own logger with SetLogger to route or capture the messages.

#include <memory>
#include <string_view>

#include <TalSDK/SDKExport.h>

namespace TalSDK::Common::Logging {

class TALSDK_SDK_EXPORT ILogger {
 public:
  virtual ~ILogger();
  // Receives one message as UTF-8 text, without a trailing line feed.
  virtual void LogMessage(std::string_view utf8Message) = 0;
};

// The logger in force; by default one that writes each message as a line to stderr.
TALSDK_SDK_EXPORT ILogger& GetLogger();

// Replaces the logger and returns the previous one. Passing null restores the stderr logger.
TALSDK_SDK_EXPORT std::shared_ptr<ILogger> SetLogger(std::shared_ptr<ILogger> logger);

}  // namespace TalSDK::Common::Logging
