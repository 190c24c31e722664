// SPDX-License-Identifier: Apache-2.0
#include "server/qorServiceManager.h"

#include <cstdint>
#include <systemd/sd-daemon.h>

namespace orvix::server::servicemanager {

namespace {

/// Longer than any unit's TimeoutStopSec.
constexpr const char* WATCHDOG_AT_THE_END = "WATCHDOG_USEC=86400000000\nWATCHDOG=1";

void tell(const std::string& lines) { ::sd_notify(0, lines.c_str()); }

}  // namespace

void ready(const std::string& status) { tell("READY=1\nSTATUS=" + status); }

void status(const std::string& status) { tell("STATUS=" + status); }

void reloading() { tell("RELOADING=1"); }

void reloaded() { tell("READY=1"); }

void stopping() {
  tell(std::string("STOPPING=1\nSTATUS=Ending: answering and committing what is under way\n") +
       WATCHDOG_AT_THE_END);
}

void alive() { tell("WATCHDOG=1"); }

std::optional<std::chrono::microseconds> patience() {
  std::uint64_t microseconds = 0;
  if (::sd_watchdog_enabled(0, &microseconds) <= 0) return std::nullopt;
  return std::chrono::microseconds(microseconds);
}

}  // namespace orvix::server::servicemanager
