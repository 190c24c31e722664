// SPDX-License-Identifier: Apache-2.0
// What a server says about a failure, out of the pairs of its record; and the pairs out of bytes.
#pragma once

#include <cstddef>
#include <string_view>

#include "infra/oss/qorMessage.h"
#include "infra/util/qorExtendedProperties.h"

namespace orvix::comm::detail {

/// With a non-empty "MsgId" the message becomes the server's: that id, the text "MsgText", level 4,
/// no file, line 0, no arguments. Otherwise it is left as it was. `code` and `flag` change nothing.
void extractServerMessage(const util::ExtendedProperties& properties, oss::Message& message,
                          unsigned int code, bool flag);

/// Reads { keyLength: u16, key, valueLength: u16, value }* into `properties`. Lengths are cut to
/// the bytes there are; the result is the offset that they claimed, which may lie behind the end.
std::size_t decodePairs(std::string_view bytes, util::ExtendedProperties& properties);

}  // namespace orvix::comm::detail
