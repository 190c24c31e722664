// SPDX-License-Identifier: Apache-2.0
#include "comm/transport/qorCorvaneRESTClient.h"

#include <cstdio>

#include "comm/protocol/internal/qorProbes.h"
#include "comm/protocol/qorStaticDefs.h"
#include "comm/support/internal/qorRaiseSites.h"
#include "infra/bytes/internal/qorByteReader.h"
#include "infra/oss/qorNLSException.h"
#include "infra/oss/qorTraceHooks.h"

namespace orvix::comm {

using icu::UnicodeString;

namespace {

UnicodeString nameOf(const void* client) {
  char name[32];
  std::snprintf(name, sizeof name, "CorvaneRESTClient%x",
                oss::cutToU32(reinterpret_cast<std::uintptr_t>(client)));
  return UnicodeString(name, "");
}

}  // namespace

CorvaneRESTClient::CorvaneRESTClient() : clientName(nameOf(this)) {
  const oss::TraceScope trace(detail::probes::REST_CLIENT_CONSTRUCT);
}

CorvaneRESTClient::CorvaneRESTClient(const UnicodeString& host, unsigned int port,
                                     const oss::Socket::_AddrInfoExternal& addrInfo,
                                     bool persistent)
    : CorvaneClient(host, port, addrInfo, persistent, false), clientName(nameOf(this)) {
  const oss::TraceScope trace(detail::probes::REST_CLIENT_CONSTRUCT);
}

CorvaneRESTClient::CorvaneRESTClient(const UnicodeString& host, unsigned int port, bool persistent)
    : CorvaneRESTClient(host, port, oss::Socket::NullAddrInfoExternal, persistent) {}

CorvaneRESTClient::~CorvaneRESTClient() {
  const oss::TraceScope trace(detail::probes::REST_CLIENT_DESTROY);
  closeConnection();
}

void CorvaneRESTClient::setNumRetries(unsigned int retries) {
  const oss::TraceScope trace(detail::probes::SET_RETRIES);
  numRetries = retries;
}

void CorvaneRESTClient::sendAndRecvMesg(ClientRequest& request, ClientResponse& response) {
  requestType = request.getRequestType();
  const oss::TraceScope trace(detail::probes::SEND_AND_RECV);
  for (unsigned int retries = 0;; ++retries) {
    try {
      sendAndRecvMesgOnce(request, response);
      return;
    } catch (RESTException& e) {
      const bool retryable =
          !e.isServerReported() && isRetryableError(e.getErrorMessage().getMessageID());
      if (!retryable || retries >= numRetries) detail::raise(e);
    } catch (const oss::NLSException&) {
      throw;
    } catch (const oss::BaseException&) {
      detail::raiseAt(detail::sites::CYCLE_FAILED);
    }
    closeConnection();
  }
}

bool CorvaneRESTClient::isRetryableError(const UnicodeString& messageId) const {
  return messageId == StaticDefs::ERR_SERVER_COMM_RECV ||
         messageId == StaticDefs::ERR_CONNECT_SERVER ||
         messageId == StaticDefs::ERR_SERVER_COMM_SEND ||
         messageId == StaticDefs::ERR_SERVER_COMM_TIMEOUT;
}

}  // namespace orvix::comm
