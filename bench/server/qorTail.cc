// SPDX-License-Identifier: Apache-2.0
// Whether searches wait for a writer.
#include <algorithm>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <thread>

#include "bench/server/qorFeeds.h"
#include "bench/server/qorPlaces.h"
#include "bench/server/qorQueries.h"
#include "bench/server/qorTexts.h"

namespace orvix::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* COLLECTION = "tail";
constexpr std::chrono::milliseconds PACE{2};
constexpr std::chrono::milliseconds RUN_UP{300};
constexpr std::chrono::milliseconds FULL_WINDOW{3000};
constexpr std::chrono::milliseconds QUICK_WINDOW{1000};
constexpr double SHARE = 0.99;

class RoadTail : public Operation {
 public:
  RoadTail(const Cores& cores, std::size_t documents, Beside beside, bool quick)
      : cores_(cores),
        documents_(documents),
        beside_(beside),
        window_(quick ? QUICK_WINDOW : FULL_WINDOW),
        server_(serverOnBoth(cores)),
        road_(server_->port(), COLLECTION) {
    road_.create();
    for (std::size_t first = 0; first < documents; first += FEED_BATCH) {
      feedBatch(road_, first, textsFrom(first, FEED_BATCH));
    }
    for (const std::string& query : textQueries()) {
      requests_.push_back(road_.searchRequest(query, WANTED_HITS));
    }
  }

  void run(std::size_t) override { throw std::logic_error("a percentile is not timed"); }

  double reading() override {
    double found = 0;
    {
      const std::optional<Child> other = start();
      std::this_thread::sleep_for(RUN_UP);
      found = percentile();
    }
    road_.settle();  // what the writer had begun
    return found;
  }

 private:
  std::optional<Child> start() {
    switch (beside_) {
      case Beside::WRITER:
        return std::optional<Child>(std::in_place, cores_.peer, [this] { write(); });
      case Beside::WORK:
        return std::optional<Child>(std::in_place, cores_.peer, [this] { work(); });
      case Beside::NOTHING:
        break;
    }
    return std::nullopt;
  }

  /// In a child process, until it is killed.
  [[noreturn]] void write() const {
    spreadOver(cores_);
    Road road(server_->port(), COLLECTION);
    forever([&](std::size_t first, const std::vector<std::string>& texts) {
      feedBatch(road, first, texts);
    });
  }
  [[noreturn]] void work() const {
    spreadOver(cores_);
    EngineFeed feed(folder_.path() + "/index");
    forever([&](std::size_t first, const std::vector<std::string>& texts) {
      feed.batch(first, texts);
    });
  }
  template <class Batch>
  [[noreturn]] void forever(const Batch& batch) const {
    const std::vector<std::string> texts = textsFrom(0, FEED_BATCH);
    for (std::size_t first = 0;; first = (first + FEED_BATCH) % documents_) batch(first, texts);
  }

  /// A search that takes longer than the pace counts once for each that fell due meanwhile, as if
  /// that many callers had waited for it.
  double percentile() {
    std::vector<double> took;
    Clock::time_point due = Clock::now();
    const Clock::time_point end = due + window_;
    for (std::size_t i = 0; due < end; ++i) {
      std::this_thread::sleep_until(due);
      if (road_.countHits(requests_[i % requests_.size()]) != WANTED_HITS) {
        throw std::runtime_error("a search has found too little");
      }
      const Clock::time_point now = Clock::now();
      for (; due < now; due += PACE) {
        took.push_back(std::chrono::duration<double, std::nano>(now - due).count());
      }
    }
    const auto at =
        took.begin() + static_cast<std::ptrdiff_t>(SHARE * static_cast<double>(took.size()));
    std::nth_element(took.begin(), at, took.end());
    return *at;
  }

  Cores cores_;
  std::size_t documents_;
  Beside beside_;
  std::chrono::milliseconds window_;
  TemporaryFolder folder_;
  std::unique_ptr<road::ServerProcess> server_;
  Road road_;
  std::vector<comm::ClientRequest> requests_;
};

}  // namespace

std::unique_ptr<Operation> roadTail(const Cores& cores, std::size_t documents, Beside beside,
                                    bool quick) {
  return std::make_unique<RoadTail>(cores, documents, beside, quick);
}

}  // namespace orvix::bench
