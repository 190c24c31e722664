// SPDX-License-Identifier: Apache-2.0
// What one request, one document and one hit cost in heap allocations and in instructions. The
// first is counted here; for the second this runs under callgrind, which counts between marks: each
// part once with REPEATS and once with twice as many, so that what is done once falls out.
// Usage: qor-budget --allocations   prints "name number" for each part
//        qor-budget --instructions  leaves a dump for each part, "name repeats" its trigger
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <valgrind/callgrind.h>

#include "bench/qorDecodes.h"
#include "bench/qorDocuments.h"
#include "bench/qorHeap.h"
#include "bench/qorPeer.h"
#include "bench/qorSearches.h"
#include "bench/qorWorkload.h"

namespace orvix::bench {
namespace {

struct Part {
  const char* name;
  std::size_t repeats;
  std::unique_ptr<Operation> operation;
};

constexpr std::size_t REQUESTS = 100;
constexpr std::size_t DOCUMENTS =
    500;  // whole batches, so that as many are left for the last write
constexpr std::size_t HITS = 100 * PIECE_HITS;
constexpr std::size_t DOCUMENT_SIZE = 500;

std::vector<Part> parts() {
  const int core = chooseCores().client;
  std::vector<Part> all;
  const auto add = [&](const char* name, std::size_t repeats, std::unique_ptr<Operation> made) {
    all.push_back({name, repeats, std::move(made)});
  };
  add("request.reused", REQUESTS, librarySearch(core, Filling::REUSED));
  add("request.filled", REQUESTS, librarySearch(core, Filling::EACH_TIME));
  add("document.reused", DOCUMENTS, batchedDocuments(core, DOCUMENT_SIZE, DocumentFilling::KEY));
  add("document.filled", DOCUMENTS, batchedDocuments(core, DOCUMENT_SIZE, DocumentFilling::BUILT));
  add("hit.pulled", HITS, pulledDecode(KeyForm::BYTES));
  add("hit.held", HITS, heldDecode(HITS, false));
  return all;
}

void countAllocations(Part& part) {
  part.operation->run(2 * part.repeats);  // until everything that is kept has its size
  const std::uint64_t before = heapAllocations();
  part.operation->run(part.repeats);
  const std::uint64_t half = heapAllocations();
  part.operation->run(2 * part.repeats);
  const std::uint64_t more = heapAllocations() - half - (half - before);
  std::printf("%s %.6g\n", part.name,
              static_cast<double>(more) / static_cast<double>(part.repeats));
}

void countInstructions(Part& part) {
  part.operation->run(part.repeats);
  for (const std::size_t repeats : {part.repeats, 2 * part.repeats}) {
    const std::string trigger = std::string(part.name) + ' ' + std::to_string(repeats);
    CALLGRIND_ZERO_STATS;
    CALLGRIND_TOGGLE_COLLECT;
    part.operation->run(repeats);
    CALLGRIND_TOGGLE_COLLECT;
    CALLGRIND_DUMP_STATS_AT(trigger.c_str());
  }
}

}  // namespace
}  // namespace orvix::bench

int main(int argc, char** argv) try {
  const std::string_view mode = argc == 2 ? argv[1] : "";
  if (mode != "--allocations" && mode != "--instructions") {
    std::fputs("usage: qor-budget --allocations | --instructions\n", stderr);
    return 2;
  }
  for (orvix::bench::Part& part : orvix::bench::parts()) {
    if (mode == "--allocations") {
      orvix::bench::countAllocations(part);
    } else {
      orvix::bench::countInstructions(part);
    }
  }
} catch (const std::exception& e) {
  std::fprintf(stderr, "qor-budget: %s\n", e.what());
  return 1;
}
