// SPDX-License-Identifier: Apache-2.0
// The numbers move by exactly what was done, and the page that shows them cannot be used to hurt.
#include "server/qorMetrics.h"

#include <asio.hpp>
#include <chrono>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "server/qorMetricsServer.h"
#include "server/qorMetricsText.h"
#include "tests/server/qorConnectionFixture.h"

namespace orvix::server {
namespace {

using testing::documentOf;
using testing::requestFrame;
using testing::TERMINATOR;
using Clock = std::chrono::steady_clock;

std::map<std::string, double> numbersOf(const std::string& page) {
  std::map<std::string, double> numbers;
  std::istringstream lines(page);
  for (std::string line; std::getline(lines, line);) {
    if (line.empty() || line[0] == '#') continue;
    const std::size_t space = line.rfind(' ');
    numbers[line.substr(0, space)] = std::stod(line.substr(space));
  }
  return numbers;
}

/// What is left of the numbers when those that depend on time or the process are taken away.
std::map<std::string, double> movedNumbers(const Metrics& metrics) {
  auto numbers = numbersOf(metricsText(metrics, {}));
  std::erase_if(numbers, [](const auto& entry) {
    const std::string& name = entry.first;
    return entry.second == 0 || name.starts_with("process_") ||
           name.find("_seconds_sum") != std::string::npos ||
           name.find("_bucket{") != std::string::npos || name == "qorserver_uptime_seconds" ||
           name.starts_with("qorserver_build_info");
  });
  return numbers;
}

class MetricsOfConnections : public testing::ConnectionFixture {
 protected:
  /// Each of the requests is answered with a status alone.
  void exchange(asio::ip::tcp::socket& socket, const std::vector<std::string>& frames) {
    for (const std::string& frame : frames) {
      write(socket, frame);
      sent_ += frame.size();
      ASSERT_EQ(read(socket, 2), std::string("\0\1", 2));
      got_ += 2;
    }
  }
  void send(asio::ip::tcp::socket& socket, const std::vector<std::string>& frames) {
    for (const std::string& frame : frames) {
      write(socket, frame);
      sent_ += frame.size();
    }
  }
  /// The server counts the bytes of a reply when they have left: a moment after they may have come.
  void awaitBytes(std::size_t out) {
    const auto limit = Clock::now() + std::chrono::seconds(10);
    while (dispatcher().metrics().bytesOut.value() < out && Clock::now() < limit) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  std::size_t sent_ = 0;
  std::size_t got_ = 0;
};

TEST_F(MetricsOfConnections, NumbersMoveByWhatWasDone) {
  auto socket = connect();
  const std::string named = "index: c\n";
  exchange(socket, {requestFrame("action: createCollection\n" + named),
                    requestFrame("action: addDocument\n" + named, documentOf("one", "a river")),
                    requestFrame("action: addDocument\n" + named, documentOf("two", "a lake")),
                    requestFrame("action: deleteDocument\n" + named, documentOf("two"))});
  const std::string unanswered = "action: asyncAddDocument\n" + named;
  send(socket, {requestFrame(unanswered, documentOf("three", "a sea")),
                requestFrame(unanswered, documentOf("four", "a pond")),
                requestFrame(unanswered + "charset: none-such\n", documentOf("five", "x")),
                requestFrame(unanswered, TERMINATOR)});
  exchange(socket, {requestFrame("action: getStatus\n"), requestFrame("action: getStatus\n")});
  const std::string unknown = requestFrame("action: none-such\n");
  send(socket, {unknown});
  ASSERT_EQ(read(socket, 2), std::string("\0\6", 2));
  const std::size_t bodyLength = static_cast<unsigned char>(read(socket, 1)[0]) * 256U +
                                 static_cast<unsigned char>(read(socket, 1)[0]);
  ASSERT_EQ(read(socket, bodyLength).size(), bodyLength);
  got_ += 4 + bodyLength;
  awaitBytes(got_);

  const std::map<std::string, double> expected{
      {"qorserver_requests_total{kind=\"createCollection\",result=\"ok\"}", 1},
      {"qorserver_requests_total{kind=\"addDocument\",result=\"ok\"}", 2},
      {"qorserver_requests_total{kind=\"deleteDocument\",result=\"ok\"}", 1},
      {"qorserver_requests_total{kind=\"asyncAddDocument\",result=\"ok\"}", 2},
      {"qorserver_requests_total{kind=\"asyncAddDocument\",result=\"error\"}", 1},
      {"qorserver_requests_total{kind=\"lastDocSent\",result=\"ok\"}", 1},
      {"qorserver_requests_total{kind=\"getStatus\",result=\"ok\"}", 2},
      {"qorserver_requests_total{kind=\"unknown\",result=\"error\"}", 1},
      {"qorserver_request_duration_seconds_count{lane=\"writer\"}", 8},
      {"qorserver_request_duration_seconds_count{lane=\"short\"}", 3},
      {"qorserver_documents_total{result=\"indexed\"}", 4},
      {"qorserver_documents_total{result=\"rejected\"}", 1},
      {"qorserver_documents_total{result=\"deleted\"}", 1},
      {"qorserver_connections_open", 1},
      {"qorserver_connections_total", 1},
      {"qorserver_received_bytes_total", static_cast<double>(sent_)},
      {"qorserver_sent_bytes_total", static_cast<double>(got_)},
      {"qorserver_collections_open", 1},
      {"qorserver_commit_duration_seconds_count", 4},
  };
  EXPECT_EQ(movedNumbers(dispatcher().metrics()), expected);
}

TEST(Durations, FallIntoTheBucketWhoseBoundTheyDoNotExceed) {
  using std::chrono::microseconds;
  Metrics metrics;
  for (const int each : {0, 100, 101, 1000, 30000000, 30000001}) {
    metrics.commits.add(microseconds(each));
  }
  const auto numbers = numbersOf(metricsText(metrics, {7, 900}));
  const auto below = [&](const char* bound) {
    return numbers.at(std::string("qorserver_commit_duration_seconds_bucket{le=\"") + bound +
                      "\"}");
  };
  EXPECT_EQ(below("0.0001"), 2);
  EXPECT_EQ(below("0.00025"), 3);
  EXPECT_EQ(below("0.0005"), 3);
  EXPECT_EQ(below("0.001"), 4);
  EXPECT_EQ(below("30"), 5);
  EXPECT_EQ(below("+Inf"), 6);
  EXPECT_NEAR(numbers.at("qorserver_commit_duration_seconds_sum"), 60.001202, 1e-6);
  EXPECT_EQ(numbers.at("qorserver_queued_requests"), 7);
  EXPECT_EQ(numbers.at("qorserver_queued_bytes"), 900);
  EXPECT_GT(numbers.at("process_resident_memory_bytes"), 1e6);
  EXPECT_GT(numbers.at("process_open_fds"), 2);
}

class MetricsPage : public ::testing::Test {
 protected:
  asio::ip::tcp::socket guest(std::string_view bytes) {
    asio::ip::tcp::socket socket(loop_);
    socket.connect(server_->endpoint());
    asio::write(socket, asio::buffer(bytes));
    return socket;
  }
  /// All that comes until the server closes.
  static std::string rest(asio::ip::tcp::socket& socket) {
    std::string all;
    std::error_code ended;
    asio::read(socket, asio::dynamic_buffer(all), ended);
    return all;
  }
  std::string fetch(std::string_view bytes) {
    auto socket = guest(bytes);
    return rest(socket);
  }

