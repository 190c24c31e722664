// SPDX-License-Identifier: Apache-2.0
// Adds a document and searches for it. Usage: quickstart PORT (of a qorserver on this machine)
#include <cstdlib>
#include <iostream>
#include <qorcomm.h>

using namespace orvix::comm;
using orvix::util::ExtendedProperties;

int main(int argc, char** argv) try {
  const unsigned int port = argc == 2 ? static_cast<unsigned int>(std::atoi(argv[1])) : 0;
  if (port == 0 || port > 65535) {
    std::cerr << "usage: quickstart PORT (of a qorserver on this machine)\n";
    return 2;
  }
  // [quickstart]
  TamberPerfClient client(u"127.0.0.1", port);
  ClientRequest create, add, search;  // a request keeps its document: take one for each
  ClientResponse response;
  ExtendedProperties properties;

  create.buildRequest(u"notes", ClientRequest::CREATE_COLLECTION, properties);
  client.sendAndRecvMesg(create, response);  // connects; throws RESTException, what() says it all

  add.buildRequest(u"notes", ClientRequest::ADD_DOCUMENT, properties);
  add.setDocKey("first", 5);
  add.setContent({KVPair(u"Indexable:title", u"Rivers")}, "a river in the hills", 20);
  client.sendAndRecvMesg(add, response);

  properties.putProperty(StaticDefs::PARAM_QUERY, u"rivers");
  properties.putProperty(u"scoreType", u"normalized");  // from 0 to 1
  search.buildRequest(u"notes", ClientRequest::SCALAR_SEARCH, properties);
  client.sendAndRecvMesg(search, response);
  for (SearchResponse& hits = response.getSearchResponse(); hits.hasMore();) {
    const SearchResult& hit = hits.getNext();
    std::cout.write(reinterpret_cast<const char*>(hit.getRawKey()), hit.getRawKeyLength());
    std::cout << " " << hit.getScore() << '\n';
  }
  // [end]
} catch (const RESTException& e) {
  std::cerr << e.what() << '\n';
  return 1;
}
// Prints:
// first 1
