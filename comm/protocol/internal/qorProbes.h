// SPDX-License-Identifier: Apache-2.0
// Probe identifiers of the traced operations. Nothing in the library's behaviour depends on them.
#pragma once

#include <cstdint>

namespace orvix::comm::detail::probes {

enum Probe : std::uint32_t {
  CLIENT_CONSTRUCT = 1,
  CLIENT_DESTROY,
  OPEN_CONNECTION,
  CLOSE_CONNECTION,
  READ_SOCKET,
  READ_SOCKET_ONCE,
  SEND_AND_RECV,
  SEND_AND_RECV_ONCE,
  SEND_MESSAGE,
  RECV,
  RECV_MESSAGE,
  RECV_STREAM,
  READ_PAYLOAD,
  PLAIN_HEADER,
  PLAIN_CONTENT,
  PLAIN_SEARCH,
  PLAIN_OUTCOMES,
  PARSE_HEADER,
  PARSE_CONTENT,
  PARSE_SEARCH,
  PARSE_OUTCOMES,
  PARSE_SELECTIVITY,
  RECORD_CONSTRUCT,
  RECORD_DESTROY,
  REST_CLIENT_CONSTRUCT,
  REST_CLIENT_DESTROY,
  TAMBER_CLIENT_CONSTRUCT,
  TAMBER_CLIENT_DESTROY,
  SET_TIME_OUT,
  USE_PERSISTENT,
  USE_BUFFERED,
  SET_RETRIES,
  PLAIN_SELECTIVITY,
  PLAIN_STATUS
};

}  // namespace orvix::comm::detail::probes
