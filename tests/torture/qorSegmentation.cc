// SPDX-License-Identifier: Apache-2.0
// However the network cuts a reply, the outcome is that of the uncut reply, and so are the bytes
// consumed of one that is complete. The one exception is a cut inside a 2-byte field of a chunk,
// which gives its own error.
// Cuts: all there are up to 16 bytes; at one and two places up to 256; byte by byte; at random.
#include <algorithm>
#include <cstdio>
#include <numeric>
#include <optional>

#include "comm/protocol/qorRequestKind.h"
#include "tests/torture/qorCorpus.h"

namespace orvix::torture {
namespace {

using Pieces = std::vector<std::uint32_t>;

/// Where chunk fields begin in the reply to a request for a collection's status.
std::vector<std::size_t> chunkFields(const Step& step) {
  std::vector<std::size_t> fields;
  const std::string& reply = step.reply;
  if (step.kind != comm::kinds::COLLECTION_STATUS || reply.substr(0, 2) != FINE) return fields;
  for (std::size_t at = 2; at + 4 <= reply.size();) {
    fields.push_back(at);
    fields.push_back(at + 2);
    const std::size_t size = static_cast<unsigned char>(reply[at + 2]) * 256U +
                             static_cast<unsigned char>(reply[at + 3]);
    if (reply[at + 1] == '\6') fields.pop_back();  // refused before its size is read
    at += 4 + size;
  }
  return fields;
}

class Cutter {
 public:
  Cutter(const Scenario& scenario, Failures& failures)
      : scenario_(scenario),
        size_(scenario.steps[0].reply.size()),
        fields_(chunkFields(scenario.steps[0])),
        failures_(failures),
        net_(peerOf(scenario, [this](Answer& answer) { answer.pieces = pieces_; })),
        client_(scenario),
        request_(makeRequest(scenario.steps[0].kind, "0")) {
    client_.setNumRetries(0);
    whole_ = play();
    wholeConsumed_ = consumed_;
  }

  void cut(const Pieces& pieces) {
    pieces_ = pieces;
    ++played;
    const Outcome outcome = play();
    std::string expected;
    std::size_t least = 0;
    if (const auto field = brokenField()) {
      expected = errorOf(*field);
      least = *field + 1;
    }
    const bool same =
        expected.empty() ? outcome == whole_ : outcome.error == expected && !outcome.complete;
    // What was received behind a failure is nobody's.
    const bool exact =
        outcome.complete ? consumed_ == wholeConsumed_ : least <= consumed_ && consumed_ <= size_;
    if (same && exact && net_.problem.empty()) return;
    std::string where = scenario_.name + " cut to";
    for (const std::uint32_t piece : pieces) where += ' ' + std::to_string(piece);
    failures_.add(where, text(outcome) + " after " + std::to_string(consumed_) +
                             " bytes instead of " + (expected.empty() ? text(whole_) : expected) +
                             " after " + std::to_string(wholeConsumed_) + ' ' + net_.problem);
  }

  void everyCut() {  // of a short reply: bit i of the mask cuts behind byte i
    for (std::uint32_t mask = 0; mask < 1U << (size_ - 1); ++mask) {
      Pieces pieces{1};
      for (std::size_t i = 0; i + 1 < size_; ++i) {
        if ((mask >> i & 1U) != 0) {
          pieces.push_back(1);
        } else {
          ++pieces.back();
        }
      }
      cut(pieces);
    }
  }

  void oneAndTwoCuts(std::size_t step) {
    const auto size = static_cast<std::uint32_t>(size_);
    for (std::uint32_t first = 1; first < size; ++first) {
      cut({first});
      for (std::uint32_t second = first + 1; second < size;
           second += static_cast<std::uint32_t>(step)) {
        cut({first, second - first});
      }
    }
  }

  void randomCut(Random& random) {
    Pieces pieces;
    const std::size_t typical = std::size_t{1} << random.below(12);
    for (std::size_t left = size_; left > 0;) {
      const std::size_t piece = std::min(left, 1 + random.below(2 * typical));
      pieces.push_back(static_cast<std::uint32_t>(piece));
      left -= piece;
      if (pieces.size() > 400) break;
    }
    cut(pieces);
  }

  [[nodiscard]] std::size_t size() const { return size_; }
  std::uint64_t played = 0;

 private:
  Outcome play() {
    net_.forget();
    if (net_.connections.size() > 64 && !client_.isConnected()) net_.connections.clear();
    comm::ClientResponse response;
    Outcome outcome = ask(client_, request_, response, scenario_.streamed);
    consumed_ = net_.consumed;
    return outcome;
  }

  /// The first chunk field that a piece ends in the middle of.
  [[nodiscard]] std::optional<std::size_t> brokenField() const {
    std::size_t end = 0;
    for (const std::uint32_t piece : pieces_) {
      end += piece;
      if (end < size_ && end > 0 &&
          std::find(fields_.begin(), fields_.end(), end - 1) != fields_.end()) {
        return end - 1;
      }
    }
    return std::nullopt;
  }

  [[nodiscard]] std::string errorOf(std::size_t field) const {
    const auto number = std::find(fields_.begin(), fields_.end(), field) - fields_.begin();
    const bool isSize = number % 2 != 0;
    return std::string("ERR_SERVER_PROTOCOL@qorTamberPerfClient:") + (isSize ? "598" : "583") +
           "[Error reading payload (chunk) " + (isSize ? "size" : "status") + " from socket]";
  }

  const Scenario& scenario_;
  std::size_t size_;
  std::vector<std::size_t> fields_;
  Failures& failures_;
  Pieces pieces_;
  Net net_;
  TortureClient client_;
  comm::ClientRequest request_;
  Outcome whole_;
  std::uint64_t consumed_ = 0;
  std::uint64_t wholeConsumed_ = 0;
};

int main(const Options& options) {
  Failures failures;
  Random random(options.seed);
  std::uint64_t played = 0;
  std::uint64_t replies = 0;
  const std::size_t mostCuts = options.quick ? 12 : 16;
  for (const Scenario& scenario : corpus()) {
    if (scenario.steps.size() > 2 || scenario.steps[0].reply.empty()) continue;
    Cutter cutter(scenario, failures);
    const std::size_t size = cutter.size();
    if (size <= mostCuts) cutter.everyCut();
    if (size <= 256) cutter.oneAndTwoCuts(options.quick ? 17 : 1);
    if (size <= 4096) cutter.cut(Pieces(size, 1));
    const std::size_t randomCuts = (size <= 4096 ? 3'000U : 300U) / (options.quick ? 30U : 1U);
    for (std::size_t i = 0; i < randomCuts; ++i) cutter.randomCut(random);
    played += cutter.played;
    ++replies;
  }
  const bool enough = played >= (options.quick ? 10'000U : 1'000'000U);
  if (!enough) failures.add("all", "too few segmentations");
  std::printf("torture-segmentation: %ju segmentations of %ju replies, %zu failures, seed %ju\n",
              std::uintmax_t{played}, std::uintmax_t{replies}, failures.count(),
              std::uintmax_t{options.seed});
  return failures.count() == 0 ? 0 : 1;
}

}  // namespace
}  // namespace orvix::torture

int main(int argc, char** argv) { return orvix::torture::main({argc, argv}); }
