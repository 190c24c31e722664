// SPDX-License-Identifier: Apache-2.0
#include "comm/transport/qorCorvaneClient.h"

#include <atomic>

#include "comm/protocol/internal/qorProbes.h"
#include "comm/support/internal/qorRaiseSites.h"
#include "infra/oss/internal/qorTextConversion.h"
#include "infra/oss/qorNLSException.h"
#include "infra/oss/qorSocketException.h"
#include "infra/oss/qorTraceHooks.h"

namespace orvix::comm {

namespace probes = detail::probes;
namespace sites = detail::sites;

namespace {

std::atomic<std::size_t> lastReceiveCount{0};  // for a debugger; nothing reads it

using Clock = std::chrono::steady_clock;

}  // namespace

CorvaneClient::CorvaneClient()
    : CorvaneClient(icu::UnicodeString("<unspecified>", ""), 0, oss::Socket::NullAddrInfoExternal,
                    false, false) {}

CorvaneClient::CorvaneClient(const icu::UnicodeString& host, unsigned int port,
                             const oss::Socket::_AddrInfoExternal& addrInfo, bool persistent,
                             bool buffered)
    : host_(oss::copyOf(host)),
      port_(port),
      persistent_(persistent),
      buffered_(buffered),
      addrInfo_(addrInfo) {
  const oss::TraceScope trace(probes::CLIENT_CONSTRUCT);
}

CorvaneClient::~CorvaneClient() {
  const oss::TraceScope trace(probes::CLIENT_DESTROY);
  closeConnection();
}

void CorvaneClient::setTimeOut(unsigned int milliseconds) {
  const oss::TraceScope trace(probes::SET_TIME_OUT);
  timeOut_ = milliseconds;
}

void CorvaneClient::usePeristentConnection(bool persistent) {
  const oss::TraceScope trace(probes::USE_PERSISTENT);
  persistent_ = persistent;
}

void CorvaneClient::useBufferedConnection(bool buffered) {
  const oss::TraceScope trace(probes::USE_BUFFERED);
  buffered_ = buffered;
}

void CorvaneClient::setReceiveTimeOut(unsigned int milliseconds) { receiveTimeOut_ = milliseconds; }
void CorvaneClient::setSendTimeOut(unsigned int milliseconds) { sendTimeOut_ = milliseconds; }

void CorvaneClient::openConnection() {
  const oss::TraceScope trace(probes::OPEN_CONNECTION);
  if (connected_ && persistent_) return;
  closeConnection();
  const detail::Peer peer{host_, port_};
  const unsigned long long timeOut = timeOut_;
  try {
    socket_.connect(host_, port_, addrInfo_, timeOut == 0 ? nullptr : &timeOut);
  } catch (const oss::SocketException& e) {
    detail::raiseAt(sites::CONNECT_SOCKET, peer, e);
  } catch (const oss::NLSException&) {
    throw;
  } catch (const oss::BaseException&) {
    detail::raiseAt(sites::CONNECT_INFRASTRUCTURE, peer);
  } catch (...) {
    detail::raiseAt(sites::CONNECT_OTHER, peer);
  }
  connected_ = true;
}

void CorvaneClient::closeConnection() noexcept {
  const oss::TraceScope trace(probes::CLOSE_CONNECTION);
  if (!connected_) return;
  connected_ = false;
  socket_.close();
}

CorvaneClient::ReceiveStep::ReceiveStep(CorvaneClient& client) : client_(client) {
  if (client_.receiveTimeOut_ != 0) {
    client_.receiveDeadline_ = Clock::now() + std::chrono::milliseconds(client_.receiveTimeOut_);
  }
}

void CorvaneClient::probeReceive(unsigned long long milliseconds) {
  if (!socket_.isReadable(milliseconds)) detail::raiseAt(sites::RECEIVE_TIMEOUT, {host_, port_});
}

std::size_t CorvaneClient::readSocket(char* buffer, std::size_t offset, std::size_t length,
                                      bool once) {
  const oss::TraceScope trace(probes::READ_SOCKET);
  if (once) return readSocketOnce(buffer, offset, length);
  if (!receiveDeadline_) return socket_.read(buffer, offset, length);
  std::size_t placed = 0;
  while (placed < length) {
    const std::size_t got = readSocketOnce(buffer, offset + placed, length - placed);
    if (got == 0) break;
    placed += got;
  }
  return placed;
}

std::size_t CorvaneClient::readSocketOnce(char* buffer, std::size_t offset, std::size_t length) {
  const oss::TraceScope trace(probes::READ_SOCKET_ONCE);
  if (receiveDeadline_ && length != 0) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*receiveDeadline_ - Clock::now()).count();
    // Bytes that trickle in must not stretch the deadline, so it is kept even when some are there.
    if (left <= 0) detail::raiseAt(sites::RECEIVE_TIMEOUT, {host_, port_});
    probeReceive(static_cast<unsigned long long>(left));
  }
  const std::size_t got = socket_.readOnce(buffer, offset, length);
  lastReceiveCount.store(got, std::memory_order_relaxed);
  return got;
}

void CorvaneClient::writeSocket(const char* buffer, std::size_t offset, std::size_t length) {
  const unsigned long long timeOut = sendTimeOut_;
  socket_.write(buffer, offset, length, timeOut == 0 ? nullptr : &timeOut);
}

}  // namespace orvix::comm
