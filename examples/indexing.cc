// SPDX-License-Identifier: Apache-2.0
// Keeps a text index for a table: one document for each row, under the row's key, with two columns
// as fields. Usage: indexing PORT
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <qorcomm.h>

using namespace orvix::comm;
using orvix::util::ExtendedProperties;

namespace {

struct Row {
  const char* id;
  const char16_t* title;
  const char16_t* year;
  const char* text;
};

constexpr Row ROWS[] = {
    {"b1", u"Rivers", u"1999", "how a river finds its way to the sea"},
    {"b2", u"Hills", u"2004", "walks above the river"},
    {"b3", u"Seas", u"1987", "what a river becomes"},
};

unsigned int lengthOf(const char* text) { return static_cast<unsigned int>(std::strlen(text)); }

/// Runs a request about the table's collection that carries no document.
ClientResponse ask(TamberPerfClient& client, ClientRequest::REQUEST kind,
                   const ExtendedProperties& properties = {}) {
  ClientRequest request;
  request.buildRequest(u"books", kind, properties);
  ClientResponse response;
  client.sendAndRecvMesg(request, response);
  return response;
}

// [create]
void createIndex(TamberPerfClient& client) {
  ExtendedProperties properties;
  properties.putProperty(StaticDefs::PARAM_DISPLAY_NAME, u"The books");
  properties.putProperty(StaticDefs::PARAM_FALLBACK_LANGUAGE, u"en");  // rules for its words
  ask(client, ClientRequest::CREATE_COLLECTION, properties);
}
// [end]

// [row]
/// Adds the row, or replaces the one with the same key.
void indexRow(TamberPerfClient& client, const Row& row) {
  ClientRequest request;  // one for each document: key, fields and content stay in it
  request.buildRequest(u"books", ClientRequest::ADD_DOCUMENT, {});
  request.setDocKey(row.id, lengthOf(row.id));  // borrowed until the send has returned
  request.setContent({KVPair(StaticDefs::PARAM_INDEXABLE_METADATA_PREFIX + u"title", row.title),
                      KVPair(StaticDefs::PARAM_SORTABLE_METADATA_PREFIX + u"year", row.year)},
                     row.text, lengthOf(row.text));  // the fields are copied, the text is not
  ClientResponse response;
  client.sendAndRecvMesg(request, response);
}

void removeRow(TamberPerfClient& client, const char* id) {
  ClientRequest request;
  request.buildRequest(u"books", ClientRequest::DELETE_DOCUMENT, {});
  request.setDocKey(id, lengthOf(id));
  ClientResponse response;
  client.sendAndRecvMesg(request, response);
}
// [end]

}  // namespace

int main(int argc, char** argv) try {
  const unsigned int port = argc == 2 ? static_cast<unsigned int>(std::atoi(argv[1])) : 0;
  if (port == 0 || port > 65535) {
    std::cerr << "usage: indexing PORT\n";
    return 2;
  }
  TamberPerfClient client(u"127.0.0.1", port);
  createIndex(client);
  for (const Row& row : ROWS) indexRow(client, row);
  indexRow(client, {"b2", u"Hills", u"2005", "walks above the river, second edition"});
  removeRow(client, "b3");

  ExtendedProperties properties;
  properties.putProperty(StaticDefs::PARAM_QUERY, u"river");
  ClientResponse estimate = ask(client, ClientRequest::SELECTIVITY, properties);
  std::cout << estimate.getSelectivityInfo().getValue1() << " rows hold the word\n";
} catch (const RESTException& e) {
  std::cerr << e.what() << '\n';
  return 1;
}
// Prints:
// 2 rows hold the word
