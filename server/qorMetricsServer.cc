// SPDX-License-Identifier: Apache-2.0
// As little of HTTP as a reader of metrics needs. Of a request only its first line is looked at.
#include "server/qorMetricsServer.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <exception>
#include <string_view>
#include <utility>

#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

using asio::redirect_error;
using asio::use_awaitable;

constexpr std::chrono::milliseconds ACCEPT_PAUSE{100};
/// What a guest may send after its request before it is not listened to any more.
constexpr std::size_t MAX_SURPLUS = 64U << 10U;
constexpr const char* PLAIN = "text/plain; charset=utf-8";
constexpr const char* METRICS = "text/plain; version=0.0.4; charset=utf-8";

std::string response(const char* status, const char* type, std::string_view body,
                     bool withBody = true) {
  std::string text = std::string("HTTP/1.1 ") + status + "\r\nContent-Type: " + type +
                     "\r\nContent-Length: " + std::to_string(body.size()) +
                     "\r\nConnection: close\r\n\r\n";
  if (withBody) text += body;
  return text;
}

std::string_view takeWord(std::string_view& line) {
  const std::string_view word = line.substr(0, line.find(' '));
  line.remove_prefix(std::min(line.size(), word.size() + 1));
  return word;
}

/// Signals are for the threads that await them.
void blockSignals() {
  sigset_t all;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

}  // namespace

struct MetricsServer::Guest {
  explicit Guest(asio::ip::tcp::socket connected)
      : socket(std::move(connected)), deadline(socket.get_executor()) {}
  void leave() {
    std::error_code ignored;
    socket.close(ignored);
  }

  asio::ip::tcp::socket socket;
  asio::steady_timer deadline;
};

ListenAddress metricsAddressOf(const std::string& text) {
  ListenAddress address = listenAddressOf(text);
  if (address.host.is_loopback()) return address;
  refuse(MessageId::REQUEST_MALFORMED,
         "Metrics are shown without asking for a token, so " + inQuotes(text) +
             " will not do; give a loopback address, such as 127.0.0.1:8716");
}

MetricsServer::MetricsServer(const ListenAddress& address, Page page)
    : page_(std::move(page)),
      acceptor_(loop_, asio::ip::tcp::endpoint(address.host, address.port)),
      endpoint_(acceptor_.local_endpoint()) {
  asio::co_spawn(loop_, acceptGuests(), asio::detached);
  thread_ = std::thread([this] {
    blockSignals();
    loop_.run();
  });
}

MetricsServer::~MetricsServer() {
  loop_.stop();
  thread_.join();
}

asio::awaitable<void> MetricsServer::acceptGuests() {
  asio::steady_timer pause(loop_);
  for (;;) {
    std::error_code error;
    auto socket = co_await acceptor_.async_accept(redirect_error(use_awaitable, error));
    if (!error) {
      welcome(std::move(socket));
      continue;
    }
    pause.expires_after(ACCEPT_PAUSE);  // no descriptor left, say
    co_await pause.async_wait(use_awaitable);
  }
}

void MetricsServer::welcome(asio::ip::tcp::socket socket) {
  if (guests_.size() >= MAX_GUESTS) {
    guests_.front()->leave();
    guests_.pop_front();
  }
  const auto guest = std::make_shared<Guest>(std::move(socket));
  guests_.push_back(guest);
  guest->deadline.expires_after(DEADLINE);
  guest->deadline.async_wait([guest](const std::error_code& cancelled) {
    if (!cancelled) guest->leave();
  });
  asio::co_spawn(loop_, serve(guest), asio::detached);
}

asio::awaitable<void> MetricsServer::serve(GuestPointer guest) {
  try {
    co_await converse(*guest);
  } catch (const std::exception&) {
    // It left, was too slow, or memory is short; it may ask again.
  }
  guest->deadline.cancel();
  guest->leave();
  std::erase(guests_, guest);
}

/// A connection that is closed with bytes unread breaks off, and its reply may be lost with it: the
/// guest closes first.
asio::awaitable<void> MetricsServer::converse(Guest& guest) {
  std::string head;
  std::error_code error;
  const std::size_t size =
      co_await asio::async_read_until(guest.socket, asio::dynamic_buffer(head, MAX_HEAD),
                                      "\r\n\r\n", redirect_error(use_awaitable, error));
  if (error && error != asio::error::not_found) co_return;
  const std::string answer =
      error ? response("431 Request Header Fields Too Large", PLAIN, "The request is too long\n")
            : answerTo(std::string_view(head).substr(0, size));
  co_await asio::async_write(guest.socket, asio::buffer(answer), use_awaitable);
  guest.socket.shutdown(asio::ip::tcp::socket::shutdown_send);
  std::array<char, 4096> surplus;
  for (std::size_t got = 0; got < MAX_SURPLUS;) {
    got += co_await guest.socket.async_read_some(asio::buffer(surplus), use_awaitable);
  }
}

std::string MetricsServer::answerTo(std::string_view head) const {
  std::string_view line = head.substr(0, head.find("\r\n"));
  const std::string_view method = takeWord(line);
  const std::string_view target = takeWord(line);
  if (method.empty() || target.empty() || !line.starts_with("HTTP/1.")) {
    return response("400 Bad Request", PLAIN, "This is not a request of HTTP/1.1\n");
  }
  if (method != "GET" && method != "HEAD") {
    return response("405 Method Not Allowed\r\nAllow: GET, HEAD", PLAIN, "GET /metrics\n");
  }
  const bool withBody = method == "GET";
  if (target.substr(0, target.find('?')) != "/metrics") {
    return response("404 Not Found", PLAIN, "The metrics are at /metrics\n", withBody);
  }
  return response("200 OK", METRICS, page_(), withBody);
}

}  // namespace orvix::server
