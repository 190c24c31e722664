// SPDX-License-Identifier: Apache-2.0
// Connects to a server that wants a token, and asks who is there.
// Usage: connect PORT
#include <cstdlib>
#include <iostream>
#include <qorcomm.h>
#include <string>

using namespace orvix::comm;
using orvix::util::ExtendedProperties;

namespace {

// [connect]
/// The server's version text.
std::string whoIsThere(TamberPerfClient& client, const icu::UnicodeString& token) {
  ExtendedProperties properties;
  properties.putProperty(StaticDefs::PARAM_AUTHENTICATION_TOKEN, token);  // with every request
  ClientRequest request;
  request.buildRequest(ClientRequest::GET_SERVER_VERSION, properties);
  ClientResponse response;
  client.sendAndRecvMesg(request, response);  // the connection is opened here
  std::string version;
  return response.getContent().toUTF8String(version);
}
// [end]

}  // namespace

int main(int argc, char** argv) try {
  const unsigned int port = argc == 2 ? static_cast<unsigned int>(std::atoi(argv[1])) : 0;
  if (port == 0 || port > 65535) {
    std::cerr << "usage: connect PORT\n";
    return 2;
  }
  // [client]
  TamberPerfClient client(u"127.0.0.1", port);  // a name or an address; does nothing yet
  client.setTimeOut(5000);                      // for connecting, in milliseconds
  client.setReceiveTimeOut(30000);              // for each step of a reply
  client.setSendTimeOut(30000);                 // for each write
  // [end]
  const std::string version = whoIsThere(client, u"example-token");
  std::cout << version.substr(0, version.find(' ')) << " answers\n";
  try {
    whoIsThere(client, u"a wrong one");
  } catch (const RESTException& e) {
    std::string id;
    std::cout << e.getMessages().getFirstMessage().getMessageID().toUTF8String(id) << '\n';
  }
} catch (const RESTException& e) {
  std::cerr << e.what() << '\n';
  return 1;
}
// Prints:
// qorserver answers
// ERR_SERVER_INVALID_AUTH
