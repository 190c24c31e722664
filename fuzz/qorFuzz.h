// SPDX-License-Identifier: Apache-2.0
// What the fuzz targets share: values taken off an input, the ways to cut it, a failed oracle, the
// memory meter, and outcomes told as text. A target aborts when an oracle is violated; the same
// functions run under libFuzzer and, as ordinary tests, over the stored seeds and crashes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "comm/response/qorClientResponse.h"
#include "comm/support/qorRESTException.h"
#include "tests/support/qorWire.h"

namespace orvix::torture {

/// Reports `what` where nobody has closed the standard error stream, and aborts.
[[noreturn]] void fail(const std::string& what);
inline void require(bool holds, const std::string& what) {
  if (!holds) fail(what);
}
/// Two outcomes that must be the same.
void requireSame(const std::string& one, const std::string& other, const char* what);

using test::ExactBytes;

using Segments = std::vector<std::string_view>;
std::string joined(const Segments& segments);

/// Takes values off the front of an input; past its end they are 0 or empty.
class Input {
 public:
  explicit Input(std::string_view bytes) : rest_(bytes) {}

  std::uint8_t byte() {
    const std::string_view one = take(1);
    return one.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(one.front());
  }
  std::string_view take(std::size_t count) {
    const std::string_view run = rest_.substr(0, count);
    rest_.remove_prefix(run.size());
    return run;
  }
  [[nodiscard]] std::string_view rest() const { return rest_; }
  /// Shape: { repeat: 4 bits, count: 4 bits, length - 1: u8[count] } in front of the bytes to cut.
  /// The lengths are used in turn until the bytes are used up; count 0 means byte by byte. The last
  /// segment comes 4 x repeat x repeat times more: short inputs reach what takes 64 KiB and more.
  Segments segments();

 private:
  std::string_view rest_;
};

/// Bounds what the code under test holds: 64 KiB + 64 x the bytes that it was given so far, at
/// every moment; so a length that was announced but not delivered cannot size an allocation either.
/// Counts this thread's allocations between on() and off(), where a sanitizer offers hooks.
class Meter {
 public:
  Meter();
  ~Meter() { off(); }
  Meter(const Meter&) = delete;
  Meter& operator=(const Meter&) = delete;

  static void on();
  static void off();
  /// More bytes reach the code under test.
  static void given(std::size_t bytes);
  /// What `counter` counts reaches it, too.
  static void follow(const std::uint64_t& counter);
};

/// The test's own work in the middle of what the meter counts.
class Unmetered {
 public:
  Unmetered() { Meter::off(); }
  ~Unmetered() { Meter::on(); }
  Unmetered(const Unmetered&) = delete;
  Unmetered& operator=(const Unmetered&) = delete;
};

/// Fails on an error, as an outcome shows it, whose id nothing documents.
void requireDocumented(const std::string& error);
/// An exception as an outcome shows it; a documented one.
std::string told(const comm::RESTException& error);
/// Everything that the response to a request of `kind` holds.
std::string told(comm::ClientResponse& response, std::uint32_t kind);

}  // namespace orvix::torture
