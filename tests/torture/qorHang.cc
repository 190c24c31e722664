// SPDX-License-Identifier: Apache-2.0
// torture-hang: no peer can hold a caller. A peer on real sockets stalls before every byte of every
// exchange, says nothing, trickles, never stops or does not read, calmly and under a storm of
// signals; every call that waits must return within 1.1 x its time-out, with the right error.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "comm/support/qorRESTException.h"
#include "comm/transport/qorTamberPerfClient.h"
#include "infra/oss/qorSocketException.h"
#include "tests/torture/qorHangCases.h"
#include "tests/torture/qorOptions.h"
#include "tests/torture/qorResponder.h"

namespace orvix::torture {
namespace {

using Clock = std::chrono::steady_clock;
using namespace comm::kinds;

constexpr unsigned int LIMIT = 200;        // milliseconds: both time-outs, and that of connecting
constexpr double MOST = 1.1 * LIMIT;       // milliseconds that a call may take
constexpr double LEAST = LIMIT - 1.0;      // and must, when time ran out
constexpr unsigned int WORKERS = 24;       // stalls at the same time
constexpr int REPEATS = 3;                 // of a call that took too long
constexpr auto STORM = 3'000'000;          // nanoseconds from signal to signal, per thread
constexpr std::size_t LARGE = 16U << 20U;  // more than the system takes in without a reader

struct Call {
  const char* name;
  double milliseconds;
};

/// Notes how long `act` took, however it ends.
template <class Act>
void timed(std::vector<Call>& calls, const char* name, Act act) {
  struct Note {
    ~Note() {
      const std::chrono::duration<double, std::milli> took = Clock::now() - start;
      calls.push_back({name, took.count()});
    }
    std::vector<Call>& calls;
    const char* name;
    Clock::time_point start = Clock::now();
  } const note{calls, name};
  act();
}

/// A client that times every protected call which may wait.
class TimedClient : public comm::TamberPerfClient {
 public:
  TimedClient(unsigned int port, std::vector<Call>& calls)
      : TamberPerfClient(u"127.0.0.1", port), calls_(calls) {
    setNumRetries(0);
    setTimeOut(LIMIT);
    setReceiveTimeOut(LIMIT);
    setSendTimeOut(LIMIT);
  }

 protected:
  void sendMesg(comm::RESTMessage& message) override {
    timed(calls_, "sendMesg", [&] { TamberPerfClient::sendMesg(message); });
  }
  void recvMesg(comm::ClientResponse& response) override {
    timed(calls_, "recvMesg", [&] { TamberPerfClient::recvMesg(response); });
  }
  void recvStream(comm::ClientResponse& response) override {
    timed(calls_, "recvStream", [&] { TamberPerfClient::recvStream(response); });
  }

