// SPDX-License-Identifier: Apache-2.0
#include "server/qorTextAhead.h"

#include "server/qorIndexer.h"
#include "server/qorTextExtraction.h"

namespace orvix::server {

namespace {

/// Smaller ones take no longer than a switch of threads is worth, even those made to take long.
constexpr std::size_t LARGE = 64U << 10U;

}  // namespace

bool isReadAhead(const std::vector<TextFilter>& filters, const Properties& request,
                 std::size_t bodySize) {
  if (filters.empty() && bodySize <= LARGE) return false;
  const ContentType type = contentTypeOf(request);
  if (filterFor(filters, type.name) != nullptr) return true;
  const TextKind kind = textKindOf(type.name);
  return bodySize > LARGE && kind != TextKind::PLAIN && kind != TextKind::OTHER;
}

std::string textAhead(const std::vector<TextFilter>& filters, const Properties& request,
                      std::string_view content) {
  const TextSettings settings = textSettingsOf(request, {});
  const TextFilter* filter = filterFor(filters, settings.type.name);
  if (filter == nullptr) return extractText(content, settings.type, settings.charset);
  return content.empty() ? std::string() : runTextFilter(*filter, content);
}

}  // namespace orvix::server
