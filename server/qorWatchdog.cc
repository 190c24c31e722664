// SPDX-License-Identifier: Apache-2.0
#include "server/qorWatchdog.h"

#include <utility>

#include "server/qorServiceManager.h"

namespace orvix::server {

bool Progress::isMade(std::uint64_t steps, bool hasWork, Clock::time_point now) noexcept {
  const bool moved = steps != steps_ || since_ == Clock::time_point();
  if (moved || !hasWork) since_ = now;
  steps_ = steps;
  return now - since_ < PATIENCE;
}

Watchdog::Watchdog(asio::io_context& loop, std::chrono::microseconds patience,
                   std::function<WriterState()> writer, std::function<std::string()> status)
    : loop_(loop), interval_(patience / 2), writer_(std::move(writer)), status_(std::move(status)) {
  asio::co_spawn(loop_, beat(), asio::detached);
}

asio::awaitable<void> Watchdog::beat() {
  asio::steady_timer timer(loop_);
  for (;;) {
    const WriterState writer = writer_();
    if (progress_.isMade(writer.steps, writer.hasWork, Progress::Clock::now())) {
      servicemanager::alive();
    }
    servicemanager::status(status_());
    timer.expires_after(interval_);
    co_await timer.async_wait(asio::use_awaitable);
  }
}

}  // namespace orvix::server