  asio::io_context loop_;
  std::unique_ptr<MetricsServer> server_ = std::make_unique<MetricsServer>(
      metricsAddressOf("127.0.0.1:0"), [] { return std::string("one 1\n"); });
};

TEST_F(MetricsPage, RequestsAreAnsweredByTheirFirstLine) {
  struct Case {
    const char* name;
    std::string request;
    const char* status;
    const char* end;
  };
  const std::string tooMuch(MetricsServer::MAX_HEAD, 'x');
  const std::vector<Case> cases{
      {"page", "GET /metrics HTTP/1.1\r\nHost: x\r\n\r\n", "200 OK", "\r\n\r\none 1\n"},
      {"query and old version", "GET /metrics?a=b HTTP/1.0\r\n\r\n", "200 OK", "\r\n\r\none 1\n"},
      {"head", "HEAD /metrics HTTP/1.1\r\n\r\n", "200 OK", "Connection: close\r\n\r\n"},
      {"another page", "GET / HTTP/1.1\r\n\r\n", "404 Not Found", "/metrics\n"},
      {"another method", "POST /metrics HTTP/1.1\r\n\r\nbody", "405 Method Not Allowed", "\n"},
      {"no request", "\r\n\r\n", "400 Bad Request", "\n"},
      {"another protocol", "GET /metrics SPDY/3\r\n\r\n", "400 Bad Request", "\n"},
      {"endless", "GET /metrics HTTP/1.1\r\n" + tooMuch, "431 Request Header Fields Too Large",
       "\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string answer = fetch(c.request);
    EXPECT_TRUE(answer.starts_with(std::string("HTTP/1.1 ") + c.status + "\r\n")) << answer;
    EXPECT_TRUE(answer.ends_with(c.end)) << answer;
  }
}

TEST_F(MetricsPage, SlowGuestsDelayNeitherOthersNorTheEnd) {
  std::vector<asio::ip::tcp::socket> slow;
  for (std::size_t i = 0; i < MetricsServer::MAX_GUESTS; ++i) slow.push_back(guest("GET /met"));
  EXPECT_TRUE(fetch("GET /metrics HTTP/1.1\r\n\r\n").ends_with("one 1\n"));
  EXPECT_EQ(rest(slow.front()), "") << "the one that is there longest makes room";
  const auto asked = Clock::now();
  EXPECT_EQ(rest(slow.back()), "") << "and a deadline ends the others";
  EXPECT_LT(Clock::now() - asked, MetricsServer::DEADLINE + std::chrono::seconds(5));
  auto last = guest("GET");
  const auto ending = Clock::now();
  server_.reset();
  EXPECT_LT(Clock::now() - ending, std::chrono::seconds(2));
}

TEST(MetricsAddress, MustNotBeReachedFromElsewhere) {
  for (const char* good : {"127.0.0.1:9715", "127.8.8.8:0", "[::1]:9715", "localhost:9715"}) {
    EXPECT_TRUE(metricsAddressOf(good).host.is_loopback()) << good;
  }
  for (const char* bad : {"0.0.0.0:9715", "[::]:9715", "192.0.2.1:9715", "9715", "127.0.0.1:x"}) {
    EXPECT_THROW(static_cast<void>(metricsAddressOf(bad)), Refusal) << bad;
  }
}

}  // namespace
}  // namespace orvix::server
