// SPDX-License-Identifier: Apache-2.0
#include "bench/server/qorFeeds.h"

#include "bench/server/qorPlaces.h"
#include "bench/server/qorTexts.h"
#include "server/qorDocumentBody.h"
#include "server/qorDocumentTerm.h"
#include "server/qorIndexer.h"

namespace orvix::bench {

namespace {

constexpr const char* COLLECTION = "feed";
constexpr const char* LANGUAGE = "en";

/// The texts of each slice are made before it is timed.
class Feed : public Operation {
 public:
  void prepare() override { texts_ = textsFrom(first_, FEED_BATCH); }
  void run(std::size_t count) override {
    texts_.resize(count);
    batch(first_, texts_);
    first_ += count;
  }

 private:
  virtual void batch(std::size_t first, const std::vector<std::string>& texts) = 0;

  std::size_t first_ = 0;
  std::vector<std::string> texts_;
};

class RoadFeed : public Feed {
 public:
  RoadFeed(int core, const Cores& cores)
      : server_(serverOn(core, cores)), road_(server_->port(), COLLECTION) {
    road_.create();
  }

 private:
  void batch(std::size_t first, const std::vector<std::string>& texts) override {
    feedBatch(road_, first, texts);
  }

  std::unique_ptr<road::ServerProcess> server_;
  Road road_;
};

class InProcessFeed : public Feed {
 private:
  void batch(std::size_t first, const std::vector<std::string>& texts) override {
    feed_.batch(first, texts);
  }

  TemporaryFolder folder_;
  EngineFeed feed_{folder_.path() + "/index"};
};

}  // namespace

EngineFeed::EngineFeed(const std::string& folder)
    : database_(folder, Xapian::DB_CREATE_OR_OVERWRITE | Xapian::DB_BACKEND_GLASS) {}

void EngineFeed::batch(std::size_t first, const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    const std::string key = textKey(first++);
    const Xapian::Document document =
        server::buildDocument({{}, key, text}, {LANGUAGE, {}}, fields_);
    const Xapian::docid known = server::findDocument(database_, key);
    if (known != 0) {
      database_.replace_document(known, document);
    } else {
      database_.add_document(document);
    }
  }
  database_.commit();
}

void feedBatch(Road& road, std::size_t first, const std::vector<std::string>& texts) {
  for (const std::string& text : texts) road.add(textKey(first++), text);
  road.endBatch(texts.size());
}

std::unique_ptr<Operation> roadFeed(int core, const Cores& cores) {
  return std::make_unique<RoadFeed>(core, cores);
}

std::unique_ptr<Operation> engineFeed() { return std::make_unique<InProcessFeed>(); }

}  // namespace orvix::bench
