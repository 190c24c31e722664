// SPDX-License-Identifier: Apache-2.0
// Asks for the server's status again and again and says how long the answers took. Nothing is
// repeated behind its back: a lost answer counts as lost.
#include "cli/qorCtlPing.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "cli/qorCtlContext.h"
#include "cli/qorCtlInterrupt.h"

namespace orvix::ctl {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

/// What came of all requests so far.
struct Tally {
  std::uint64_t sent = 0;
  std::vector<double> times;  // of those that were answered
  std::optional<Failure> lastFailure;
};

/// Losses are what a ping is there to count; with any other failure the next would fare no better.
bool isLoss(const Failure& failure) {
  return failure.code == ExitCode::NO_CONNECTION || failure.code == ExitCode::TIME_OUT;
}

void say(const Context& context, std::uint64_t number, const std::string& what) {
  if (context.terminal().errIsTerminal) {
    context.note("request " + std::to_string(number) + " of " +
                 std::to_string(context.settings().count) + ": " + what);
  }
}

std::string timeText(double milliseconds) {
  char text[48];
  std::snprintf(text, sizeof text, "answered in %.3f ms", milliseconds);
  return text;
}

void askOnce(const Context& context, Connection& connection, Tally& tally) {
  const auto start = Clock::now();
  ++tally.sent;
  try {
    comm::ClientResponse response;
    connection.run(comm::ClientRequest::GET_STATUS, response);
    tally.times.push_back(Milliseconds(Clock::now() - start).count());
    say(context, tally.sent, timeText(tally.times.back()));
  } catch (const std::exception&) {
    tally.lastFailure = currentFailure(connection.triedText());
    if (!isLoss(*tally.lastFailure)) {
      throw CtlFailure(tally.lastFailure->code, tally.lastFailure->text);
    }
    say(context, tally.sent, tally.lastFailure->text);
  }
}

Cell timeCell(const std::vector<double>& sorted, double share) {
  return sorted.empty() ? Cell() : Cell(percentile(sorted, share));
}

Cell meanCell(const std::vector<double>& times) {
  if (times.empty()) return {};
  return std::accumulate(times.begin(), times.end(), 0.0) / static_cast<double>(times.size());
}

void writeSummary(const Context& context, Tally& tally) {
  std::vector<double>& times = tally.times;
  std::sort(times.begin(), times.end());
  context.writeRow({{"sent", 0, true},
                    {"answered", 0, true},
                    {"lost", 0, true},
                    {"minMs", 0, true},
                    {"meanMs", 0, true},
                    {"p50Ms", 0, true},
                    {"p90Ms", 0, true},
                    {"p99Ms", 0, true},
                    {"maxMs", 0, true}},
                   {tally.sent, std::uint64_t{times.size()}, tally.sent - times.size(),
                    timeCell(times, 0), meanCell(times), timeCell(times, 0.5), timeCell(times, 0.9),
                    timeCell(times, 0.99), timeCell(times, 1)});
}

ExitCode codeOf(const Context& context, const Tally& tally) {
  if (interrupt::requested()) return ExitCode::INTERRUPTED;
  if (!tally.lastFailure) return ExitCode::DONE;
  context.note(tally.lastFailure->text);
  return tally.times.empty() ? tally.lastFailure->code : ExitCode::DONE_IN_PART;
}

}  // namespace

double percentile(const std::vector<double>& sorted, double share) {
  const auto count = static_cast<double>(sorted.size());
  const auto rank = static_cast<std::size_t>(std::ceil(share * count));
  return sorted[rank == 0 ? 0 : rank - 1];
}

ExitCode ping(Context& context) {
  Settings once = context.settings();
  once.retries = 0;
  Connection connection(once);
  interrupt::catchFirst();
  Tally tally;
  const std::chrono::duration<double> interval(once.interval);
  auto due = Clock::now();
  while (tally.sent < once.count && !interrupt::requested()) {
    askOnce(context, connection, tally);
    due += std::chrono::duration_cast<Clock::duration>(interval);
    const std::chrono::duration<double> left = due - Clock::now();
    if (tally.sent < once.count && !interrupt::sleepFor(std::max(0.0, left.count()))) break;
  }
  writeSummary(context, tally);
  return codeOf(context, tally);
}

}  // namespace orvix::ctl
