// SPDX-License-Identifier: Apache-2.0
// One connection: bytes in, frames to the thread that is to run them, replies out, in order.
#pragma once

#include <asio.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "server/qorConnections.h"
#include "server/qorFrameReader.h"
#include "server/qorReply.h"
#include "server/qorRequestLog.h"

namespace orvix::server {

/// Serves the connection until the peer leaves, the position in the stream is lost, a deadline
/// passes or the server ends. At most one answered request is under way; documents that are never
/// answered may queue up behind each other, up to a limit, and everything else waits for them.
/// Nothing is read while a reply is being made or written, so a peer that does not read is not read
/// from.
/// Threads: the io_context's; results of other threads are posted to it.
class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(asio::ip::tcp::socket socket, Connections& all);

  asio::awaitable<void> serve();
  /// Ends the session when it is past its deadline.
  void endIfLate(std::chrono::steady_clock::time_point now);
  /// Ends the session, now if no request is under way.
  void leaveWhenIdle();

 private:
  using Socket = asio::ip::tcp::socket;
  using Clock = std::chrono::steady_clock;

  asio::awaitable<void> serveFrames();
  asio::awaitable<void> readSome();
  asio::awaitable<bool> answer(Frame frame);
  asio::awaitable<void> queue(Frame frame, RequestRecord record, Clock::time_point begun);
  asio::awaitable<Frame> readAhead(Frame frame);
  asio::awaitable<Reply> onWriter(Frame frame);
  asio::awaitable<Reply> onPool(Frame frame);
  asio::awaitable<void> write(Reply& reply, bool onPool);
  asio::awaitable<bool> nextOnPool(Reply& reply, std::string& piece);
  std::size_t writeAtOnce(std::string_view piece);
  asio::awaitable<void> writeRest(std::string_view rest);
  asio::awaitable<void> closeGently();
  asio::awaitable<void> awaitArrival();
  asio::awaitable<void> awaitQueued(std::size_t bytes);
  asio::awaitable<void> awaitRoom(std::size_t bytes);
  bool accountForBody(std::size_t now);
  void confirmReceipt();
  void closeAfterQueue();
  void expireIdly();
  void notify() { arrival_.cancel(); }

  Socket socket_;
  Connections& all_;
  FrameReader frames_;
  asio::steady_timer arrival_;  // never expires: cancelled whenever something has arrived
  std::optional<Reply> arrived_;
  std::function<void()> receipt_;  // of the last reply, until the peer shows that it has it
  std::size_t queuedBytes_ = 0;    // of documents that wait for the writer
  std::size_t queuedDocuments_ = 0;
  std::size_t keptOfBody_ = 0;  // as the account of all connections has it
  bool closeAfterQueued_ = false;
  bool reading_ = false;  // or waiting for something to read
  Clock::time_point deadline_ = Clock::time_point::max();
  std::optional<Clock::time_point> headerDeadline_;
};

}  // namespace orvix::server
