// SPDX-License-Identifier: Apache-2.0
// The numbers of the request kinds, as client, library and server share them.
#pragma once

#include <cstdint>

namespace orvix::comm::kinds {

/// What a request asks for. Values are part of the interface; 6 and 7 are gaps.
enum REQUEST : std::uint32_t {
  CREATE_COLLECTION = 1,
  DROP_COLLECTION = 2,
  ADD_DOCUMENT = 3,
  UPDATE_INDEX = 4,
  DELETE_DOCUMENT = 5,
  STREAM_SEARCH = 8,
  ASYNC_ADD_DOCUMENT = 9,
  LAST_DOC_SENT = 10,
  PARSE_RESULT = 11,
  OPEN_COLLECTION = 12,
  CLOSE_COLLECTION = 13,
  SELECTIVITY = 14,
  GET_STATUS = 15,
  BACKUP = 16,
  RESTORE = 17,
  TAKEOVER = 18,
  SHUTDOWN = 19,
  SCALAR_SEARCH = 20,
  OPEN_COLLECTION_ALT = 21,
  GET_SERVER_VERSION = 22,
  SET_CONSTRUCTOR_CONFIGURATION = 23,
  VERSIONS_VALIDATION = 24,
  COLLECTION_STATUS = 25
};

}  // namespace orvix::comm::kinds
