// SPDX-License-Identifier: Apache-2.0
// Reads a long list of hits piece by piece, and leaves one unread. Usage: stream PORT
#include <cstdlib>
#include <iostream>
#include <qorcomm.h>
#include <string>

using namespace orvix::comm;
using orvix::util::ExtendedProperties;

namespace {

constexpr int DOCUMENTS = 2000;

void fill(TamberPerfClient& client) {
  ClientResponse response;
  ClientRequest create, add, last;
  create.buildRequest(u"lines", ClientRequest::CREATE_COLLECTION, {});
  client.sendAndRecvMesg(create, response);
  client.useBufferedConnection(true);
  add.buildRequest(u"lines", ClientRequest::ASYNC_ADD_DOCUMENT, {});
  for (int i = 0; i < DOCUMENTS; ++i) {
    const std::string key = "line " + std::to_string(i);
    add.setDocKey(key.data(), static_cast<unsigned int>(key.size()));
    add.setContent({}, "common", 6);
    client.sendAndRecvMesg(add, response);
  }
  last.buildRequest(u"lines", ClientRequest::LAST_DOC_SENT, {});
  client.sendAndRecvMesg(last, response);
}

}  // namespace

int main(int argc, char** argv) try {
  const unsigned int port = argc == 2 ? static_cast<unsigned int>(std::atoi(argv[1])) : 0;
  if (port == 0 || port > 65535) {
    std::cerr << "usage: stream PORT\n";
    return 2;
  }
  TamberPerfClient client(u"127.0.0.1", port);
  fill(client);
  ExtendedProperties properties;
  properties.putProperty(StaticDefs::PARAM_QUERY, u"common");
  ClientRequest request;
  ClientResponse response;
  // [stream]
  client.useStreamedResults(true);
  request.buildRequest(u"lines", ClientRequest::STREAM_SEARCH, properties);
  client.sendAndRecvMesg(request, response);  // returns with the first hits
  int seen = 0;
  for (;;) {
    SearchResponse& hits = response.getSearchResponse(client, true);  // waits for more
    if (!hits.hasMore()) break;                                       // the end
    while (hits.hasMore()) {
      const SearchResult& hit = hits.getNext();  // its key lives until the next pull
      if (hit.getRawKeyLength() != 0) ++seen;
    }
  }
  if (!client.isReplyComplete()) std::cout << "cut off: hits may be missing\n";
  // [end]
  std::cout << seen << " hits\n";

  // [abandon]
  client.sendAndRecvMesg(request, response);  // what is not pulled
  client.useStreamedResults(false);           // disturbs nobody:
  request.buildRequest(ClientRequest::GET_STATUS, {});
  client.sendAndRecvMesg(request, response);  // this one runs on a new connection
  // [end]
  std::cout << "status " << response.getStatusCode() << '\n';
  return seen == DOCUMENTS ? 0 : 1;
} catch (const RESTException& e) {
  std::cerr << e.what() << '\n';
  return 1;
}
// Prints:
// 2000 hits
// status 0
