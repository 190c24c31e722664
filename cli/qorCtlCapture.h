// SPDX-License-Identifier: Apache-2.0
// A socket on loopback, in this process, that keeps what a client sends to it and never answers.
#pragma once

#include <string>
#include <thread>

namespace orvix::ctl {

/// Takes one connection on a port of the system's choice. It closes its own direction at once, so
/// that a client that waits for a reply learns that there is none, and reads the other to its end.
/// Throws: CtlFailure INTERNAL when there is no loopback to listen on.
/// Threads: one of its own, which ends with the connection or after the time-out.
class CaptureSocket {
 public:
  static constexpr int TIME_OUT_SECONDS = 5;

  CaptureSocket();
  CaptureSocket(const CaptureSocket&) = delete;
  CaptureSocket& operator=(const CaptureSocket&) = delete;
  ~CaptureSocket();

  [[nodiscard]] unsigned int port() const { return port_; }
  /// All that came; to be asked when the client is gone.
  [[nodiscard]] std::string takeBytes();

 private:
  void serve();
  void readAll(int connection);

  int listener_ = -1;
  unsigned int port_ = 0;
  std::string bytes_;
  std::thread thread_;
};

}  // namespace orvix::ctl
