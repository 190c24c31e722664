// SPDX-License-Identifier: Apache-2.0
// Everything is brought to UTF-8 first, by one converter, so that the readers of markup and JSON
// meet one character set only.
#include "server/qorTextExtraction.h"

#include "server/qorJsonText.h"
#include "server/qorMarkupText.h"
#include "server/qorRefusal.h"
#include "server/qorStatedCharset.h"
#include "server/qorTextDecoder.h"

namespace orvix::server {

namespace {

constexpr std::string_view MARK = "\xEF\xBB\xBF";

std::string decoded(std::string_view content, TextKind kind, std::string_view charset) {
  std::string text;
  if (charset.empty()) {
    const StatedCharset stated = statedCharset(content, kind);
    text = toUtf8(content.substr(stated.skipped), stated.name);
  } else {
    text = toUtf8(content, charset);
  }
  if (text.starts_with(MARK)) text.erase(0, MARK.size());
  return text;
}

}  // namespace

std::string extractText(std::string_view content, const ContentType& type,
                        std::string_view charset) {
  const TextKind kind = textKindOf(type.name);
  if (kind == TextKind::OTHER) {
    refuse(MessageId::CONTENT_TYPE_UNSUPPORTED,
           "The server does not read documents of the type " + inQuotes(type.name) +
               "; send text, HTML, XML or JSON, or have a filter for the type configured");
  }
  std::string text = decoded(content, kind, charset);
  if (content.empty()) return text;
  switch (kind) {
    case TextKind::XML:
      return textOfXml(text);
    case TextKind::HTML:
      return textOfHtml(text);
    case TextKind::JSON:
      return textOfJson(text);
    case TextKind::PLAIN:
    case TextKind::OTHER:
      break;
  }
  return text;
}

}  // namespace orvix::server
