// SPDX-License-Identifier: Apache-2.0
// The same hits as JSON: through a tree, and on demand.
#include <nlohmann/json.hpp>
#include <simdjson.h>
#include <string>
#include <string_view>

#include "bench/qorDecodes.h"
#include "bench/qorWorkload.h"

namespace orvix::bench {

namespace {

class NlohmannDecode : public Operation {
 public:
  void run(std::size_t count) override {
    for (; count >= PIECE_HITS; count -= PIECE_HITS) {
      const nlohmann::json reply = nlohmann::json::parse(body_);
      const auto& hits = reply.at("hits");
      for (const auto& hit : hits) {
        sink_.take(hit.at("key").get_ref<const std::string&>());
        sink_.take(hit.at("score").get<double>());
      }
      requireCount("hits of a body", hits.size(), PIECE_HITS);
    }
    requireCount("hits that are left over", count, 0);
  }

 private:
  std::string body_ = jsonReply(PIECE_HITS);
  Sink sink_;
};

class SimdjsonDecode : public Operation {
 public:
  void run(std::size_t count) override {
    for (; count >= PIECE_HITS; count -= PIECE_HITS) {
      simdjson::ondemand::document reply = parser_.iterate(body_);
      std::size_t found = 0;
      for (simdjson::ondemand::object hit : reply["hits"].get_array()) {
        sink_.take(std::string_view(hit["key"].get_string()));
        sink_.take(double(hit["score"].get_double()));
        ++found;
      }
      requireCount("hits of a body", found, PIECE_HITS);
    }
    requireCount("hits that are left over", count, 0);
  }

 private:
  simdjson::padded_string body_{jsonReply(PIECE_HITS)};
  simdjson::ondemand::parser parser_;
  Sink sink_;
};

class SimdjsonTreeDecode : public Operation {
 public:
  void run(std::size_t count) override {
    for (; count >= PIECE_HITS; count -= PIECE_HITS) {
      std::size_t found = 0;
      for (const simdjson::dom::element hit : parser_.parse(body_)["hits"].get_array()) {
        sink_.take(hit["key"].get_string().value());
        sink_.take(hit["score"].get_double().value());
        ++found;
      }
      requireCount("hits of a body", found, PIECE_HITS);
    }
    requireCount("hits that are left over", count, 0);
  }

 private:
  simdjson::padded_string body_{jsonReply(PIECE_HITS)};
  simdjson::dom::parser parser_;
  Sink sink_;
};

}  // namespace

std::unique_ptr<Operation> nlohmannDecode() { return std::make_unique<NlohmannDecode>(); }
std::unique_ptr<Operation> simdjsonDecode() { return std::make_unique<SimdjsonDecode>(); }
std::unique_ptr<Operation> simdjsonTreeDecode() { return std::make_unique<SimdjsonTreeDecode>(); }

}  // namespace orvix::bench
