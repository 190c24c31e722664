// SPDX-License-Identifier: Apache-2.0
// Socket failures end the session quietly: they are the peer's way of leaving, or a deadline's.
#include "server/qorSession.h"

#include <string>
#include <utility>

#include "comm/protocol/internal/qorRequestKinds.h"
#include "server/qorLog.h"
#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

using asio::redirect_error;
using asio::use_awaitable;

constexpr std::chrono::seconds LINGER{2};
/// Others' documents make room, which nobody is told of.
constexpr std::chrono::milliseconds ROOM_LOOKED_FOR{10};
/// Besides their bytes: what one document without content costs is not nothing either.
constexpr std::size_t MAX_QUEUED_DOCUMENTS = 2000;

bool isNeverAnswered(const Frame& frame) {
  const auto kind = kindOf(frame);
  return kind && comm::detail::isUnanswered(*kind);
}

}  // namespace

Session::Session(Socket socket, Connections& all)
    : socket_(std::move(socket)),
      all_(all),
      frames_([&all](Frame& frame) { all.dispatcher().screen(frame); }),
      arrival_(all.loop(), Clock::time_point::max()) {}

asio::awaitable<void> Session::serve() {
  const auto self = shared_from_this();
  try {
    socket_.set_option(asio::ip::tcp::no_delay(true));
    socket_.non_blocking(true);
    co_await serveFrames();
  } catch (const std::system_error& error) {
    // The peer closed the connection, which it does having read everything, or broke it.
    if (error.code() == asio::error::eof) confirmReceipt();
  } catch (...) {
    logFault(LogLevel::ERROR, "connection_failed", currentFault("A connection ended"),
             {{"peer", peerOf(socket_)}});
  }
  deadline_ = Clock::time_point::max();
  accountForBody(0);
  co_await awaitQueued(0);
  all_.remove(self);
}

asio::awaitable<void> Session::serveFrames() {
  bool open = true;
  while (open && !closeAfterQueued_) {
    auto frame = frames_.next();
    if (!accountForBody(frames_.keptOfBody())) {
      log(LogLevel::WARNING, "connection_closed",
          {{"text", "too many documents are being sent at once"}, {"peer", peerOf(socket_)}});
      open = false;
    } else if (frame) {
      headerDeadline_.reset();
      open = co_await answer(std::move(*frame));
    } else if (all_.draining()) {
      open = false;
    } else {
      co_await readSome();
    }
  }
  if (!closeAfterQueued_) co_return;
  co_await awaitQueued(0);
  co_await closeGently();
}

void Session::expireIdly() {
  const auto idle = all_.limits().idle;
  deadline_ = idle.count() == 0 ? Clock::time_point::max() : Clock::now() + idle;
}

/// Waits without a buffer: an idle connection costs nothing but itself.
asio::awaitable<void> Session::readSome() {
  if (!frames_.inHeader()) headerDeadline_.reset();
  expireIdly();
  if (frames_.inHeader()) {
    if (!headerDeadline_) headerDeadline_ = Clock::now() + all_.limits().header;
    deadline_ = *headerDeadline_;
  }
  std::error_code error;
  reading_ = true;
  co_await socket_.async_wait(Socket::wait_read, redirect_error(use_awaitable, error));
  reading_ = false;
  if (closeAfterQueued_) co_return;
  if (error) throw std::system_error(error);
  const std::size_t count = socket_.read_some(asio::buffer(all_.scratch(), frames_.room()), error);
  if (error == asio::error::would_block) co_return;
  if (error) throw std::system_error(error);
  all_.metrics().bytesIn.add(count);
  frames_.feed({all_.scratch().data(), count});
}

bool Session::accountForBody(std::size_t now) {
  return all_.account(std::exchange(keptOfBody_, now), now);
}

void Session::confirmReceipt() {
  if (receipt_) all_.writer().post(std::exchange(receipt_, nullptr));
}

