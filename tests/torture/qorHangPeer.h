// SPDX-License-Identifier: Apache-2.0
// The other end of a connection as a client fears it: it says part of a reply and falls silent,
// says it a byte at a time, never stops, never accepts, or does not read. One connection, real
// sockets.
#pragma once

#include <string>
#include <thread>

namespace orvix::torture {

struct HangPlan {
  enum class Reading { NOTHING, SLOWLY, ALL };
  bool connects = true;  ///< false: its queue is full, so that connecting neither works nor fails
  bool accepts = true;
  Reading reading = Reading::ALL;
  std::string first;     ///< sent at once, when something of the request has arrived or is not read
  std::string trickled;  ///< then sent a byte at a time, with this pause
  int pause = 20;        ///< in milliseconds
  std::string endless;   ///< then sent over and over
};

/// Plays the plan on a thread of its own from construction to destruction, or for some seconds, so
/// that a client that waits for ever is seen as one that waited long.
class HangPeer {
 public:
  explicit HangPeer(HangPlan plan);
  HangPeer(const HangPeer&) = delete;
  HangPeer& operator=(const HangPeer&) = delete;
  ~HangPeer();
  [[nodiscard]] unsigned int port() const { return port_; }

 private:
  void play();
  void fillQueue();
  bool pause(int milliseconds);

  HangPlan plan_;
  unsigned int port_ = 0;
  int listener_;
  int stop_[2] = {-1, -1};
  int queued_[4] = {-1, -1, -1, -1};
  std::thread thread_;
};

}  // namespace orvix::torture
