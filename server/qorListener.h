// SPDX-License-Identifier: Apache-2.0
// The listening socket: accepts connections and hands them on.
#pragma once

#include <asio.hpp>
#include <string>

#include "server/qorConnections.h"

namespace orvix::server {

struct ListenAddress {
  asio::ip::address host;
  std::uint16_t port = 0;
};

/// "127.0.0.1:8715", "[::1]:0".
/// Throws: REQUEST_MALFORMED, naming the text.
[[nodiscard]] ListenAddress listenAddressOf(const std::string& text);

/// Threads: all of it runs on the io_context's one thread.
class Listener {
 public:
  /// Listens at once. Borrows both, for its whole life.
  /// Throws: std::system_error.
  Listener(asio::io_context& context, const ListenAddress& address, Connections& connections);

  /// With the port that the system chose where 0 was asked for.
  [[nodiscard]] asio::ip::tcp::endpoint endpoint() const { return acceptor_.local_endpoint(); }
  void start();
  /// Takes no more connections.
  void stop();

 private:
  asio::awaitable<void> acceptConnections();

  asio::io_context& context_;
  asio::ip::tcp::acceptor acceptor_;
  Connections& connections_;
};

}  // namespace orvix::server