 private:
  std::vector<Call>& calls_;
};

const std::string& largeContent() {
  static const std::string content(LARGE, 'c');
  return content;
}

void request(const HangCase& c, unsigned int port, std::vector<Call>& calls) {
  TimedClient client(port, calls);
  client.useStreamedResults(c.streamed);
  comm::ClientRequest request;
  request.buildRequest(static_cast<comm::ClientRequest::REQUEST>(c.kind), {});
  const bool isDocument = c.kind == ADD_DOCUMENT || c.kind == ASYNC_ADD_DOCUMENT;
  if (isDocument) {
    request.setDocKey("k", 1);
    // Documents that nobody answers are sent until the connection holds no more.
    request.setContent({}, largeContent().data(), c.kind == ADD_DOCUMENT ? LARGE : 9000);
  }
  client.useBufferedConnection(c.kind == ASYNC_ADD_DOCUMENT);
  comm::ClientResponse response;
  const auto send = [&] { client.sendAndRecvMesg(request, response); };
  if (!c.plan.connects) return timed(calls, "connecting", send);
  for (std::size_t sent = 0; sent == 0 || (isDocument && sent < LARGE); sent += 9000) send();
  while (!client.isEndOfStream()) {
    if (c.kind == PARSE_RESULT) {
      response.getParseResponse(client).reset();
    } else {
      response.getSearchResponse(client, true).reset();
    }
  }
}

void writeBare(unsigned int port, std::vector<Call>& calls) {
  const unsigned long long limit = LIMIT;
  oss::Socket socket;
  socket.connect(u"127.0.0.1", port, oss::Socket::NullAddrInfoExternal, &limit);
  timed(calls, "Socket::write", [&] { socket.write(largeContent().data(), 0, LARGE, &limit); });
}

/// What came of it: "ok" or ID:line.
std::string run(const HangCase& c, std::vector<Call>& calls) {
  const HangPeer peer(c.plan);
  try {
    c.bare ? writeBare(peer.port(), calls) : request(c, peer.port(), calls);
  } catch (oss::BaseException& e) {
    std::string id;
    e.getErrorMessage().getMessageID().toUTF8String(id);
    return id + ':' + std::to_string(e.getErrorMessage().getLineNumber());
  }
  return "ok";
}

struct Tally {
  std::mutex mutex;
  std::size_t calls = 0;
  std::size_t failed = 0;
  double slowest = 0;
  std::vector<HangCase> slow;  // to be repeated
};

/// The first call that took too long, or too short for one that ran out of time; else null.
const Call* offender(const std::vector<Call>& calls, bool timedOut) {
  for (const Call& call : calls) {
    if (call.milliseconds > MOST ||
        (timedOut && &call == &calls.back() && call.milliseconds < LEAST)) {
      return &call;
    }
  }
  return nullptr;
}

void judge(const HangCase& c, bool last, Tally& tally) {
  std::vector<Call> calls;
  const std::string outcome = run(c, calls);
  const bool expected =
      outcome == c.expected ||
      (c.mayEnd && (outcome == "ok" || outcome == "N1:0" || outcome == "ERR_SERVER_PROTOCOL:583"));
  const bool timedOut = outcome.find("PROTOCOL") == std::string::npos && !c.mayEnd;
  const Call* const off = offender(calls, timedOut);
  const std::lock_guard<std::mutex> lock(tally.mutex);
  const bool late = off != nullptr && off->milliseconds > MOST && off->milliseconds < 5 * MOST;
  if (!last && expected && late) {
    tally.slow.push_back(c);
    return;
  }
  tally.calls += calls.size();
  for (const Call& call : calls) tally.slowest = std::max(tally.slowest, call.milliseconds);
  if (expected && off == nullptr && !calls.empty()) return;
  ++tally.failed;
  std::fprintf(stderr, "%s%s: %s, expected %s; %s took %.1f ms\n", c.name.c_str(),
               c.storm ? " (storm)" : "", outcome.c_str(), c.expected.c_str(),
               off != nullptr ? off->name : "no call", off != nullptr ? off->milliseconds : 0.0);
}

void ignoreSignal(int) {}

/// Interrupts the thread that runs it every few milliseconds.
class SignalStorm {
 public:
  SignalStorm() {
    sigevent event{};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = SIGALRM;
    event._sigev_un._tid = ::gettid();
    if (::timer_create(CLOCK_MONOTONIC, &event, &timer_) != 0) std::abort();
    const itimerspec often{{0, STORM}, {0, STORM}};
    ::timer_settime(timer_, 0, &often, nullptr);
  }
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;
  ~SignalStorm() { ::timer_delete(timer_); }

 private:
  timer_t timer_{};
};

void runAll(const std::vector<HangCase>& cases, unsigned int workers, bool last, Tally& tally) {
  std::atomic<std::size_t> next{0};
  std::vector<std::thread> threads;
  for (unsigned int i = 0; i < workers; ++i) {
    threads.emplace_back([&] {
      for (std::size_t at = next++; at < cases.size(); at = next++) {
        const std::unique_ptr<SignalStorm> storm(cases[at].storm ? new SignalStorm : nullptr);
        judge(cases[at], last, tally);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

int torture(const Options& options) {
  struct sigaction action {};
  action.sa_handler = ignoreSignal;  // and no SA_RESTART
  ::sigaction(SIGALRM, &action, nullptr);
  const auto start = Clock::now();
  std::vector<HangCase> cases;
  addReceiving(cases);
  if (options.quick) {
    std::shuffle(cases.begin(), cases.end(), std::mt19937(options.seed));
    cases.resize(cases.size() / 3);
  }
  for (int i = 0; i < 3; ++i) addOthers(cases);
  for (std::size_t i = 0, calm = cases.size(); i < calm; ++i) {
    cases.push_back(cases[i]);
    cases.back().storm = true;
  }

  const std::size_t stalls = cases.size();
  Tally tally;
  runAll(cases, WORKERS, false, tally);
  std::size_t repeated = 0;
  // The machine may have been busy: what took too long is repeated, with less at the same time.
  for (int repeat = 1; repeat <= REPEATS && !tally.slow.empty(); ++repeat) {
    cases.swap(tally.slow);
    tally.slow.clear();
    repeated += cases.size();
    runAll(cases, WORKERS / 8, repeat == REPEATS, tally);
  }
  const std::chrono::duration<double> took = Clock::now() - start;
  std::printf(
      "torture-hang: %zu stalls, %zu calls timed, slowest %.1f ms of %.0f, %zu repeated, "
      "%zu failed, %.1f s\n",
      stalls, tally.calls, tally.slowest, MOST, repeated, tally.failed, took.count());
  return tally.failed == 0 ? 0 : 1;
}

}  // namespace
}  // namespace orvix::torture

int main(int argc, char** argv) {
  return orvix::torture::torture(orvix::torture::Options(argc, argv));
}
