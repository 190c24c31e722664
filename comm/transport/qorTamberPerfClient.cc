// SPDX-License-Identifier: Apache-2.0
// One attempt of a request, and the pull of a stream. Sending and receiving have files of their
// own.
#include "comm/transport/qorTamberPerfClient.h"

#include <utility>

#include "comm/protocol/internal/qorProbes.h"
#include "comm/protocol/internal/qorRequestKinds.h"
#include "comm/request/internal/qorRESTMessage.h"
#include "comm/response/internal/qorTamberPerfResponse.h"
#include "comm/support/internal/qorRaiseSites.h"
#include "comm/transport/internal/qorGatherBlock.h"
#include "infra/oss/qorNLSException.h"
#include "infra/oss/qorTraceHooks.h"

namespace orvix::comm {

namespace sites = detail::sites;

namespace {

/// Kinds whose results a caller may pull piece by piece.
bool isPulled(std::uint32_t kind) {
  return kind == kinds::STREAM_SEARCH || kind == kinds::PARSE_RESULT;
}

bool hasResultList(std::uint32_t kind) { return isPulled(kind) || kind == kinds::SCALAR_SEARCH; }

/// Takes the frame of a request that fails before it is written out of the gather block again: it
/// must not go out with the next request, whose reply would then be the reply to this one.
class FrameGuard {
 public:
  explicit FrameGuard(detail::GatherBlock& gathered)
      : gathered_(&gathered), fill_(gathered.fill()) {}
  FrameGuard(const FrameGuard&) = delete;
  FrameGuard& operator=(const FrameGuard&) = delete;
  ~FrameGuard() {
    if (gathered_ != nullptr && gathered_->fill() > fill_) gathered_->setFill(fill_);
  }
  void keepFrame() { gathered_ = nullptr; }

 private:
  detail::GatherBlock* gathered_;
  std::size_t fill_;
};

}  // namespace

TamberPerfClient::TamberPerfClient(const icu::UnicodeString& host, unsigned int port,
                                   const oss::Socket::_AddrInfoExternal& addrInfo)
    : CorvaneRESTClient(host, port, addrInfo, true),
      gathered_(std::make_unique<detail::GatherBlock>()) {
  const oss::TraceScope trace(detail::probes::TAMBER_CLIENT_CONSTRUCT);
}

TamberPerfClient::TamberPerfClient(const icu::UnicodeString& host, unsigned int port)
    : TamberPerfClient(host, port, oss::Socket::NullAddrInfoExternal) {}

TamberPerfClient::~TamberPerfClient() {
  const oss::TraceScope trace(detail::probes::TAMBER_CLIENT_DESTROY);
  closeConnection();
}

void TamberPerfClient::sendAndRecvMesgOnce(ClientRequest& request, ClientResponse& response) {
  const oss::TraceScope trace(detail::probes::SEND_AND_RECV_ONCE);
  try {
    attempt(request, response);
  } catch (const RESTException& e) {
    detail::raise(e);
  } catch (const oss::NLSException&) {
    throw;
  } catch (...) {
    detail::raiseAt(sites::ATTEMPT_FAILED);
  }
}

/// Whatever fails here leaves `requestActive` set, so that a pull of what is not there is refused.
void TamberPerfClient::attempt(ClientRequest& request, ClientResponse& response) {
  replyComplete_ = false;
  openUsableConnection();
  if (!isConnected()) detail::raiseAt(sites::NOT_CONNECTED, {getHost(), getPort()});
  requestActive = true;
  requestType = request.getRequestType();
  requestString = request.getOperationName();
  RESTMessage message(request);
  FrameGuard frame(*gathered_);
  sendMesg(message);

  leftover_ = 0;
  endOfStream = false;
  const bool resultsExpected = detail::requestKind(requestType).resultsExpected;
  if (response_ == nullptr) {
    response_ = std::make_unique<TamberPerfResponse>(requestType, resultsExpected);
  } else {
    response_->begin(requestType, resultsExpected);
  }
  if (!detail::isUnanswered(requestType)) flushGathered();
  frame.keepFrame();
  recvMesg(response);
  while (!endOfStream && response.getResultCode() == 0) {
    const bool atHand = response.getResultCount() != 0;
    if (streamedResults_ && isPulled(requestType) && atHand) break;
    recvStream(response);
  }
  if (hasResultList(requestType) && response.getResultCount() != 0) {
    response.setResultsPending(true);
  }
  if (detail::isUnanswered(requestType)) replyComplete_ = true;
  requestActive = false;
}

/// A connection that may still carry bytes of an earlier request or reply is not used again.
void TamberPerfClient::openUsableConnection() {
  if (positionUnknown_) closeConnection();
  positionUnknown_ = false;
  earlierConnection_ = isConnected() && isPersistent();
  openConnection();
}

/// Before bytes go out: nor is one that the server has closed meanwhile, or on which it says
/// something that nobody asked. A frame that is only gathered asks nothing of the system.
void TamberPerfClient::refreshConnection() {
  if (!std::exchange(earlierConnection_, false)) return;
  bool usable = false;
  try {
    usable = !getSocket().isReadable();
  } catch (...) {
    usable = false;
  }
  if (usable) return;
  closeConnection();
  openConnection();
}

/// The reply has ended by its own framing. What came behind it, if anything, belongs to nobody.
void TamberPerfClient::settleReply(bool nothingBehind) {
  settleConnection(nothingBehind);
  replyComplete_ = true;
}

void TamberPerfClient::settleConnection(bool nothingBehind) {
  if (nothingBehind) positionUnknown_ = false;
}

void TamberPerfClient::recv(ClientResponse& response) {
  const oss::TraceScope trace(detail::probes::RECV);
  if (!isConnected()) detail::raiseAt(sites::RECV_NOT_CONNECTED, {getHost(), getPort()});
  if (requestActive || !response_) detail::raiseAt(sites::RECV_WHILE_ACTIVE);
  try {
    response_->reset(true);
    response.beginPull();
    recvStream(response);
    response.endPull();
  } catch (const RESTException& e) {
    response.endPull();
    detail::raise(e);
  } catch (const oss::NLSException&) {
    response.endPull();
    throw;
  } catch (...) {
    response.endPull();
    detail::raiseAt(sites::RECV_FAILED);
  }
}

}  // namespace orvix::comm
