// SPDX-License-Identifier: Apache-2.0
// The handler writes into a pipe that every wait also watches: a signal between a check and a wait
// is not lost.
#include "cli/qorCtlInterrupt.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "cli/qorCtlExit.h"

namespace orvix::ctl::interrupt {

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<bool> wished{false};
static_assert(std::atomic<bool>::is_always_lock_free);
int pipeEnds[2] = {-1, -1};  // a negative descriptor is one that poll passes over

extern "C" void noteWish(int) {
  const int kept = errno;
  wished = true;
  [[maybe_unused]] const auto written = ::write(pipeEnds[1], "", 1);
  errno = kept;
}

/// Polls `descriptor` (negative: none) and the pipe; true when the descriptor is ready.
bool await(int descriptor, int milliseconds) {
  pollfd polled[2] = {{descriptor, POLLIN, 0}, {pipeEnds[0], POLLIN, 0}};
  const int ready = ::poll(polled, 2, milliseconds);
  return ready > 0 && polled[0].revents != 0;
}

}  // namespace

void catchFirst() {
  if (pipeEnds[0] < 0 && ::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0) {
    throw CtlFailure(ExitCode::INTERNAL, "no pipe can be made to watch for Ctrl-C");
  }
  struct sigaction action {};
  ::sigaction(SIGINT, nullptr, &action);
  if (action.sa_handler == SIG_IGN) return;  // a shell runs us behind its back: not meant for us
  action = {};
  action.sa_handler = noteWish;
  action.sa_flags = static_cast<int>(SA_RESETHAND);  // the second one meets the default: the end
  sigemptyset(&action.sa_mask);
  ::sigaction(SIGINT, &action, nullptr);
}

bool requested() noexcept { return wished; }

bool awaitReadable(int descriptor) {
  while (!requested()) {
    if (await(descriptor, -1)) return !requested();
  }
  return false;
}

bool sleepFor(double seconds) {
  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  while (!requested()) {
    const std::chrono::duration<double, std::milli> left = end - Clock::now();
    if (left.count() <= 0) return true;
    constexpr double LONGEST = 1e6;  // of one wait: what poll's argument can say
    static_cast<void>(await(-1, static_cast<int>(std::min(left.count(), LONGEST)) + 1));
  }
  return false;
}

}  // namespace orvix::ctl::interrupt
