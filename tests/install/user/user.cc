// SPDX-License-Identifier: Apache-2.0
// A user's program: asks a server that is not there for its version and says what went wrong.
#include <iostream>
#include <qorcomm.h>

int main() {
  orvix::comm::TamberPerfClient client(u"127.0.0.1", 1);
  client.setNumRetries(0);
  orvix::comm::ClientRequest request;
  request.buildRequest(orvix::comm::ClientRequest::GET_SERVER_VERSION, {});
  orvix::comm::ClientResponse response;
  try {
    client.sendAndRecvMesg(request, response);
  } catch (const orvix::comm::RESTException& error) {
    const bool expected = error.getMessages().getFirstMessage().getMessageID() ==
                          orvix::comm::StaticDefs::ERR_CONNECT_SERVER;
    std::cout << error.what() << '\n' << &qorcomm_component_marker[0] << '\n';
    return expected ? 0 : 1;
  }
  return 2;
}
