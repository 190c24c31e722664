// SPDX-License-Identifier: Apache-2.0
// A bare client: writes frames, reads replies, and knows when the server is gone.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace orvix::durability {

using Keys = std::set<std::string>;

class Peer {
 public:
  /// Connects to the loopback port; 0 means a server that is gone already.
  explicit Peer(unsigned port);
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer();

  /// Writes a request that is never answered.
  void tell(const std::string& lines, std::string_view body = {});
  /// The reply of a kind without results: "status N" or the refusal's MsgId; nothing when the
  /// server is gone.
  std::optional<std::string> ask(const std::string& lines, std::string_view body = {});
  /// The keys of the hits; nothing when the server is gone or refuses.
  std::optional<Keys> search(const std::string& collection, const std::string& query);
  /// The keys of the documents told as indexed; nothing when the server is gone or refuses.
  /// Documents told as rejected go to `rejected`.
  std::optional<Keys> outcomes(const std::string& collection, Keys& rejected);

 private:
  bool read(std::string& out, std::size_t count);
  /// The status, and an error's pairs; nothing when the server is gone.
  std::optional<std::string> readVerdict();
  std::optional<std::string> nextRecord();

  int socket_ = -1;
};

}  // namespace orvix::durability