/// Answers whether the connection goes on.
asio::awaitable<bool> Session::answer(Frame frame) {
  const auto begun = Clock::now();
  deadline_ = Clock::time_point::max();
  confirmReceipt();
  RequestRecord record(frame);
  const Lane lane = all_.dispatcher().laneOf(frame);
  if (lane == Lane::WRITER && all_.dispatcher().isSlowToRead(frame)) {
    frame = co_await readAhead(std::move(frame));
  }
  if (lane == Lane::WRITER && !frame.body.empty()) co_await awaitRoom(frame.size());
  if (lane == Lane::WRITER && isNeverAnswered(frame)) {
    co_await queue(std::move(frame), std::move(record), begun);
    co_return true;
  }
  if (lane != Lane::WRITER) co_await awaitQueued(0);
  Reply reply;
  if (lane == Lane::SHORT) {
    reply = all_.dispatcher().handle(frame);
  } else if (lane == Lane::LONG) {
    reply = co_await onPool(std::move(frame));
  } else {
    reply = co_await onWriter(std::move(frame));
  }
  if (record.isLogged(reply)) record.log(reply, peerOf(socket_));
  all_.metrics().served(reply.kind, reply.failed, lane, Clock::now() - begun);
  const bool close = reply.close;
  const bool stop = reply.stop;
  co_await write(reply, lane == Lane::LONG);
  receipt_ = std::move(reply.received);
  if (stop) all_.drain();
  if (close) co_await closeGently();
  co_return !close && !stop;
}

/// Goes on at once while little is queued. Beyond that nothing more is read from this peer; when
/// much is queued in all, from no peer that has its share.
asio::awaitable<void> Session::queue(Frame frame, RequestRecord record, Clock::time_point begun) {
  const std::size_t size = frame.size();
  queuedBytes_ += size;
  ++queuedDocuments_;
  all_.writer().post(std::move(frame), [self = shared_from_this(), size, begun,
                                        asked = std::move(record)](const Reply& reply) {
    if (asked.isLogged(reply)) asked.log(reply, peerOf(self->socket_));
    self->all_.metrics().served(reply.kind, reply.failed, Lane::WRITER, Clock::now() - begun);
    self->queuedBytes_ -= size;
    --self->queuedDocuments_;
    if (reply.close) self->closeAfterQueue();
    if (self->all_.draining()) self->leaveWhenIdle();
    self->notify();
  });
  const Limits& limits = all_.limits();
  if (all_.writer().queuedBytes() > limits.unacknowledgedInAll) co_await awaitQueued(0);
  co_await awaitQueued(limits.unacknowledged);
}

/// Until no more than that is queued, in at most MAX_QUEUED_DOCUMENTS; 0: until nothing is.
asio::awaitable<void> Session::awaitQueued(std::size_t bytes) {
  const std::size_t documents = bytes == 0 ? 0 : MAX_QUEUED_DOCUMENTS;
  while (queuedBytes_ > bytes || queuedDocuments_ > documents) co_await awaitArrival();
}

/// Until the writer, who then has much to do already, has room for so many bytes more.
asio::awaitable<void> Session::awaitRoom(std::size_t bytes) {
  const auto full = [this, bytes] {
    const std::size_t queued = all_.writer().queuedBytes();
    return queued != 0 && queued + bytes > all_.limits().unacknowledgedInAll;
  };
  if (!full()) co_return;
  accountForBody(bytes);
  asio::steady_timer timer(all_.loop());
  while (full()) {
    timer.expires_after(ROOM_LOOKED_FOR);
    co_await timer.async_wait(use_awaitable);
  }
  accountForBody(frames_.keptOfBody());
}

asio::awaitable<void> Session::awaitArrival() {
  std::error_code cancelled;
  co_await arrival_.async_wait(redirect_error(use_awaitable, cancelled));
}

/// The documents before it are on their way to the writer, those behind it are not read yet: their
/// order stays.
asio::awaitable<Frame> Session::readAhead(Frame frame) {
  accountForBody(frame.size());
  const auto read = std::make_shared<Frame>(std::move(frame));
  asio::post(all_.extractors(), [self = shared_from_this(), read] {
    self->all_.dispatcher().readAhead(*read);
    asio::post(self->all_.loop(), [self] {
      self->arrived_.emplace();
      self->notify();
    });
  });
  while (!arrived_) co_await awaitArrival();
  arrived_.reset();
  accountForBody(frames_.keptOfBody());
  co_return std::move(*read);
}

