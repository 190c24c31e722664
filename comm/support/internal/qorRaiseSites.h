// SPDX-License-Identifier: Apache-2.0
// The one table of places that raise an error. Id, reported file and line, and the text are data
// that callers and logs match on: they stand here and nowhere else, odd spellings included.
#pragma once

#include <unicode/unistr.h>

#include "comm/protocol/qorStaticDefs.h"
#include "comm/support/qorRESTException.h"
#include "infra/oss/qorBaseException.h"

namespace orvix::comm::detail {

struct Site {
  const icu::UnicodeString* id;
  const char* file = nullptr;  ///< null: not said, and the line is 0
  unsigned int line = 0;
  const char* text = nullptr;  ///< the argument, when it is fixed
};

namespace sites {

inline constexpr char PERF_CLIENT[] = "qorTamberPerfClient";
inline constexpr char CLIENT[] = "qorCorvaneClient";
inline constexpr char REST_CLIENT[] = "qorCorvaneRESTClient";
inline constexpr char RESPONSE[] = "qorRESTResponse";
inline constexpr char PERF_RESPONSE[] = "qorTamberPerfResponse";

using Defs = StaticDefs;

// One attempt.
inline constexpr Site NOT_CONNECTED{&Defs::ERR_CONNECT_SERVER, PERF_CLIENT, 66};
inline constexpr Site ATTEMPT_FAILED{&Defs::ERR_CLIENT_INTERNAL, PERF_CLIENT, 112,
                                     "unknown error from sendandrecvMesgOnce"};
inline constexpr Site RECV_NOT_CONNECTED{&Defs::ERR_CONNECT_SERVER, PERF_CLIENT, 131};
inline constexpr Site RECV_WHILE_ACTIVE{&Defs::ERR_INVALID_STATE, PERF_CLIENT, 137};
inline constexpr Site RECV_FAILED{&Defs::ERR_CLIENT_INTERNAL, PERF_CLIENT, 146,
                                  "unknown error from sendandrecvMesgOnce"};

// Sending.
inline constexpr Site EMPTY_TERMINATOR{&Defs::ERR_CLIENT_INTERNAL, PERF_CLIENT, 191,
                                       "NULL terminator record in sendMesg"};
inline constexpr Site SEND_SOCKET{&Defs::ERR_SERVER_COMM_SEND, PERF_CLIENT, 280};
inline constexpr Site SEND_INTERNAL{&Defs::ERR_CLIENT_INTERNAL, PERF_CLIENT, 285};

// Receiving.
inline constexpr Site COMPLETE_BEFORE_READING{&Defs::ERR_CLIENT_INTERNAL, PERF_CLIENT, 356};
inline constexpr Site RECV_HEADER{&Defs::ERR_SERVER_COMM_RECV, PERF_CLIENT, 382};
inline constexpr Site RECV_STREAM{&Defs::ERR_SERVER_COMM_RECV, PERF_CLIENT, 508};
inline constexpr Site CHUNK_STATUS_SHORT{&Defs::ERR_SERVER_PROTOCOL, PERF_CLIENT, 583,
                                         "Error reading payload (chunk) status from socket"};
inline constexpr Site CHUNK_STATUS_UNKNOWN{&Defs::ERR_SERVER_PROTOCOL, PERF_CLIENT, 590,
                                           "Payload (chunk) status must be OK or OK_CHUNKED"};
inline constexpr Site CHUNK_SIZE_SHORT{&Defs::ERR_SERVER_PROTOCOL, PERF_CLIENT, 598,
                                       "Error reading payload (chunk) size from socket"};
inline constexpr Site CHUNK_DATA_SHORT{&Defs::ERR_SERVER_PROTOCOL, PERF_CLIENT, 613,
                                       "Error reading payload (chunk) from socket"};

// Connecting and waiting.
inline constexpr Site RECEIVE_TIMEOUT{&Defs::ERR_SERVER_COMM_TIMEOUT, CLIENT, 119};
inline constexpr Site CONNECT_SOCKET{&Defs::ERR_CONNECT_SERVER, CLIENT, 236};
inline constexpr Site CONNECT_INFRASTRUCTURE{&Defs::ERR_CONNECT_SERVER, CLIENT, 242};
inline constexpr Site CONNECT_OTHER{&Defs::ERR_CONNECT_SERVER, CLIENT, 248};

// The request cycle.
inline constexpr Site CYCLE_FAILED{&Defs::ERR_CLIENT_INTERNAL, REST_CLIENT, 198};
inline constexpr Site REQUEST_TOO_LARGE{&Defs::ERR_CLIENT_INTERNAL};
inline constexpr Site FOREIGN_CLIENT{&Defs::ERR_INVALID_STATE};

// Plain-text replies.
inline constexpr Site HTTP_BAD_REQUEST{&Defs::ERR_SERVER_PROTOCOL, RESPONSE, 337};
inline constexpr Site HTTP_UNAUTHORIZED{&Defs::ERR_SERVER_INVALID_AUTH, RESPONSE, 341};
inline constexpr Site HTTP_UNKNOWN{&Defs::ERR_SERVER_PROTOCOL, RESPONSE, 344};

// Any reply.
inline constexpr Site REPLY_UNREADABLE{&Defs::ERR_CLIENT_RESP_PARSING};

// Binary replies.
inline constexpr Site HEADER_EMPTY{&Defs::ERR_SERVER_PROTOCOL, PERF_RESPONSE, 188,
                                   "Zero(0) sized Response Header for Request from remote"};
/// Never raised: an unknown status is dealt with when the body is parsed.
inline constexpr Site HEADER_STATUS{&Defs::ERR_SERVER_PROTOCOL, PERF_RESPONSE, 197,
                                    "Invalid response header for request "};
inline constexpr Site STATUS_5_UNEXPECTED{&Defs::ERR_SERVER_PROTOCOL, PERF_RESPONSE, 259,
                                          "Unpexpected StatCode 5 in response header"};
inline constexpr Site STATUS_UNAUTHORIZED{&Defs::ERR_SERVER_INVALID_AUTH, PERF_RESPONSE, 285};
inline constexpr Site STATUS_UNKNOWN{&Defs::ERR_SERVER_PROTOCOL, PERF_RESPONSE, 291};
inline constexpr Site CONTENT_EMPTY{&Defs::ERR_SERVER_PROTOCOL, PERF_RESPONSE, 436,
                                    "Zero(0) sized protocol body in parseContent"};
inline constexpr Site CONTENT_ENVELOPE{
    &Defs::ERR_SERVER_PROTOCOL, PERF_RESPONSE, 452,
    "Invalid message envelope, status code not available in parseContent"};
inline constexpr Site SEARCH_EMPTY{&Defs::ERR_SERVER_PROTOCOL, PERF_RESPONSE, 503,
                                   "Zero(0) sized protocol body inparseStreamSearchresp"};
inline constexpr Site PARSE_RESULT_EMPTY{&Defs::ERR_SERVER_PROTOCOL, PERF_RESPONSE, 572,
                                         "Zero(0) sized protocol body in parseParseResult "};
inline constexpr Site SELECTIVITY_EMPTY{&Defs::ERR_SERVER_PROTOCOL, PERF_RESPONSE, 648,
                                        "Zero(0) sized protocol body in parseSelectivity "};

}  // namespace sites

/// The other end of a connection, for the arguments of a communication failure.
struct Peer {
  const icu::UnicodeString& host;
  unsigned int port;
};

/// Raises a RESTException of `site`: its fixed text, or host and port, become the arguments; the
/// first message of `cause` follows as a message of its own.
[[noreturn]] void raiseAt(const Site& site);
[[noreturn]] void raiseAt(const Site& site, const Peer& peer);
[[noreturn]] void raiseAt(const Site& site, const Peer& peer, const oss::BaseException& cause);
[[noreturn]] void raiseAt(const Site& site, const oss::BaseException& cause);
/// With the host alone as argument.
[[noreturn]] void raiseAtHost(const Site& site, const Peer& peer, const oss::BaseException& cause);

/// A failure that the server reported, without its record yet: decode() the record into it.
RESTException serverFailure();
/// Raises `failure` as it stands.
[[noreturn]] void raise(const RESTException& failure);

/// The narrow door to what only the raising code may set.
struct ErrorAccess {
  static RESTException serverReported();
};

}  // namespace orvix::comm::detail
