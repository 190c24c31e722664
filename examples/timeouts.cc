// SPDX-License-Identifier: Apache-2.0
// Bounds every wait, and decides about repeating itself. The peer is one that never answers: the
// system takes its connections, and nobody reads them. Usage: timeouts PORT (not used)
#include <arpa/inet.h>
#include <chrono>
#include <iostream>
#include <qorcomm.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

using namespace orvix::comm;

namespace {

class SilentPeer {
 public:
  SilentPeer() : descriptor_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(descriptor_, generic, size) != 0 || ::listen(descriptor_, 8) != 0 ||
        ::getsockname(descriptor_, generic, &size) != 0) {
      throw std::runtime_error("no port to listen on");
    }
    port_ = ntohs(address.sin_port);
  }
  SilentPeer(const SilentPeer&) = delete;
  SilentPeer& operator=(const SilentPeer&) = delete;
  ~SilentPeer() { ::close(descriptor_); }

  [[nodiscard]] unsigned int port() const { return port_; }

 private:
  int descriptor_;
  unsigned int port_ = 0;
};

}  // namespace

int main() try {
  const SilentPeer peer;
  const auto begin = std::chrono::steady_clock::now();
  // [bounds]
  TamberPerfClient client(u"127.0.0.1", peer.port());
  client.setTimeOut(2000);        // connecting: ERR_CONNECT_SERVER when it passes
  client.setReceiveTimeOut(200);  // each step of a reply: ERR_SERVER_COMM_TIMEOUT
  client.setSendTimeOut(200);     // each write: ERR_SERVER_COMM_SEND
  client.setNumRetries(2);        // three attempts at most, each on a new connection
  // [end]
  ClientRequest request;
  request.buildRequest(ClientRequest::GET_STATUS, {});
  ClientResponse response;
  std::string said;
  // [decide]
  try {
    client.sendAndRecvMesg(request, response);
  } catch (const RESTException& e) {
    const icu::UnicodeString& id = e.getMessages().getFirstMessage().getMessageID();
    id.toUTF8String(said);
    if (!e.isServerReported() && client.isRetryableError(id)) {
      said += ": may have been carried out, and may be asked again";
    }
  }
  // [end]
  const auto waited = std::chrono::steady_clock::now() - begin;
  std::cout << said << '\n';
  std::cout << (waited >= std::chrono::milliseconds(600) ? "three attempts\n" : "too soon\n");
  return 0;
} catch (const std::exception& e) {
  std::cerr << e.what() << '\n';
  return 1;
}
// Prints:
// ERR_SERVER_COMM_TIMEOUT: may have been carried out, and may be asked again
// three attempts
