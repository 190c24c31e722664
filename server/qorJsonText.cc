// SPDX-License-Identifier: Apache-2.0
// The parser keeps a bit for each level and calls no function within itself, so that depth costs
// nothing; it is limited all the same, for what is nested deeper is no document.
#include "server/qorJsonText.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "server/qorRefusal.h"

namespace orvix::server {

namespace {

using Json = nlohmann::json;

/// Without the parser's name for it, its position, and the piece of the document that it quotes.
std::string reasonIn(std::string_view message) {
  constexpr std::size_t SHOWN = 200;
  const std::size_t place = message.find(": ");
  const std::size_t name = message.find("] ");
  if (place != std::string_view::npos) {
    message.remove_prefix(place + 2);
  } else if (name != std::string_view::npos) {
    message.remove_prefix(name + 2);
  }
  return std::string(message.substr(0, std::min(message.find("; last read: "), SHOWN)));
}

/// `position` counts the bytes that were read.
std::string placeOf(std::string_view text, std::size_t position) {
  const std::string_view read = text.substr(0, position == 0 ? 0 : position - 1);
  const auto lines = std::count(read.begin(), read.end(), '\n');
  const std::size_t lineStart = read.rfind('\n') + 1;  // 0 when there is none
  return "line " + std::to_string(lines + 1) + ", byte " +
         std::to_string(read.size() - lineStart + 1);
}

class Gatherer : public nlohmann::json_sax<Json> {
 public:
  explicit Gatherer(std::string_view source) : source_(source) {}

  bool null() override { return true; }
  bool boolean(bool /*value*/) override { return true; }
  bool number_integer(Json::number_integer_t value) override { return add(std::to_string(value)); }
  bool number_unsigned(Json::number_unsigned_t value) override {
    return add(std::to_string(value));
  }
  bool number_float(Json::number_float_t /*value*/, const std::string& written) override {
    return add(written);
  }
  bool string(std::string& value) override { return add(value); }
  bool binary(Json::binary_t& /*value*/) override { return true; }  // not in JSON's text form
  bool key(std::string& /*name*/) override { return true; }
  bool start_object(std::size_t /*size*/) override { return enter(); }
  bool end_object() override { return leave(); }
  bool start_array(std::size_t /*size*/) override { return enter(); }
  bool end_array() override { return leave(); }
  bool parse_error(std::size_t position, const std::string& /*token*/,
                   const nlohmann::detail::exception& error) override {
    fault_ = "The document's JSON cannot be read at " + placeOf(source_, position) + ": " +
             reasonIn(error.what());
    return false;
  }

  [[nodiscard]] std::string& text() noexcept { return text_; }
  [[nodiscard]] const std::string& fault() const noexcept { return fault_; }

 private:
  bool add(std::string_view value) {
    text_.append(value).push_back('\n');
    return true;
  }
  bool enter() {
    if (++depth_ <= MAX_JSON_DEPTH) return true;
    fault_ = "The document's JSON has more than " + std::to_string(MAX_JSON_DEPTH) +
             " arrays and objects within each other";
    return false;
  }
  bool leave() {
    --depth_;
    return true;
  }

  std::string_view source_;
  std::string text_;
  std::string fault_;
  std::size_t depth_ = 0;
};

}  // namespace

std::string textOfJson(std::string_view utf8) {
  Gatherer gatherer(utf8);
  if (!Json::sax_parse(utf8, &gatherer)) refuse(MessageId::CONTENT_MALFORMED, gatherer.fault());
  return std::move(gatherer.text());
}

}  // namespace orvix::server
