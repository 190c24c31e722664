// SPDX-License-Identifier: Apache-2.0
// A small server on loopback that answers with prepared bytes, and the bytes to prepare.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "cli/qorCtlSettings.h"
#include "tests/support/qorLoopback.h"

namespace orvix::ctl::testing {

using namespace std::string_literals;

inline const std::string OK = "\0\1"s;
inline const std::string END = "\0\1\0\0"s;

inline std::string sized(const std::string& bytes) {
  return {static_cast<char>(bytes.size() >> 8U), static_cast<char>(bytes.size() & 0xffU)};
}

inline std::string record(char status, const std::string& payload) {
  return "\0"s + status + sized(payload) + payload;
}

inline std::string pair(const std::string& key, const std::string& value) {
  return sized(key) + key + sized(value) + value;
}

inline std::string accepted(const std::string& key) { return record(1, pair("Doc", key)); }

inline std::string rejected(const std::string& key) {
  return record(1, pair("Doc", key) + pair("MsgId", "E_BAD") + pair("MsgText", "no good"));
}

/// Answers the requests that want an answer with the given replies in turn, and then closes.
class Peer {
 public:
  explicit Peer(std::vector<std::string> replies) : replies_(std::move(replies)) {
    unsigned int port = 0;
    listener_ = test::listenOnLoopback(1, port);
    port_ = static_cast<std::uint16_t>(port);
    thread_ = std::thread([this] { serve(); });
  }
  ~Peer() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  [[nodiscard]] Settings settings() const {
    Settings settings;
    settings.port = port_;
    settings.collection = "c";
    settings.query = "q";
    settings.retries = 0;
    settings.timeout = 10;
    return settings;
  }

 private:
  void serve() {
    connection_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    const timeval limit{10, 0};
    setsockopt(connection_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    std::size_t next = 0;
    while (connection_ >= 0 && next < replies_.size() && takeRequest()) {
      const std::string& reply = replies_[next++];
      if (send(connection_, reply.data(), reply.size(), MSG_NOSIGNAL) < 0) break;
    }
    shutdown(listener_, SHUT_RDWR);  // first, so that nobody connects again and waits
    if (connection_ >= 0) close(connection_);
  }

  /// Reads up to the next request that wants an answer.
  bool takeRequest() {
    for (;;) {
      const std::string length = take(2);
      if (length.empty()) return false;
      const std::string head = take(static_cast<std::size_t>(
          static_cast<unsigned char>(length[0]) << 8U | static_cast<unsigned char>(length[1])));
      const std::string word = "Content-Length  : ";
      const std::size_t at = head.find(word);
      if (at != std::string::npos) {
        static_cast<void>(take(std::strtoul(head.c_str() + at + word.size(), nullptr, 10)));
      }
      if (head.find("asyncAddDocument") == std::string::npos) return !head.empty();
    }
  }

  std::string take(std::size_t count) const {
    std::string bytes(count, '\0');
    const ssize_t got = count == 0 ? 0 : ::recv(connection_, bytes.data(), count, MSG_WAITALL);
    return got == static_cast<ssize_t>(count) ? bytes : "";
  }

  std::vector<std::string> replies_;
  int listener_ = -1;
  int connection_ = -1;
  std::uint16_t port_ = 0;
  std::thread thread_;
};

}  // namespace orvix::ctl::testing