asio::awaitable<Reply> Session::onWriter(Frame frame) {
  all_.writer().post(std::move(frame), [self = shared_from_this()](Reply reply) {
    self->arrived_ = std::move(reply);
    self->notify();
  });
  while (!arrived_) co_await awaitArrival();
  co_return *std::exchange(arrived_, std::nullopt);
}

asio::awaitable<Reply> Session::onPool(Frame frame) {
  asio::post(all_.pool(), [self = shared_from_this(), asked = std::move(frame)] {
    Reply reply = self->all_.dispatcher().handle(asked);
    asio::post(self->all_.loop(), [self, made = std::move(reply)]() mutable {
      self->arrived_ = std::move(made);
      self->notify();
    });
  });
  while (!arrived_) co_await awaitArrival();
  co_return *std::exchange(arrived_, std::nullopt);
}

/// Header and whatever follows it leave in one write where they fit in a piece.
asio::awaitable<void> Session::write(Reply& reply, bool onPool) {
  std::string piece = std::move(reply.bytes);
  bool more = reply.more != nullptr;
  while (more || !piece.empty()) {
    deadline_ = Clock::time_point::max();
    if (more) more = onPool ? co_await nextOnPool(reply, piece) : reply.more->next(piece);
    const std::size_t written = more || frames_.inHeader() ? 0 : writeAtOnce(piece);
    if (written != piece.size()) co_await writeRest(std::string_view(piece).substr(written));
    piece.clear();
  }
}

asio::awaitable<bool> Session::nextOnPool(Reply& reply, std::string& piece) {
  bool more = false;
  arrived_.reset();
  asio::post(all_.pool(), [self = shared_from_this(), &reply, &piece, &more] {
    more = reply.more->next(piece);
    asio::post(self->all_.loop(), [self] {
      self->arrived_.emplace();
      self->notify();
    });
  });
  while (!arrived_) co_await awaitArrival();
  arrived_.reset();
  co_return more;
}

/// What the connection takes without waiting: most replies as a whole, with one system call. Not
/// for a peer that has more under way: the others get their turn between two writes.
std::size_t Session::writeAtOnce(std::string_view piece) {
  std::error_code error;
  const std::size_t written = socket_.write_some(asio::buffer(piece), error);
  if (error && error != asio::error::would_block) throw std::system_error(error);
  all_.metrics().bytesOut.add(written);
  return written;
}

asio::awaitable<void> Session::writeRest(std::string_view rest) {
  expireIdly();
  const std::size_t written =
      co_await asio::async_write(socket_, asio::buffer(rest), use_awaitable);
  all_.metrics().bytesOut.add(written);
}

/// Closes so that a peer which is still sending gets to read the reply before the connection
/// breaks.
asio::awaitable<void> Session::closeGently() {
  socket_.shutdown(Socket::shutdown_send);
  deadline_ = Clock::now() + LINGER;
  std::error_code error;
  while (!error || error == asio::error::would_block) {
    co_await socket_.async_wait(Socket::wait_read, use_awaitable);
    error.clear();
    if (socket_.read_some(asio::buffer(all_.scratch()), error) == 0 && !error) break;
  }
}

void Session::endIfLate(Clock::time_point now) {
  if (now < deadline_) return;
  if (headerDeadline_) {
    log(LogLevel::WARNING, "connection_closed",
        {{"text", "the header of a request took too long"}, {"peer", peerOf(socket_)}});
  } else {
    log(LogLevel::DEBUG, "connection_closed",
        {{"text", "nothing moved for too long"}, {"peer", peerOf(socket_)}});
  }
  std::error_code ignored;
  socket_.close(ignored);
}

void Session::closeAfterQueue() {
  closeAfterQueued_ = true;
  std::error_code ignored;
  socket_.cancel(ignored);  // it may wait for what will not be read any more
}

void Session::leaveWhenIdle() {
  if (!reading_ || frames_.inHeader() || frames_.inBody() || queuedDocuments_ != 0) return;
  std::error_code ignored;
  socket_.close(ignored);
}

}  // namespace orvix::server
