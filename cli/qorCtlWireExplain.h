// SPDX-License-Identifier: Apache-2.0
// Captured bytes explained field by field, as docs/protocol.md lays them out. Pure: bytes in, parts
// out, no sockets and no files.
#pragma once

#include <string_view>

#include "cli/qorCtlWireKinds.h"
#include "cli/qorCtlWireReader.h"

namespace orvix::ctl {

/// One request after the other, to the end of the bytes; at least one.
/// Throws: WireFault at the first byte that does not fit, after the parts before it.
void explainRequests(std::string_view bytes, const PartSink& sink);

/// The same for replies to requests of one kind.
void explainReplies(std::string_view bytes, const WireKind& kind, const PartSink& sink);

/// The body of a document, which is all that is left of `in`'s range.
void explainBody(WireReader& in);

}  // namespace orvix::ctl
