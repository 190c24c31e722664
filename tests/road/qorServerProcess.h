// SPDX-License-Identifier: Apache-2.0
// A real server for a test: its own process, a free loopback port, a data directory of its own.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace orvix::road {

/// Started by the constructor; ended, and its data directory removed, by the destructor.
class ServerProcess {
 public:
  explicit ServerProcess(const std::vector<std::string>& extraOptions = {});
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;
  ~ServerProcess();

  [[nodiscard]] unsigned int port() const { return port_; }
  [[nodiscard]] const std::string& folder() const { return folder_; }
  /// Waits, bounded, for the process to end by itself; its exit status, or -1 when it does not.
  int awaitExit();
  /// SIGHUP: the server reads its token file again.
  void reload() const;
  /// SIGTERM, then awaitExit().
  int terminate();
  /// SIGKILL: what a power cut leaves of a process.
  void kill();
  /// A new process on the same data directory and a new port.
  void restart();

 private:
  void start();

  std::vector<std::string> options_;
  std::string folder_;
  pid_t process_ = -1;
  unsigned int port_ = 0;
};

}  // namespace orvix::road
