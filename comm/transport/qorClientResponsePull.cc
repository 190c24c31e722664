// SPDX-License-Identifier: Apache-2.0
// The getters of a response that pull more of a stream. They stand here because they need the
// client, which the response itself must not know.
#include "comm/response/qorClientResponse.h"
#include "comm/support/internal/qorRaiseSites.h"
#include "comm/transport/qorTamberPerfClient.h"

namespace orvix::comm {

namespace {

TamberPerfClient& pullable(CorvaneClient& client) {
  auto* const known = dynamic_cast<TamberPerfClient*>(&client);
  if (known == nullptr) detail::raiseAt(detail::sites::FOREIGN_CLIENT);
  return *known;
}

}  // namespace

SearchResponse& ClientResponse::getSearchResponse(CorvaneClient& client, bool wait) {
  if (resultsPending_) return getSearchResponse();
  TamberPerfClient& puller = pullable(client);
  resultCount_ = 0;
  if (!wait) puller.recv(*this);
  while (wait && searchResponse_.count() == 0 && !puller.isEndOfStream()) puller.recv(*this);
  return searchResponse_;
}

ParseResponse& ClientResponse::getParseResponse(CorvaneClient& client) {
  if (resultsPending_) return getParseResponse();
  TamberPerfClient& puller = pullable(client);
  resultCount_ = 0;
  while (parseResponse_.count() == 0 && !puller.isEndOfStream()) puller.recv(*this);
  return parseResponse_;
}

}  // namespace orvix::comm
