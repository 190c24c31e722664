// SPDX-License-Identifier: Apache-2.0
// Tells the service manager that started the server how it stands. Without one, every call does
// nothing.
#pragma once

#include <chrono>
#include <optional>
#include <string>

/// The manager is the one that the environment names (NOTIFY_SOCKET, WATCHDOG_USEC).
/// Errors:  none: a manager that does not listen is not the server's trouble.
/// Threads: any.
namespace orvix::server::servicemanager {

/// The server listens. `status` is for people.
void ready(const std::string& status);
void status(const std::string& status);
/// Between the two it reads its settings again.
void reloading();
void reloaded();
/// The server is ending. From here on the manager's time-out for the end bounds it, not the
/// watchdog.
void stopping();
void alive();

/// How long the manager waits for alive() before it takes the server for dead. Nothing: for ever.
[[nodiscard]] std::optional<std::chrono::microseconds> patience();

}  // namespace orvix::server::servicemanager
