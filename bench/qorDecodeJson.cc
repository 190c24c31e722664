// SPDX-License-Identifier: Apache-2.0
// The same hits as JSON: through a tree, and on demand.
#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <simdjson.h>
#include <stdexcept>
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

constexpr std::array<std::uint8_t, 256> DIGITS = [] {
  constexpr std::string_view ALPHABET =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<std::uint8_t, 256> digits{};
  for (std::size_t i = 0; i < ALPHABET.size(); ++i) {
    digits[static_cast<unsigned char>(ALPHABET[i])] = static_cast<std::uint8_t>(i);
  }
  return digits;
}();

/// The bytes of well-formed Base64, a key's at most.
std::string_view decodeKey(std::string_view text, std::array<char, 3 * KEY_SIZE>& out) {
  std::size_t fill = 0;
  for (std::size_t at = 0; at + 4 <= text.size() && fill + 3 <= out.size(); at += 4) {
    std::uint32_t group = 0;
    for (const char c : text.substr(at, 4))
      group = group * 64 + DIGITS[static_cast<unsigned char>(c)];
    out[fill++] = static_cast<char>(group / 65536);
    out[fill++] = static_cast<char>(group / 256 % 256);
    out[fill++] = static_cast<char>(group % 256);
  }
  while (!text.empty() && text.back() == '=') {
    text.remove_suffix(1);
    --fill;
  }
  return {out.data(), fill};
}

class SimdjsonDecode : public Operation {
 public:
  explicit SimdjsonDecode(JsonKey form) : form_(form) {
    if (decodeKey(base64(keyOf(4711)), bytes_) != keyOf(4711)) {
      throw std::logic_error("a key's Base64 is not decoded to its bytes");
    }
  }

  void run(std::size_t count) override {
    for (; count >= PIECE_HITS; count -= PIECE_HITS) {
      simdjson::ondemand::document reply = parser_.iterate(body_);
      std::size_t found = 0;
      for (simdjson::ondemand::object hit : reply["hits"].get_array()) {
        const std::string_view key = hit["key"].get_string();
        sink_.take(form_ == JsonKey::TEXT ? key : decodeKey(key, bytes_));
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
  JsonKey form_;
  std::array<char, 3 * KEY_SIZE> bytes_{};
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
std::unique_ptr<Operation> simdjsonDecode(JsonKey form) {
  return std::make_unique<SimdjsonDecode>(form);
}
std::unique_ptr<Operation> simdjsonTreeDecode() { return std::make_unique<SimdjsonTreeDecode>(); }

}  // namespace orvix::bench
