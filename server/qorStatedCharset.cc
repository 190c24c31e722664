// SPDX-License-Identifier: Apache-2.0
// Declarations are looked for as ASCII: who can read them so has no text of two bytes a character,
// whatever the declaration says.
#include "server/qorStatedCharset.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include <unicode/ucnv.h>

#include "server/qorServerWords.h"
#include "server/qorTextDecoder.h"

namespace orvix::server {

namespace {

constexpr std::size_t SEARCHED = 1024;
constexpr std::string_view BLANKS = " \t\r\n\f";

std::optional<StatedCharset> byteOrderMark(std::string_view bytes) {
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t length = 0;
  const auto looked = static_cast<std::int32_t>(std::min<std::size_t>(bytes.size(), 8));
  const char* name = ucnv_detectUnicodeSignature(bytes.data(), looked, &length, &status);
  if (name == nullptr) return std::nullopt;
  // Rarer signatures are bytes that other texts may well start with.
  const std::string_view found = name;
  if (!found.starts_with("UTF-8") && !found.starts_with("UTF-16") && !found.starts_with("UTF-32")) {
    return std::nullopt;
  }
  return StatedCharset{name, static_cast<std::size_t>(length)};
}

/// The start of the document with ASCII letters in lower case; other bytes stay.
std::string searchedStart(std::string_view bytes) {
  std::string start(bytes.substr(0, SEARCHED));
  for (char& c : start) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return start;
}

void skipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
}

/// The value of `key`, with or without quotes; empty when the tag does not have it.
std::string valueIn(std::string_view tag, std::string_view key) {
  for (std::size_t at = tag.find(key); at != std::string_view::npos; at = tag.find(key, at + 1)) {
    std::string_view rest = tag.substr(at + key.size());
    skipBlanks(rest);
    if (!rest.starts_with('=')) continue;
    rest.remove_prefix(1);
    skipBlanks(rest);
    if (rest.empty()) return {};
    const bool quoted = rest.front() == '"' || rest.front() == '\'';
    if (!quoted) return std::string(rest.substr(0, rest.find_first_of(" \t\r\n\f;\"'/>")));
    const std::size_t end = rest.find(rest.front(), 1);
    return end == std::string_view::npos ? std::string() : std::string(rest.substr(1, end - 1));
  }
  return {};
}

std::string ofXmlDeclaration(std::string_view start) {
  if (!start.starts_with("<?xml")) return {};
  return valueIn(start.substr(0, start.find("?>")), "encoding");
}

std::string ofMetaElement(std::string_view start) {
  for (std::size_t at = start.find('<'); at != std::string_view::npos; at = start.find('<', at)) {
    std::string_view rest = start.substr(at);
    if (rest.starts_with("<!--")) {
      at = std::min(start.find("-->", at + 4), start.size());
      continue;
    }
    ++at;
    if (!rest.starts_with("<meta")) continue;
    std::string name = valueIn(rest.substr(0, rest.find('>')), "charset");
    if (!name.empty()) return name;
  }
  return {};
}

/// Two bytes a character without a mark: the declaration itself shows it.
std::string ofWideDeclaration(std::string_view bytes) {
  if (bytes.starts_with(std::string_view("<\0?\0", 4))) return "UTF-16LE";
  if (bytes.starts_with(std::string_view("\0<\0?", 4))) return "UTF-16BE";
  return {};
}

}  // namespace

StatedCharset statedCharset(std::string_view bytes, TextKind kind) {
  if (const auto mark = byteOrderMark(bytes)) return *mark;
  if (kind != TextKind::XML && kind != TextKind::HTML) return {};
  if (std::string wide = ofWideDeclaration(bytes); !wide.empty()) return {std::move(wide), 0};
  const std::string start = searchedStart(bytes);
  std::string name = ofXmlDeclaration(start);
  if (kind == TextKind::HTML) {
    if (name.empty()) name = ofMetaElement(start);
    if (!isCharsetKnown(name)) name.clear();
  }
  if (name.starts_with("utf-16") || name.starts_with("utf-32")) name = words().utf8;
  return {std::move(name), 0};
}

}  // namespace orvix::server
