// SPDX-License-Identifier: Apache-2.0
// Asks from several threads at once, each with a client of its own. Usage: threads PORT
#include <atomic>
#include <cstdlib>
#include <iostream>
#include <qorcomm.h>
#include <thread>
#include <vector>

using namespace orvix::comm;

int main(int argc, char** argv) {
  const unsigned int port = argc == 2 ? static_cast<unsigned int>(std::atoi(argv[1])) : 0;
  if (port == 0 || port > 65535) {
    std::cerr << "usage: threads PORT\n";
    return 2;
  }
  std::atomic<int> answered{0};
  // [threads]
  const auto work = [port, &answered] {
    try {
      TamberPerfClient client(u"127.0.0.1", port);  // one for each thread: they share nothing
      ClientRequest request;
      request.buildRequest(ClientRequest::GET_STATUS, {});
      ClientResponse response;
      for (int i = 0; i < 50; ++i) {
        client.sendAndRecvMesg(request, response);
        if (response.success()) ++answered;
      }
    } catch (const RESTException& e) {  // an exception must not leave its thread
      std::cerr << e.what() << '\n';
    }
  };
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
  // [end]
  std::cout << answered << " answers\n";
}
// Prints:
// 200 answers
