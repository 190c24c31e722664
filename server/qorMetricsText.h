// SPDX-License-Identifier: Apache-2.0
// The page of metrics in the text format that Prometheus reads; docs/server.md lists the names.
#pragma once

#include <cstddef>
#include <string>

#include "server/qorMetrics.h"

namespace orvix::server {

/// What waits for the writer, itself included, at the moment of asking.
struct QueueLevels {
  std::size_t requests = 0;
  std::size_t bytes = 0;
};

/// Reads all numbers, those of the process among them, and lays them out. Takes a fraction of a
/// millisecond, and longer with thousands of open descriptors: not for the thread of connections.
[[nodiscard]] std::string metricsText(const Metrics& metrics, const QueueLevels& queue);

}  // namespace orvix::server
