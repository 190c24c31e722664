// SPDX-License-Identifier: Apache-2.0
// Properties with a few entries laid over them, visited in key order without copying either.
#pragma once

#include <span>

#include <unicode/unistr.h>

#include "infra/util/qorExtendedProperties.h"

namespace orvix::comm::detail {

/// An entry that takes the place of an equal one. Borrows both texts.
struct Overlay {
  const icu::UnicodeString* key;
  const icu::UnicodeString* value;
};

/// Calls `visit(key, value)` for every entry of `properties` and of `own`, which is in key order.
template <class Visitor>
void visitMerged(const util::ExtendedProperties& properties, std::span<const Overlay> own,
                 Visitor visit) {
  const util::CodeUnitOrder before;
  auto at = own.begin();
  for (const auto& [key, value] : properties) {
    for (; at != own.end() && before(*at->key, key); ++at) visit(*at->key, *at->value);
    if (at == own.end() || before(key, *at->key)) visit(key, value);
  }
  for (; at != own.end(); ++at) visit(*at->key, *at->value);
}

}  // namespace orvix::comm::detail
