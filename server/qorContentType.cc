// SPDX-License-Identifier: Apache-2.0
// Parameters other than the character set are passed over.
#include "server/qorContentType.h"

#include <algorithm>

#include "server/qorServerWords.h"

namespace orvix::server {

namespace {

constexpr std::string_view BLANKS = " \t";

std::string_view trimmed(std::string_view text) noexcept {
  const std::size_t first = text.find_first_not_of(BLANKS);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

/// Not std::tolower: the names are ASCII whatever the locale.
std::string lowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return lower;
}

std::string charsetIn(std::string_view parameters) {
  while (!parameters.empty()) {
    const std::size_t end = std::min(parameters.find(';'), parameters.size());
    const std::string_view each = parameters.substr(0, end);
    parameters.remove_prefix(std::min(end + 1, parameters.size()));
    const std::size_t sign = each.find('=');
    if (sign == std::string_view::npos) continue;
    if (lowerCase(trimmed(each.substr(0, sign))) != words().charset) continue;
    std::string_view value = trimmed(each.substr(sign + 1));
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
      value = value.substr(1, value.size() - 2);
    }
    return std::string(value);
  }
  return {};
}

bool saysNothing(std::string_view type) {
  return type.empty() || type == lowerCase(words().typeUndefined) ||
         type == lowerCase(words().typeUnknown);
}

}  // namespace

ContentType parseContentType(std::string_view stated) {
  const std::size_t end = std::min(stated.find(';'), stated.size());
  ContentType type{lowerCase(trimmed(stated.substr(0, end))), {}};
  if (saysNothing(type.name)) type.name.clear();
  if (end < stated.size()) type.charset = charsetIn(stated.substr(end + 1));
  return type;
}

ContentType contentTypeOf(const Properties& request) {
  ContentType known = parseContentType(valueOf(request, words().knownDocumentType));
  return known.name.empty() ? parseContentType(valueOf(request, words().mimeType)) : known;
}

TextKind textKindOf(std::string_view type) noexcept {
  if (type == "text/html" || type == "application/xhtml+xml") return TextKind::HTML;
  if (type == "text/xml" || type == "application/xml" || type.ends_with("+xml")) {
    return TextKind::XML;
  }
  if (type == "application/json" || type.ends_with("+json")) return TextKind::JSON;
  return type.empty() || type.starts_with("text/") ? TextKind::PLAIN : TextKind::OTHER;
}

}  // namespace orvix::server
