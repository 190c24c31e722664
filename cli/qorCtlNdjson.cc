// SPDX-License-Identifier: Apache-2.0
// NDJSON: one JSON object per line becomes one document. A line that is too long is passed over
// without being held.
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "cli/qorCtlBytesText.h"
#include "cli/qorCtlDocumentSource.h"
#include "cli/qorCtlInput.h"
#include "cli/qorCtlText.h"

namespace orvix::ctl {

namespace {

using Json = nlohmann::json;

/// A line that is no document; the text says why.
struct BadLine {
  std::string why;
};

/// The text of a member that is text or a number.
std::optional<std::string> scalarText(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_number()) return value.dump();
  return std::nullopt;
}

/// The same, and the bytes of a {"base64": "..."}.
std::optional<std::string> bytesOf(const Json& value) {
  if (!value.is_object() || value.size() != 1) return scalarText(value);
  const auto found = value.find(BASE64_MEMBER);
  return found != value.end() && found->is_string() ? fromBase64(found->get<std::string>())
                                                    : std::nullopt;
}

std::string requireMember(const Json& object, const std::string& name, const char* option) {
  const auto found = object.find(name);
  if (found == object.end()) {
    throw BadLine{"there is no member '" + printable(name) + "'; name another one with " + option};
  }
  auto text = bytesOf(*found);
  if (!text) throw BadLine{"the member '" + printable(name) + "' is neither text nor a number"};
  return *std::move(text);
}

Document lineDocument(const std::string& line, const SourceOptions& options) {
  const Json object = Json::parse(line);
  if (!object.is_object()) throw BadLine{"the line holds no JSON object"};
  Document document;
  document.key = requireMember(object, options.keyMember, "--key");
  if (document.key.empty()) throw BadLine{"the key is empty"};
  document.content = requireMember(object, options.contentMember, "--content");
  for (const auto& [name, value] : object.items()) {
    if (name == options.keyMember || name == options.contentMember || name == REJECTED_MEMBER) {
      continue;
    }
    const auto text = scalarText(value);
    if (!text || name.empty()) {
      ++document.omittedMembers;
      continue;
    }
    for (std::string& field : fieldsOf(name, options)) {
      document.fields.push_back({std::move(field), *text, name});
    }
  }
  return document;
}

class NdjsonSource : public DocumentSource {
 public:
  NdjsonSource(const std::string& path, const SourceOptions& options)
      : options_(options), input_(path) {}

  std::optional<SourceItem> next() override {
    while (readLine()) {
      if (tooLong_) {
        return badLine("it has more than " + std::to_string(options_.maxBytes) +
                       " bytes; split it");
      }
      if (line_.find_first_not_of(" \t\r") != std::string::npos) return makeItem();
    }
    if (input_.problem().empty() || std::exchange(reported_, true)) return std::nullopt;
    return SourceItem{SourceProblem{input_.problem()}, 0};
  }

 private:
  /// False at the end. Holds at most the limit of a line.
  bool readLine() {
    line_.clear();
    tooLong_ = false;
    lineBytes_ = 0;
    for (int byte = input_.next(); byte != ByteInput::END; byte = input_.next()) {
      ++lineBytes_;
      if (byte == '\n') break;
      if (line_.size() < options_.maxBytes) {
        line_ += static_cast<char>(byte);
      } else {
        tooLong_ = true;
      }
    }
    if (lineBytes_ == 0) return false;
    if (++lineNumber_ == 1 && line_.compare(0, BYTE_ORDER_MARK.size(), BYTE_ORDER_MARK) == 0) {
      line_.erase(0, BYTE_ORDER_MARK.size());
    }
    return true;
  }

  SourceItem makeItem() {
    try {
      return {lineDocument(line_, options_), lineBytes_};
    } catch (const BadLine& bad) {
      return badLine(bad.why);
    } catch (const Json::exception& failure) {
      // Before the column stand words of the parser, among them a line that is always the first.
      const std::string_view text = failure.what();
      const std::size_t column = text.find("column ");
      return badLine("it is not valid JSON: " +
                     printable(text.substr(column == std::string_view::npos ? 0 : column)));
    }
  }

  SourceItem badLine(const std::string& why) const {
    return {SourceProblem{input_.name() + " line " + std::to_string(lineNumber_) + ": " + why},
            lineBytes_};
  }

  SourceOptions options_;
  ByteInput input_;
  std::string line_;
  std::uint64_t lineNumber_ = 0;
  std::uint64_t lineBytes_ = 0;
  bool tooLong_ = false;
  bool reported_ = false;
};

}  // namespace

std::unique_ptr<DocumentSource> openNdjson(const std::string& path, const SourceOptions& options) {
  return std::make_unique<NdjsonSource>(path, options);
}

}  // namespace orvix::ctl
