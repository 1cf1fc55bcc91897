#include <TalSDK/sdk/common/Logging.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <utility>

namespace TalSDK::Common::Logging {

ILogger::~ILogger() = default;

namespace {

class StderrLogger final : public ILogger {
 public:
  void LogMessage(std::string_view utf8Message) override {
    // One write per message, so that lines from several threads do not interleave.
    std::string line;
    line.reserve(utf8Message.size() + 1);
    line.append(utf8Message);
    line.push_back('\n');
    std::fwrite(line.data(), 1, line.size(), stderr);
  }
};

struct LoggerState {
  std::mutex mutex;
  std::shared_ptr<ILogger> defaultLogger = std::make_shared<StderrLogger>();
  std::shared_ptr<ILogger> current = defaultLogger;
};

// Never destroyed: code that runs during static destruction may still log.
LoggerState& State() {
  static LoggerState* const state = new LoggerState;
  return *state;
}

}  // namespace

ILogger& GetLogger() {
  LoggerState& state = State();
  const std::lock_guard lock(state.mutex);
  return *state.current;
}

std::shared_ptr<ILogger> SetLogger(std::shared_ptr<ILogger> logger) {
  LoggerState& state = State();
  const std::lock_guard lock(state.mutex);
  if (!logger) logger = state.defaultLogger;
  return std::exchange(state.current, std::move(logger));
}

}  // namespace TalSDK::Common::Logging
