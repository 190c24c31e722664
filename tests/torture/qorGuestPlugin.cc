// SPDX-License-Identifier: Apache-2.0
// The guest: a plug-in that makes requests with the shared library, as a host's extension would.
// The host knows these five functions and nothing of the library.
#include <qorcomm.h>
#include <string>

using namespace orvix;
using comm::ClientRequest;
using comm::ClientResponse;
using comm::StaticDefs;
using comm::TamberPerfClient;

namespace {

/// 0 when the reply is what the peer is known to give.
int ask(TamberPerfClient& client, ClientRequest::REQUEST kind) {
  const bool isSearch =
      kind == ClientRequest::STREAM_SEARCH || kind == ClientRequest::SCALAR_SEARCH;
  util::ExtendedProperties properties;
  properties.putProperty(StaticDefs::PARAM_QUERY, u"ab");
  ClientRequest request;
  ClientResponse response;
  request.buildRequest(u"guests", kind, properties);
  request.setDocKey("k", 1);
  if (kind == ClientRequest::ADD_DOCUMENT) request.setContent({}, "content", 7);
  try {
    client.sendAndRecvMesg(request, response);
  } catch (const comm::RESTException& e) {
    return kind == ClientRequest::TAKEOVER && e.isServerReported() ? 0 : 1;
  }
  if (!isSearch) return kind == ClientRequest::TAKEOVER ? 1 : 0;
  const comm::SearchResult& hit = response.getSearchResponse().getNext();
  return hit.getKey() == u"base64:YWI=" && hit.getScore() == 0.5 ? 0 : 1;
}

}  // namespace

#define GUEST extern "C" __attribute__((visibility("default")))

/// One request of every kind that is answered or not; 0, or the kind that went wrong.
GUEST int guestRequest(unsigned int port) {
  TamberPerfClient client(u"127.0.0.1", port);
  for (unsigned int kind = 1; kind <= 25; ++kind) {
    if (kind == 6 || kind == 7) continue;
    if (ask(client, static_cast<ClientRequest::REQUEST>(kind)) != 0) return static_cast<int>(kind);
  }
  return 0;
}

/// Writes a large document to a peer that closes and resets meanwhile; 0 when that is an error.
GUEST int guestSend(unsigned int port) {
  const std::string content(16U << 20U, 'c');
  TamberPerfClient client(u"127.0.0.1", port);
  ClientRequest request;
  ClientResponse response;
  request.buildRequest(u"broken", ClientRequest::ADD_DOCUMENT, {});
  request.setDocKey("k", 1);
  request.setContent({}, content.data(), static_cast<unsigned int>(content.size()));
  try {
    client.sendAndRecvMesg(request, response);
  } catch (const comm::RESTException& e) {
    return e.getMessages().getFirstMessage().getMessageID() == StaticDefs::ERR_SERVER_COMM_SEND ? 0
                                                                                                : 1;
  }
  return 1;
}

GUEST void* guestOpen(unsigned int port) { return new TamberPerfClient(u"127.0.0.1", port); }
GUEST void guestClose(void* client) { delete static_cast<TamberPerfClient*>(client); }
GUEST int guestAsk(void* client) {
  return ask(*static_cast<TamberPerfClient*>(client), ClientRequest::SCALAR_SEARCH);
}
