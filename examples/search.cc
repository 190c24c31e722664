// SPDX-License-Identifier: Apache-2.0
// Searches: a page of the best hits, a page in the order of a field, and an estimate beforehand.
// Usage: search PORT
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <qorcomm.h>
#include <string>

using namespace orvix::comm;
using orvix::util::ExtendedProperties;

namespace {

void fill(TamberPerfClient& client) {
  ClientResponse response;
  ClientRequest create;
  create.buildRequest(u"books", ClientRequest::CREATE_COLLECTION, {});
  client.sendAndRecvMesg(create, response);
  const struct {
    const char *key, *text;
    const char16_t* year;
  } books[] = {{"b1", "a river to the sea", u"1999"},
               {"b2", "rivers of the hills", u"2004"},
               {"b3", "the salt of the sea", u"1987"}};
  for (const auto& book : books) {
    ClientRequest add;
    add.buildRequest(u"books", ClientRequest::ADD_DOCUMENT, {});
    add.setDocKey(book.key, static_cast<unsigned int>(std::strlen(book.key)));
    add.setContent({KVPair(u"[sortable]Indexable:year", book.year)}, book.text,
                   static_cast<unsigned int>(std::strlen(book.text)));
    client.sendAndRecvMesg(add, response);
  }
}

// [search]
void printPage(TamberPerfClient& client, const icu::UnicodeString& query,
               const icu::UnicodeString& order) {
  ExtendedProperties properties;
  properties.putProperty(StaticDefs::PARAM_QUERY, query);
  properties.putProperty(StaticDefs::PARAM_SORT_FIELD, order);
  properties.putProperty(StaticDefs::PARAM_START_OFFSET, u"0");  // hits to leave out
  properties.putProperty(StaticDefs::PARAM_SEARCH_SIZE, u"10");  // hits at most
  properties.putProperty(u"scoreType", u"normalized");           // scores from 0 to 1
  ClientRequest request;
  request.buildRequest(u"books", ClientRequest::SCALAR_SEARCH, properties);
  ClientResponse response;
  client.sendAndRecvMesg(request, response);
  SearchResponse& hits = response.getSearchResponse();
  while (hits.hasMore()) {
    const SearchResult& hit = hits.getNext();  // lives as long as the response
    const auto* key = reinterpret_cast<const char*>(hit.getRawKey());
    std::cout << std::string(key, hit.getRawKeyLength()) << ' ' << hit.getScore() << '\n';
  }
}
// [end]

// [estimate]
void printEstimate(TamberPerfClient& client, const icu::UnicodeString& query) {
  ExtendedProperties properties;
  properties.putProperty(StaticDefs::PARAM_QUERY, query);
  ClientRequest request;
  request.buildRequest(u"books", ClientRequest::SELECTIVITY, properties);
  ClientResponse response;
  client.sendAndRecvMesg(request, response);
  const SelectivityInfo& estimate = response.getSelectivityInfo();
  std::cout << "about " << estimate.getValue1() << " of " << estimate.getValue3() << '\n';
}
// [end]

}  // namespace

int main(int argc, char** argv) try {
  const unsigned int port = argc == 2 ? static_cast<unsigned int>(std::atoi(argv[1])) : 0;
  if (port == 0 || port > 65535) {
    std::cerr << "usage: search PORT\n";
    return 2;
  }
  TamberPerfClient client(u"127.0.0.1", port);
  fill(client);
  std::cout << std::fixed << std::setprecision(1);
  printEstimate(client, u"river");
  printPage(client, u"river AND hills", StaticDefs::PARAM_SORT_BY_SCORE);
  printPage(client, u"sea NOT year:2004", u"year");
} catch (const RESTException& e) {
  std::cerr << e.what() << '\n';
  return 1;
}
// Prints:
// about 2 of 3
// b2 1.0
// b3 1.0
// b1 1.0
