// SPDX-License-Identifier: Apache-2.0
// A server process, alone or under a system call tracer that kills it, or fails its calls, at a
// chosen point.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace orvix::durability {

/// Started by the constructor; whatever is left of it is killed by the destructor.
class WatchedServer {
 public:
  enum class Errors { DROPPED, SHOWN };  ///< what the server writes to standard error

  /// `tracer` is the tracer's command line without the server's; empty: no tracer.
  WatchedServer(const std::string& program, const std::string& data,
                const std::vector<std::string>& tracer, Errors errors = Errors::DROPPED);
  WatchedServer(const WatchedServer&) = delete;
  WatchedServer& operator=(const WatchedServer&) = delete;
  ~WatchedServer();

  /// 0 when the server ended before it listened.
  [[nodiscard]] unsigned port() const noexcept { return port_; }
  /// Files of the server may have this many bytes from now on; RLIM_INFINITY lifts the limit.
  void limitFileSize(unsigned long long bytes) const;
  void limitDescriptors(unsigned long long count) const;
  [[nodiscard]] pid_t process() const noexcept { return process_; }
  /// SIGHUP: the server reads its settings again.
  void reload() const;
  /// Whether the server ends by itself, within a bound and with exit code 0. Untraced only.
  bool endsWell();
  /// SIGTERM, then endsWell().
  bool terminate();

 private:
  pid_t process_ = -1;  // the tracer, or the server itself
  unsigned port_ = 0;
};

}  // namespace orvix::durability
