// SPDX-License-Identifier: Apache-2.0
// Loads many documents in one batch, ends it, and learns what became of each. Usage: batch PORT
#include <cstdlib>
#include <iostream>
#include <qorcomm.h>
#include <string>
#include <vector>

using namespace orvix::comm;
using orvix::util::ExtendedProperties;

namespace {

struct Document {
  std::string key;
  std::string text;
  const char16_t* charset;
};

std::vector<Document> documents() {
  std::vector<Document> all;
  all.reserve(121);
  for (int i = 0; i < 120; ++i) all.push_back({"d" + std::to_string(i), "some text", u"UTF-8"});
  all.push_back({"odd", "text in nobody's letters", u"no-such-charset"});
  return all;
}

unsigned int lengthOf(const std::string& bytes) { return static_cast<unsigned int>(bytes.size()); }

}  // namespace

int main(int argc, char** argv) try {
  const unsigned int port = argc == 2 ? static_cast<unsigned int>(std::atoi(argv[1])) : 0;
  if (port == 0 || port > 65535) {
    std::cerr << "usage: batch PORT\n";
    return 2;
  }
  TamberPerfClient client(u"127.0.0.1", port);
  ClientResponse response;
  ClientRequest create;
  create.buildRequest(u"batch", ClientRequest::CREATE_COLLECTION, {});
  client.sendAndRecvMesg(create, response);

  const std::vector<Document> rows = documents();
  // [batch]
  client.useBufferedConnection(true);  // small documents are written together
  for (const Document& row : rows) {
    ExtendedProperties properties;
    properties.putProperty(StaticDefs::PARAM_KNOWN_CHARSET, row.charset);
    ClientRequest add;
    add.buildRequest(u"batch", ClientRequest::ASYNC_ADD_DOCUMENT, properties);
    add.setDocKey(row.key.data(), lengthOf(row.key));
    add.setContent({}, row.text.data(), lengthOf(row.text));
    client.sendAndRecvMesg(add, response);  // is not answered
  }
  ClientRequest last;
  last.buildRequest(u"batch", ClientRequest::LAST_DOC_SENT, {});
  client.sendAndRecvMesg(last, response);  // writes what is gathered; is not answered either
  // [end]

  // [outcomes]
  ClientRequest ask;
  ask.buildRequest(u"batch", ClientRequest::PARSE_RESULT, {});
  client.sendAndRecvMesg(ask, response);  // commits, and waits for all outcomes
  ParseResponse& outcomes = response.getParseResponse();
  std::size_t told = 0;
  while (outcomes.hasMore()) {
    const ParseResult& outcome = outcomes.getNext();
    ++told;
    const icu::UnicodeString& id = outcome.getMessage().getMessageID();
    if (id.isEmpty()) continue;  // indexed
    std::string key, why;
    std::cout << outcome.getText().toUTF8String(key) << ": " << id.toUTF8String(why) << '\n';
  }
  if (told < rows.size()) std::cout << "some were lost: send the batch again\n";
  // [end]
  std::cout << told << " outcomes\n";
} catch (const RESTException& e) {
  std::cerr << e.what() << '\n';
  return 1;
}
// Prints:
// odd: SRV_CHARSET_UNKNOWN
// 121 outcomes
