// SPDX-License-Identifier: Apache-2.0
// The text of XML and HTML documents, without the markup. Nothing outside of the document is ever
// read: no external entity, no external part of a DTD, neither from files nor from the network.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvix::server {

/// Of processor time.
inline constexpr unsigned MAX_MARKUP_SECONDS = 10;
/// Elements within each other, in XML. HTML is not limited: pages that leave elements open are
/// deep without meaning to be.
inline constexpr unsigned MAX_XML_DEPTH = 200;

/// Attributes of one element of XML.
inline constexpr unsigned MAX_XML_ATTRIBUTES = 20000;
/// Bytes in front of the first element of XML.
inline constexpr std::size_t MAX_XML_PROLOGUE = 64U << 10U;

/// Every element separates words; of the XHTML namespace only those that do so in HTML. Entities
/// that the document itself declares are resolved.
/// Limits: those above, `seconds` of processor time, 4 times as much text as there was markup
///         (64 KiB are always granted), and the parser's own for the growth of entities.
/// Throws: CONTENT_MALFORMED with line and column.
[[nodiscard]] std::string textOfXml(std::string_view utf8, unsigned seconds = MAX_MARKUP_SECONDS);

/// Ill-formed markup is repaired. The title and the texts that stand for images count as text;
/// scripts, styles, templates and comments do not. Elements that are set within a line do not
/// separate words: `<b>a</b>b` is one.
/// Limits: as above, without that of depth. Throws: CONTENT_MALFORMED when a limit is met.
[[nodiscard]] std::string textOfHtml(std::string_view utf8, unsigned seconds = MAX_MARKUP_SECONDS);

}  // namespace orvix::server
