// SPDX-License-Identifier: Apache-2.0
// Requests over the one connection.
#include "cli/qorCtlConnection.h"

#include <cmath>

#include "cli/qorCtlExit.h"
#include "cli/qorCtlOptionTable.h"
#include "cli/qorCtlText.h"
#include "cli/qorCtlToken.h"

namespace orvix::ctl {

namespace {

constexpr double MILLISECONDS = 1000;

/// Rounded up: a limit that was asked for never becomes none.
unsigned int milliseconds(double seconds) {
  return static_cast<unsigned int>(std::ceil(seconds * MILLISECONDS));
}

}  // namespace

std::string requestText(const Settings& settings) {
  std::string text = commandName(settings.command);
  if (!settings.collection.empty()) text += ' ' + printable(settings.collection);
  return text + " at " + endpointText(settings.host, settings.port);
}

Connection::Connection(const Settings& settings)
    : where_(requestText(settings)), client_(toUnicode(settings.host), settings.port) {
  client_.setTimeOut(milliseconds(settings.connectTimeout));
  client_.setReceiveTimeOut(milliseconds(settings.timeout));
  client_.setSendTimeOut(milliseconds(settings.timeout));
  client_.setNumRetries(settings.retries);
  if (!settings.tokenFile.empty()) {
    properties_.putProperty(comm::StaticDefs::PARAM_AUTHENTICATION_TOKEN,
                            toUnicode(readToken(settings.tokenFile)));
  }
}

std::string Connection::triedText() const {
  if (client_.attempts() < 2) return where_;
  return where_ + ", tried " + std::to_string(client_.attempts()) + " times";
}

void Connection::run(Kind kind, comm::ClientResponse& response) {
  comm::ClientRequest request;
  request.buildRequest(kind, properties_);
  run(request, response);
}

void Connection::run(comm::ClientRequest& request, comm::ClientResponse& response) {
  send(request, response);
  requireComplete();
}

void Connection::send(comm::ClientRequest& request, comm::ClientResponse& response) {
  client_.startCounting();
  client_.sendAndRecvMesg(request, response);
  if (!response.success()) {
    throw CtlFailure(ExitCode::REFUSED, triedText() + ": the server answered with result code " +
                                            std::to_string(response.getResultCode()));
  }
}

void Connection::forEachOutcome(const icu::UnicodeString& collection,
                                const OutcomeHandler& handle) {
  client_.useStreamedResults(true);
  comm::ClientRequest request;
  request.buildRequest(collection, comm::ClientRequest::PARSE_RESULT, properties_);
  comm::ClientResponse response;
  send(request, response);
  for (;;) {
    comm::ParseResponse& outcomes = response.getParseResponse(client_);
    if (!outcomes.hasMore()) break;
    while (outcomes.hasMore()) handle(outcomes.getNext());
  }
  requireComplete();
}

void Connection::requireComplete() const {
  if (client_.isReplyComplete()) return;
  throw CtlFailure(ExitCode::PROTOCOL,
                   triedText() +
                       ": the server closed the connection before its reply was complete; "
                       "results may be missing; check that it still runs and try again");
}

}  // namespace orvix::ctl
