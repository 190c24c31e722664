// SPDX-License-Identifier: Apache-2.0
// A writer for this one object; the server reads no JSON.
#include "server/qorStatusText.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "server/qorTextDecoder.h"

namespace orvix::server {

namespace {

std::string escaped(char byte) {
  switch (byte) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      break;
  }
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "\\u%04x", static_cast<unsigned>(byte));
  return text.data();
}

bool needsEscape(char byte) noexcept {
  return byte == '"' || byte == '\\' || static_cast<unsigned char>(byte) < 0x20;
}

class ObjectWriter {
 public:
  void raw(std::string_view key, std::string_view value) {
    text_ += text_.empty() ? "{" : ",";
    text_ += jsonString(key) + ":";
    text_ += value;
  }
  void text(std::string_view key, std::string_view value) { raw(key, jsonString(value)); }
  void number(std::string_view key, std::uint64_t value) { raw(key, std::to_string(value)); }
  [[nodiscard]] std::string finish() const { return text_.empty() ? "{}" : text_ + "}"; }

 private:
  std::string text_;
};

std::string fieldsOf(const FieldRegistry& registry) {
  ObjectWriter fields;
  for (const auto& [name, field] : registry.all()) {
    ObjectWriter one;
    one.raw("searchable", field.searchable ? "true" : "false");
    one.raw("sortable", field.sortable ? "true" : "false");
    fields.raw(name, one.finish());
  }
  return fields.finish();
}

/// Of files that may go meanwhile.
std::uint64_t bytesIn(const std::filesystem::path& folder) {
  std::uint64_t bytes = 0;
  std::error_code gone;
  for (const auto& entry : std::filesystem::directory_iterator(folder, gone)) {
    const std::uint64_t size = entry.file_size(gone);
    if (!gone) bytes += size;
  }
  return bytes;
}

std::string configurationText(const Properties& configuration) {
  ObjectWriter all;
  for (const auto& [key, value] : configuration) all.text(key, value);
  return all.finish();
}

}  // namespace

std::string jsonString(std::string_view text) {
  std::string out = "\"";
  for (const char byte : toUtf8(text, {})) {
    if (needsEscape(byte)) {
      out += escaped(byte);
    } else {
      out += byte;
    }
  }
  return out + "\"";
}

std::string statusTextOf(Collection& collection) {
  const Xapian::Database database = collection.reader();
  ObjectWriter status;
  status.text("name", collection.name());
  status.text("displayName", collection.config().displayName);
  status.text("language", collection.config().language);
  status.number("documents", database.get_doccount());
  status.number("pending", collection.pending());
  status.number("outcomes", collection.outcomes().size());
  status.number("revision", database.get_revision());
  status.number("bytes", bytesIn(collection.folder()));
  if (collection.lastError()) status.text("lastError", collection.lastError()->text);
  status.raw("fields", fieldsOf(collection.fields()));
  status.raw("configuration", configurationText(collection.config().configuration));
  return status.finish() + "\n";
}

}  // namespace orvix::server
