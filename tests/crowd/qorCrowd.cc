// SPDX-License-Identifier: Apache-2.0
// What many idle and slow connections cost everybody else.
//   crowd guests SERVER IDLE SLOW REQUESTS   latencies of one client, alone and among the others,
//                                            and memory
//   crowd descriptors SERVER                 the server runs out of descriptors and gets some back
// Prints what it measured; exit code 0 when within the bounds.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "tests/durability/qorPeer.h"
#include "tests/durability/qorWatchedServer.h"
#include "tests/server/qorServerBytes.h"
#include "tests/soak/qorVitals.h"
#include "tests/support/qorFolder.h"
#include "tests/support/qorLoopback.h"

namespace orvix::durability {
namespace {

namespace bytes = server::testing;
using Clock = std::chrono::steady_clock;

constexpr double P99_FACTOR = 2.0;
constexpr double P99_SLACK_MS = 0.5;  // of a busy machine's scheduler
constexpr double MEMORY_LIMIT_MIB = 128;
constexpr double BUSY_LIMIT = 0.2;  // processor seconds a second, without descriptors

int connectTo(unsigned port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (test::connectToLoopback(socket, port)) return socket;
  ::close(socket);
  return -1;
}

/// Connections that send nothing, and connections that send a byte of a header now and then and
/// come back when they are thrown out.
class Guests {
 public:
  Guests(unsigned port, std::size_t idle, std::size_t slow) : port_(port) {
    for (std::size_t i = 0; i < idle; ++i) idle_.push_back(connectTo(port));
    for (std::size_t i = 0; i < slow; ++i) slow_.push_back(connectTo(port));
    thread_ = std::thread([this] { drip(); });
  }
  Guests(const Guests&) = delete;
  Guests& operator=(const Guests&) = delete;
  ~Guests() {
    ended_ = true;
    thread_.join();
    for (const int socket : idle_) ::close(socket);
    for (const int socket : slow_) ::close(socket);
  }
  [[nodiscard]] std::size_t refused() const {
    return static_cast<std::size_t>(std::count(idle_.begin(), idle_.end(), -1));
  }

 private:
  void drip() {
    const std::string frame = bytes::requestFrame("action: getStatus\n");
    for (std::size_t at = 0; !ended_; ++at) {
      int& socket = slow_.empty() ? spare_ : slow_[at % slow_.size()];
      const char byte = frame[at / std::max<std::size_t>(1, slow_.size()) % frame.size()];
      if (::send(socket, &byte, 1, MSG_NOSIGNAL) != 1) {
        ::close(socket);
        socket = connectTo(port_);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  unsigned port_;
  std::vector<int> idle_;
  std::vector<int> slow_;
  int spare_ = -1;
  std::atomic<bool> ended_ = false;
  std::thread thread_;
};

struct Latencies {
  double median = 0;
  double p99 = 0;
};

Latencies measure(unsigned port, std::size_t requests) {
  Peer peer(port);
  std::vector<double> milliseconds;
  for (std::size_t i = 0; i < requests; ++i) {
    const auto start = Clock::now();
    if (!peer.search("c", "word")) std::abort();
    milliseconds.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
  }
  std::sort(milliseconds.begin(), milliseconds.end());
  return {milliseconds[requests / 2], milliseconds[requests * 99 / 100]};
}

void fill(unsigned port) {
  Peer peer(port);
  peer.ask("action: createCollection\nindex: c\n");
  for (int i = 0; i < 1000; ++i) {
    peer.tell("action: asyncAddDocument\nindex: c\n",
              bytes::documentOf("k" + std::to_string(i), i % 20 == 0 ? "word" : "other"));
  }
  peer.ask("action: updateIndex\nindex: c\n");
}

bool holds(bool condition, const char* what) {
  if (!condition) std::cout << "FAILED: " << what << '\n';
  return condition;
}

bool guests(const WatchedServer& server, std::size_t idle, std::size_t slow, std::size_t requests) {
  fill(server.port());
  static_cast<void>(measure(server.port(), requests / 10));
  const Latencies before = measure(server.port(), requests);
  const double memoryBefore = soak::vitalsOf(server.process()).residentMiB;
  const Guests others(server.port(), idle, slow);
  const Latencies among = measure(server.port(), requests);
  const double memory = soak::vitalsOf(server.process()).residentMiB;
  std::cout << "alone: p50 " << before.median << " ms, p99 " << before.p99 << " ms, "
            << memoryBefore << " MiB\n"
            << "among " << idle << " idle and " << slow << " slow: p50 " << among.median
            << " ms, p99 " << among.p99 << " ms, " << memory << " MiB\n";
  const bool served = holds(others.refused() == 0, "all connections are taken");
  const bool quick = holds(among.p99 <= P99_FACTOR * before.p99 + P99_SLACK_MS, "p99");
  return holds(memory - memoryBefore <= MEMORY_LIMIT_MIB, "memory") && quick && served;
}

bool descriptors(const WatchedServer& server) {
  fill(server.port());
  server.limitDescriptors(40);
  std::vector<int> sockets;
  for (int i = 0; i < 60; ++i) sockets.push_back(connectTo(server.port()));
  const double before = soak::processorSecondsOf(server.process());
  std::this_thread::sleep_for(std::chrono::seconds(2));  // the time that is measured
  const double busy = (soak::processorSecondsOf(server.process()) - before) / 2;
  std::cout << "without descriptors: " << busy << " processor seconds a second\n";
  const bool calm = holds(busy <= BUSY_LIMIT, "the server spins");
  for (const int socket : sockets) ::close(socket);
  Peer peer(server.port());
  return holds(peer.search("c", "word").has_value(), "served once there are descriptors") && calm;
}

int run(const std::vector<std::string>& words) {
  if (words.size() < 2) return 2;
  rlimit most{};
  ::getrlimit(RLIMIT_NOFILE, &most);
  most.rlim_cur = most.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &most);
  const test::Folder folder;
  const WatchedServer server(words[1], folder.path() / "data", {});
  bool well = false;
  if (words[0] == "guests" && words.size() == 5) {
    well = guests(server, std::stoul(words[2]), std::stoul(words[3]), std::stoul(words[4]));
  } else if (words[0] == "descriptors") {
    well = descriptors(server);
  }
  return well ? 0 : 1;
}

}  // namespace
}  // namespace orvix::durability

int main(int argc, char** argv) {
  return orvix::durability::run(std::vector<std::string>(argv + 1, argv + argc));
}
