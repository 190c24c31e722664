// SPDX-License-Identifier: Apache-2.0
#include "server/qorLogGate.h"

#include <utility>

namespace orvix::server {

namespace {

constexpr std::chrono::seconds SECOND{1};

}  // namespace

bool LogGate::admits(std::string_view event, Clock::time_point now) {
  const std::scoped_lock lock(mutex_);
  const auto [at, isNew] = seconds_.try_emplace(event);
  Second& second = at->second;
  if (isNew || now - second.start >= SECOND) {
    second.start = now;
    second.lines = 0;
  }
  if (second.lines == limit_) {
    ++second.leftOut;
    return false;
  }
  ++second.lines;
  return true;
}

std::vector<LogGate::LeftOut> LogGate::takeLeftOut(Clock::time_point now) {
  const std::scoped_lock lock(mutex_);
  std::vector<LeftOut> all;
  for (auto& [event, second] : seconds_) {
    if (second.leftOut == 0 || now - second.start < SECOND) continue;
    all.push_back({event, std::exchange(second.leftOut, 0)});
  }
  return all;
}

}  // namespace orvix::server
