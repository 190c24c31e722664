// SPDX-License-Identifier: Apache-2.0
// torture-threads, for ThreadSanitizer: sixteen threads with a client each make requests of all
// kinds against peers in the same process, and fresh processes let as many threads make the very
// first use of the library at the same moment. Whatever the sanitizer reports is a failure.
#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>

#include "comm/protocol/qorStaticDefs.h"
#include "comm/support/qorRESTException.h"
#include "comm/transport/qorTamberPerfClient.h"
#include "tests/torture/qorOptions.h"
#include "tests/torture/qorResponder.h"

namespace {
std::atomic<unsigned int> reports{0};
}  // namespace

/// Called by the sanitizer's run-time for each of its reports.
// NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming)
extern "C" __attribute__((visibility("default"))) void __tsan_on_report(const void*);
extern "C" void __tsan_on_report(const void*) { ++reports; }
// NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming)

namespace orvix::torture {
namespace {

constexpr unsigned int THREADS = 16;
constexpr char COLD[] = "--cold";  // what a process is started with to make the first use

using comm::ClientRequest;
using namespace comm::kinds;

std::atomic<std::size_t> requests{0};
std::atomic<std::size_t> wrong{0};

/// Whether the hit is the one that was asked for, not another thread's.
bool isMine(comm::SearchResponse& hits, const std::string& word) {
  if (!hits.hasMore()) return false;
  const comm::SearchResult& hit = hits.getNext();
  const auto* const key = reinterpret_cast<const char*>(hit.getRawKey());
  return std::string(key, hit.getRawKeyLength()) == word;
}

void ask(comm::TamberPerfClient& client, std::uint32_t kind, unsigned int thread,
         unsigned int turn) {
  const std::string word = std::to_string(thread) + " turn " + std::to_string(turn);
  util::ExtendedProperties properties;
  properties.putProperty(comm::StaticDefs::PARAM_QUERY, icu::UnicodeString::fromUTF8(word));
  ClientRequest request;
  request.buildRequest(u"threads", static_cast<ClientRequest::REQUEST>(kind), properties);
  request.setDocKey("k", 1);
  request.setContent({comm::KVPair(u"Indexable:title", u"text")}, "content", 7);
  comm::ClientResponse response;
  ++requests;
  try {
    client.sendAndRecvMesg(request, response);
    if (kind == TAKEOVER) ++wrong;
    if ((kind == STREAM_SEARCH || kind == SCALAR_SEARCH) &&
        !isMine(response.getSearchResponse(), word)) {
      ++wrong;
    }
  } catch (const std::exception& e) {
    if (kind == TAKEOVER) return;
    ++wrong;
    std::fprintf(stderr, "kind %u: %s\n", kind, e.what());
  }
}

void drive(unsigned int port, unsigned int thread, unsigned int turns) {
  comm::TamberPerfClient client(u"127.0.0.1", port);
  for (unsigned int turn = 0; turn < turns; ++turn) {
    client.useBufferedConnection((turn + thread) % 2 == 0);
    client.usePeristentConnection((turn + thread) % 5 != 0);
    client.setReceiveTimeOut(turn % 3 == 0 ? 60'000 : 0);
    for (std::uint32_t kind = 1; kind <= 25; ++kind) {
      if (kind != 6 && kind != 7) ask(client, kind, thread, turn);
    }
  }
}

/// All threads start at one moment. False when a reply or the sanitizer says that it went wrong.
bool together(unsigned int turns) {
  const unsigned int port = startResponder();
  std::barrier start(THREADS);
  std::vector<std::thread> threads;
  for (unsigned int i = 0; i < THREADS; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      drive(port, i, turns);
    });
  }
  for (std::thread& thread : threads) thread.join();
  return wrong == 0 && reports == 0;
}

bool coldStart() {
  char self[] = "/proc/self/exe";
  char cold[sizeof COLD];
  std::memcpy(cold, COLD, sizeof COLD);
  char* arguments[] = {self, cold, nullptr};
  pid_t child = 0;
  int status = -1;
  if (::posix_spawn(&child, self, nullptr, nullptr, arguments, environ) != 0) return false;
  return ::waitpid(child, &status, 0) == child && status == 0;
}

int torture(const Options& options) {
  const auto start = std::chrono::steady_clock::now();
  const unsigned int starts = options.quick ? 10 : 100;
  unsigned int failed = 0;
  for (unsigned int i = 0; i < starts; ++i) failed += coldStart() ? 0U : 1U;
  const bool good = together(options.quick ? 5 : 50) && failed == 0;
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  std::printf(
      "torture-threads: %u threads, %zu requests, %zu wrong, %u reports; %u cold starts, "
      "%u failed, %.1f s\n",
      THREADS, requests.load(), wrong.load(), reports.load(), starts, failed, took.count());
  return good ? 0 : 1;
}

}  // namespace
}  // namespace orvix::torture

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], orvix::torture::COLD) == 0) {
    return orvix::torture::together(1) ? 0 : 1;
  }
  return orvix::torture::torture({argc, argv});
}
