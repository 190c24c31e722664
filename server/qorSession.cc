// SPDX-License-Identifier: Apache-2.0
// Socket failures end the session quietly: they are the peer's way of leaving.
#include "server/qorSession.h"

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <utility>

namespace orvix::server {

namespace {

using Socket = asio::ip::tcp::socket;
using asio::use_awaitable;

constexpr std::size_t READ_SIZE = 64U << 10U;
constexpr std::chrono::seconds LINGER{2};

/// Writes the reply. Header and whatever follows it leave in one write where they fit in a piece.
asio::awaitable<void> writeReply(Socket& socket, Reply& reply) {
  std::string piece = std::move(reply.bytes);
  bool more = reply.more != nullptr;
  while (more) {
    more = reply.more->next(piece);
    co_await asio::async_write(socket, asio::buffer(piece), use_awaitable);
    piece.clear();
  }
  if (!piece.empty()) co_await asio::async_write(socket, asio::buffer(piece), use_awaitable);
}

/// Closes so that a peer which is still sending gets to read the reply before the connection
/// breaks.
asio::awaitable<void> closeGently(Socket& socket) {
  socket.shutdown(Socket::shutdown_send);
  // The timer's handler may run after this function has ended: it finds the socket only before.
  const auto here = std::make_shared<Socket*>(&socket);
  asio::steady_timer timer(socket.get_executor(), LINGER);
  timer.async_wait([still = std::weak_ptr<Socket*>(here)](const std::error_code& error) {
    const auto known = still.lock();
    if (!error && known) (*known)->cancel();
  });
  std::array<char, 4096> dropped{};
  std::error_code error;
  while (!error) {
    co_await socket.async_read_some(asio::buffer(dropped),
                                    asio::redirect_error(use_awaitable, error));
  }
}

void callOnce(std::function<void()>& receipt) {
  if (receipt) std::exchange(receipt, nullptr)();
}

/// Answers every whole frame that has arrived; answers whether the connection goes on.
/// A peer that sends another request has read the reply before it, for which `receipt` waits.
asio::awaitable<bool> answerFrames(Socket& socket, FrameReader& frames, Dispatcher& dispatcher,
                                   std::function<void()>& receipt,
                                   const std::function<void()>& stop) {
  while (auto frame = frames.next()) {
    callOnce(receipt);
    Reply reply = dispatcher.handle(*frame);
    frame.reset();
    co_await writeReply(socket, reply);
    receipt = std::move(reply.received);
    if (reply.stop) {
      stop();
      co_return false;
    }
    if (reply.close) {
      co_await closeGently(socket);
      co_return false;
    }
  }
  co_return true;
}

}  // namespace

asio::awaitable<void> serveConnection(Socket socket, Dispatcher& dispatcher,
                                      std::function<void()> stop) {
  std::function<void()> receipt;
  try {
    socket.set_option(asio::ip::tcp::no_delay(true));
    FrameReader frames;
    const auto buffer = std::make_unique<std::array<char, READ_SIZE>>();
    bool open = true;
    while (open) {
      const std::size_t count =
          co_await socket.async_read_some(asio::buffer(*buffer), use_awaitable);
      frames.feed({buffer->data(), count});
      open = co_await answerFrames(socket, frames, dispatcher, receipt, stop);
    }
  } catch (const std::system_error& error) {
    // The peer closed the connection, which it does having read everything, or broke it.
    if (error.code() == asio::error::eof) callOnce(receipt);
  }
}

}  // namespace orvix::server
