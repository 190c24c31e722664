// SPDX-License-Identifier: Apache-2.0
#include "server/qorLogSink.h"

#include <cstdlib>
#include <poll.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace orvix::server {

namespace {

constexpr int PATIENCE_MS = 100;

}  // namespace

/// Once the reader was too slow it is not waited for again until it has taken something.
void LogSink::sink_it_(const spdlog::details::log_msg& message) {
  spdlog::memory_buf_t line;
  formatter_->format(message, line);
  pollfd ready{descriptor_, POLLOUT, 0};
  stuck_ = ::poll(&ready, 1, stuck_ ? 0 : PATIENCE_MS) <= 0;
  if (stuck_ || ::write(descriptor_, line.data(), line.size()) < 0) ++lost_;
}

bool leadsToJournal(int descriptor) noexcept {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat facts {};
  if (stream == nullptr || ::fstat(descriptor, &facts) != 0) return false;
  return std::to_string(facts.st_dev) + ":" + std::to_string(facts.st_ino) == stream;
}

}  // namespace orvix::server
