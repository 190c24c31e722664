// SPDX-License-Identifier: Apache-2.0
// The only place of the library that throws a RESTException.
#include "comm/protocol/internal/qorWords.h"
#include "comm/support/internal/qorRaiseSites.h"

namespace orvix::comm::detail {

namespace {

RESTException compose(const Site& site) {
  RESTException error(*site.id, site.file, site.line);
  if (site.text != nullptr) error.getErrorMessage().addArgument(site.text, nullptr);
  return error;
}

void addPeer(RESTException& error, const Peer& peer) {
  error.getErrorMessage().addArgument(peer.host);
  error.getErrorMessage().addArgument(peer.port);
}

void addCause(RESTException& error, const oss::BaseException& cause) {
  if (!cause.getMessages().isEmpty()) error.addMessage(cause.getMessages().getFirstMessage());
}

}  // namespace

void raiseAt(const Site& site) { throw compose(site); }

void raiseAt(const Site& site, const Peer& peer) {
  RESTException error = compose(site);
  addPeer(error, peer);
  throw error;
}

void raiseAt(const Site& site, const Peer& peer, const oss::BaseException& cause) {
  RESTException error = compose(site);
  addPeer(error, peer);
  addCause(error, cause);
  throw error;
}

void raiseAt(const Site& site, const oss::BaseException& cause) {
  RESTException error = compose(site);
  addCause(error, cause);
  throw error;
}

void raiseAtHost(const Site& site, const Peer& peer, const oss::BaseException& cause) {
  RESTException error = compose(site);
  addCause(error, cause);
  error.getErrorMessage().addArgument(peer.host);
  throw error;
}

RESTException ErrorAccess::serverReported() {
  RESTException error(StaticDefs::ERR_SERVER_APP, true);
  error.serverReported_ = true;
  error.addMessage(
      oss::Message(StaticDefs::ERR_SERVER_APP, words::EMPTY, oss::Message::LEVEL_ERROR));
  return error;
}

RESTException serverFailure() { return ErrorAccess::serverReported(); }

void raise(const RESTException& failure) { throw RESTException(failure); }

}  // namespace orvix::comm::detail
