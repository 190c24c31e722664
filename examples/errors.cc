// SPDX-License-Identifier: Apache-2.0
// Tells failures apart by what the caller can do about them. Usage: errors PORT
#include <cstdlib>
#include <iostream>
#include <qorcomm.h>

using namespace orvix::comm;
using orvix::util::ExtendedProperties;

namespace {

// [advice]
/// What to do about a failed request.
const char* adviceFor(const RESTException& e) {
  const icu::UnicodeString& id = e.getMessages().getFirstMessage().getMessageID();
  if (e.isServerReported()) return "the server refused: correct the request, read its message";
  if (id == StaticDefs::ERR_CONNECT_SERVER) return "no connection: check host, port and server";
  if (id == StaticDefs::ERR_SERVER_INVALID_AUTH) return "the token was refused: get another one";
  if (id == StaticDefs::ERR_SERVER_COMM_SEND || id == StaticDefs::ERR_SERVER_COMM_RECV ||
      id == StaticDefs::ERR_SERVER_COMM_TIMEOUT) {
    return "lost on the way: it may have been carried out";
  }
  if (id == StaticDefs::ERR_SERVER_PROTOCOL || id == StaticDefs::ERR_CLIENT_RESP_PARSING) {
    return "the reply makes no sense: is this the right server?";
  }
  return "a fault in this program or this library: report it with what() and all messages";
}
// [end]

void attempt(unsigned int port) {
  ExtendedProperties properties;
  properties.putProperty(StaticDefs::PARAM_QUERY, u"anything");
  ClientRequest request;
  request.buildRequest(u"no such collection", ClientRequest::SCALAR_SEARCH, properties);
  // [catch]
  TamberPerfClient client(u"127.0.0.1", port);
  ClientResponse response;
  try {
    client.sendAndRecvMesg(request, response);
  } catch (const RESTException& e) {
    std::cerr << e.what() << '\n';  // one line: id, text, host and port, place
    for (const orvix::oss::Message& message : e.getMessages()) {
      std::string id;  // the first names the failure, the others its cause
      std::cerr << "  " << message.getMessageID().toUTF8String(id) << '\n';
    }
    std::cout << adviceFor(e) << '\n';
  } catch (const orvix::oss::NLSException& e) {
    std::cerr << e.what() << '\n';  // memory for a text ran out
  }
  // [end]
}

}  // namespace

int main(int argc, char** argv) {
  const unsigned int port = argc == 2 ? static_cast<unsigned int>(std::atoi(argv[1])) : 0;
  if (port == 0 || port > 65535) {
    std::cerr << "usage: errors PORT\n";
    return 2;
  }
  attempt(port);
  attempt(1);  // where nobody listens
}
// Prints:
// the server refused: correct the request, read its message
// no connection: check host, port and server
