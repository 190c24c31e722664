// SPDX-License-Identifier: Apache-2.0
// Asks, before any work, whether this library and that server understand each other.
// Usage: upgrade PORT
#include <cstdlib>
#include <iostream>
#include <qorcomm.h>
#include <string>

using namespace orvix::comm;
using orvix::util::ExtendedProperties;

namespace {

// [check]
/// Whether the server speaks one of the protocol versions in `versions`: "1.1", "1.0-1.2,2.0".
bool isCompatible(TamberPerfClient& client, const icu::UnicodeString& versions) {
  ExtendedProperties properties;
  properties.putProperty(StaticDefs::SUPPORTED_SERVER_VERSIONS, versions);
  ClientRequest request;
  request.buildRequest(ClientRequest::VERSIONS_VALIDATION, properties);
  ClientResponse response;
  try {
    client.sendAndRecvMesg(request, response);
    return true;
  } catch (const RESTException& e) {
    if (!e.isServerReported()) throw;  // not an answer, but no connection
    return false;
  }
}
// [end]

}  // namespace

int main(int argc, char** argv) try {
  const unsigned int port = argc == 2 ? static_cast<unsigned int>(std::atoi(argv[1])) : 0;
  if (port == 0 || port > 65535) {
    std::cerr << "usage: upgrade PORT\n";
    return 2;
  }
  TamberPerfClient client(u"127.0.0.1", port);
  std::cout << &qorcomm_component_marker[0] << '\n';  // name and major version of the library
  std::cout << (isCompatible(client, u"1.1") ? "yes\n" : "no\n");
  std::cout << (isCompatible(client, u"2.0-2.4") ? "yes\n" : "no\n");
} catch (const RESTException& e) {
  std::cerr << e.what() << '\n';
  return 1;
}
// Prints:
// qorcomm 1
// yes
// no
