// SPDX-License-Identifier: Apache-2.0
// Serves one page over HTTP, to a monitoring program on the same machine: GET /metrics.
#pragma once

#include <asio.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include "server/qorListener.h"

namespace orvix::server {

/// "127.0.0.1:8716". The page is for everybody who can connect, so others than this machine must
/// not be able to.
/// Throws: REQUEST_MALFORMED, naming the text.
[[nodiscard]] ListenAddress metricsAddressOf(const std::string& text);

/// Has a thread and an io_context of its own: whatever its guests do, requests do not wait for it,
/// and it still answers when they hang.
/// Limits:  one request a connection, MAX_HEAD bytes of it, DEADLINE from the first to the last of
///          a connection; when a guest more than MAX_GUESTS comes, the one that is there longest
///          goes.
/// Threads: the page is made on the thread of this object.
class MetricsServer {
 public:
  using Page = std::function<std::string()>;
  static constexpr std::size_t MAX_HEAD = 8192;
  static constexpr std::size_t MAX_GUESTS = 16;
  static constexpr std::chrono::seconds DEADLINE{5};

  /// Listens at once and answers until its end.
  /// Throws: std::system_error.
  MetricsServer(const ListenAddress& address, Page page);
  MetricsServer(const MetricsServer&) = delete;
  MetricsServer& operator=(const MetricsServer&) = delete;
  /// Breaks off whatever is under way.
  ~MetricsServer();

  [[nodiscard]] asio::ip::tcp::endpoint endpoint() const { return endpoint_; }

 private:
  struct Guest;
  using GuestPointer = std::shared_ptr<Guest>;

  asio::awaitable<void> acceptGuests();
  void welcome(asio::ip::tcp::socket socket);
  asio::awaitable<void> serve(GuestPointer guest);
  asio::awaitable<void> converse(Guest& guest);
  [[nodiscard]] std::string answerTo(std::string_view head) const;

  Page page_;
  asio::io_context loop_{1};
  asio::ip::tcp::acceptor acceptor_;
  const asio::ip::tcp::endpoint endpoint_;
  std::list<GuestPointer> guests_;  // in the order of their coming
  std::thread thread_;
};

}  // namespace orvix::server
