// SPDX-License-Identifier: Apache-2.0
#include "server/qorMetrics.h"

#include <algorithm>

namespace orvix::server {

void Durations::add(Duration duration) noexcept {
  const double seconds = std::chrono::duration<double>(duration).count();
  const auto bucket = std::lower_bound(BOUNDS.begin(), BOUNDS.end(), seconds) - BOUNDS.begin();
  buckets_[static_cast<std::size_t>(bucket)].add();
  const auto whole = std::chrono::duration_cast<std::chrono::nanoseconds>(duration).count();
  nanoseconds_.add(static_cast<std::uint64_t>(std::max<std::int64_t>(whole, 0)));
}

void Metrics::served(std::uint32_t kind, bool failed, Lane lane,
                     Durations::Duration duration) noexcept {
  RequestCounts& counts = requests[kind < requests.size() ? kind : 0];
  (failed ? counts.failed : counts.done).add();
  durations[static_cast<std::uint32_t>(lane) - 1].add(duration);
}

}  // namespace orvix::server
