// SPDX-License-Identifier: Apache-2.0
// The log's lines about requests: what was refused and why, what an administrator asked for, and,
// for debugging, every request.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "server/qorFrameReader.h"
#include "server/qorReply.h"

namespace orvix::server {

/// What is to be remembered of a request that is handed on: nothing of its body, no token.
class RequestRecord {
 public:
  explicit RequestRecord(const Frame& request);

  /// Whether the log has a line for it, now that the reply is there.
  [[nodiscard]] bool isLogged(const Reply& reply) const noexcept;
  /// Before the reply's bytes are moved on.
  void log(const Reply& reply, const std::string& peer) const;

 private:
  using Clock = std::chrono::steady_clock;

  void logRefusal(const Fault& fault, const std::string& peer) const;

  Clock::time_point start_ = Clock::now();
  std::optional<std::uint32_t> kind_;
  std::string collection_;
  std::string backup_;  // of requests about backups
};

}  // namespace orvix::server
