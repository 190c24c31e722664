// SPDX-License-Identifier: Apache-2.0
// From the bytes of a document's content to the text that is indexed, by its type.
#pragma once

#include <string>
#include <string_view>

#include "server/qorContentType.h"

namespace orvix::server {

/// Well-formed UTF-8. An empty `charset` leaves it to the document to say; when it does not, it is
/// UTF-8. Content of no bytes is text of every kind.
/// Throws: CONTENT_TYPE_UNSUPPORTED, CHARSET_UNKNOWN, CONTENT_MALFORMED.
[[nodiscard]] std::string extractText(std::string_view content, const ContentType& type,
                                      std::string_view charset);

}  // namespace orvix::server
