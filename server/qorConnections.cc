// SPDX-License-Identifier: Apache-2.0
// One timer looks at all connections twice a second: with ten thousand of them that is cheaper than
// a timer each, and a deadline need not be met to the millisecond.
#include "server/qorConnections.h"

#include <utility>
#include <vector>

#include "server/qorLog.h"
#include "server/qorSession.h"

namespace orvix::server {

namespace {

constexpr std::chrono::milliseconds WATCH_INTERVAL{500};

}  // namespace

Connections::Connections(asio::io_context& loop, Dispatcher& dispatcher, Writer& writer,
                         asio::thread_pool& pool, const Limits& limits)
    : loop_(loop),
      dispatcher_(dispatcher),
      writer_(writer),
      pool_(pool),
      limits_(limits),
      metrics_(dispatcher.metrics()) {
  asio::co_spawn(loop_, watch(), asio::detached);
}

std::string peerOf(const asio::ip::tcp::socket& socket) {
  std::error_code error;
  const auto peer = socket.remote_endpoint(error);
  if (error) return "unknown";
  return asio::ip::tcp::endpoint(peer).address().to_string() + ":" + std::to_string(peer.port());
}

void Connections::add(asio::ip::tcp::socket socket) {
  if (draining_) return;  // closes it
  if (sessions_.size() >= limits_.connections) {
    metrics_.connectionsRefused.add();
    log(LogLevel::WARNING, "connection_refused",
        {{"text", "there are as many connections as max_connections allows"},
         {"peer", peerOf(socket)},
         {"connections", sessions_.size()}});
    return;
  }
  const auto session = std::make_shared<Session>(std::move(socket), *this);
  sessions_.insert(session);
  metrics_.connectionsTaken.add();
  metrics_.connectionsOpen.set(sessions_.size());
  asio::co_spawn(loop_, session->serve(), asio::detached);
}

void Connections::remove(const std::shared_ptr<Session>& session) {
  sessions_.erase(session);
  metrics_.connectionsOpen.set(sessions_.size());
  if (draining_ && sessions_.empty()) loop_.stop();
}

void Connections::drain() {
  if (draining_) return;
  draining_ = true;
  if (onDrain_) onDrain_();
  drainedBy_ = std::chrono::steady_clock::now() + limits_.farewell;
  for (const auto& session : sessions_) session->leaveWhenIdle();
  if (sessions_.empty()) loop_.stop();
}

asio::awaitable<void> Connections::watch() {
  asio::steady_timer timer(loop_);
  for (;;) {
    timer.expires_after(WATCH_INTERVAL);
    co_await timer.async_wait(asio::use_awaitable);
    const auto now = std::chrono::steady_clock::now();
    for (const auto& session : sessions_) session->endIfLate(now);
    if (draining_ && now > drainedBy_) loop_.stop();
  }
}

}  // namespace orvix::server
