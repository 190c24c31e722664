// SPDX-License-Identifier: Apache-2.0
#include "fuzz/qorFuzz.h"

#include <cstdio>
#include <cstdlib>
#include <set>
#include <unistd.h>

#include "infra/oss/internal/qorTextConversion.h"
#include "tests/torture/qorCorpus.h"

// NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming): the run time's names
extern "C" {
// Offered by the sanitizers' run time; absent in an ordinary build.
[[gnu::weak]] int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void*,
                                                                     std::size_t),
                                                            void (*)(const volatile void*));
[[gnu::weak]] std::size_t __sanitizer_get_allocated_size(const volatile void*);
}
// NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming)

namespace orvix::torture {

namespace {

constexpr std::int64_t FREE_BYTES = 64LL * 1024;
constexpr std::int64_t BYTES_PER_GIVEN = 64;

struct Count {
  bool on = false;
  std::int64_t live = 0;
  std::uint64_t given = 0;
  const std::uint64_t* counter = nullptr;
};
thread_local Count count;

const int REPORT_TO = ::dup(STDERR_FILENO);  // a fuzzer may close the stream to silence the target

void allocated([[maybe_unused]] const volatile void* block, std::size_t size) {
  if (!count.on || Harness::depth != 0) return;
  count.live += static_cast<std::int64_t>(size);
  const std::uint64_t given = count.given + (count.counter == nullptr ? 0 : *count.counter);
  if (count.live <= FREE_BYTES + BYTES_PER_GIVEN * static_cast<std::int64_t>(given)) return;
  count.on = false;
  fail("memory: " + std::to_string(count.live) + " bytes are held, of them " +
       std::to_string(size) + " just allocated, after " + std::to_string(given) + " bytes");
}

void freed(const volatile void* block) {
  if (!count.on || Harness::depth != 0 || block == nullptr) return;
  count.live -= static_cast<std::int64_t>(__sanitizer_get_allocated_size(block));
}

}  // namespace

Meter::Meter() {
  static const bool installed = __sanitizer_install_malloc_and_free_hooks != nullptr &&
                                __sanitizer_install_malloc_and_free_hooks(allocated, freed) != 0;
  static_cast<void>(installed);
  count = Count();
}

void Meter::on() { count.on = true; }
void Meter::off() { count.on = false; }
void Meter::given(std::size_t bytes) { count.given += bytes; }
void Meter::follow(const std::uint64_t& counter) { count.counter = &counter; }

void fail(const std::string& what) {
  Meter::off();
  const std::string line = "ORACLE " + what + "\n";
  static_cast<void>(!::write(REPORT_TO, line.data(), line.size()));
  std::abort();
}

void requireSame(const std::string& one, const std::string& other, const char* what) {
  if (one != other) fail(std::string(what) + "\n  " + one + "\n  " + other);
}

std::string joined(const Segments& segments) {
  std::string all;
  for (const std::string_view segment : segments) all += segment;
  return all;
}

Segments Input::segments() {
  const unsigned int counts = byte();
  std::string_view lengths = take(counts % 16);
  if (lengths.empty()) lengths = std::string_view("\0", 1);
  Segments all;
  for (std::size_t i = 0; !rest_.empty(); ++i) {
    all.push_back(take(std::size_t{1} + static_cast<std::uint8_t>(lengths[i % lengths.size()])));
  }
  const std::size_t times = std::size_t{4} * (counts / 16) * (counts / 16);
  if (!all.empty()) all.insert(all.end(), times, std::string_view(all.back()));
  return all;
}

void requireDocumented(const std::string& error) {
  static const std::set<std::string> documented{"ERR_SERVER_PROTOCOL", "ERR_SERVER_INVALID_AUTH",
                                                "ERR_SERVER_APP", "ERR_SERVER_COMM_RECV",
                                                "ERR_CLIENT_RESP_PARSING"};
  const std::string id = error.substr(0, error.find_first_of("(@[+ "));
  require(error.empty() || error.ends_with(" (server)") || documented.contains(id),
          "undocumented: " + error);
}

std::string told(const comm::RESTException& error) {
  const std::string line = raised(error, error.isServerReported());
  requireDocumented(line);
  return line;
}

std::string told(comm::ClientResponse& response, std::uint32_t kind) {
  std::string line = restOf(response, kind);
  for (const std::string& result : resultsOf(response)) line += " {" + result + '}';
  return line;
}

}  // namespace orvix::torture
