// SPDX-License-Identifier: Apache-2.0
// One function per parser entry; each aborts when an oracle is violated. What an input means is
// said at each.
#pragma once

#include <string_view>

namespace orvix::torture {

/// { kind, streamed, segments, reply }: a client receives the reply in these segments.
void fuzzReplies(std::string_view input);
/// { segments, chunks }: the reader of a chunked payload alone.
void fuzzChunks(std::string_view input);
/// { kind, streaming, segments, reply }: the plain-text parser.
void fuzzPlainText(std::string_view input);
/// The key/value pairs of a record.
void fuzzPairs(std::string_view input);
/// { length, limit, text }: text conversion both ways.
void fuzzConverter(std::string_view input);
/// { segments, frames }: the server's frame reader.
void fuzzFrames(std::string_view input);
/// The body of a document request, at the server.
void fuzzBodies(std::string_view input);
/// { buffered, step, requests }: what a client writes, the server reads.
void fuzzRoundTrip(std::string_view input);

struct FuzzTarget {
  const char* name;
  void (*run)(std::string_view input);
};
inline constexpr FuzzTarget TARGETS[] = {
    {"replies", fuzzReplies}, {"chunks", fuzzChunks},        {"plain_text", fuzzPlainText},
    {"pairs", fuzzPairs},     {"converter", fuzzConverter},  {"frames", fuzzFrames},
    {"bodies", fuzzBodies},   {"round_trip", fuzzRoundTrip},
};

}  // namespace orvix::torture
