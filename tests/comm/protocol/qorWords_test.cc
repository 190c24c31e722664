// SPDX-License-Identifier: Apache-2.0
// The words that callers put where a well-meant correction would break them.
#include "comm/protocol/qorStaticDefs.h"

#include <gtest/gtest.h>

#include "tests/support/qorBytes.h"

namespace orvix::test {
namespace {

using S = comm::StaticDefs;

TEST(Words, KeepTheirOddities) {
  EXPECT_EQ(text(S::PARAM_DISPLAY_NAME), "collectionName");
  EXPECT_EQ(text(S::PARAM_KNOWN_DOCUMENT_TYPE), "KnownContentType");
  EXPECT_EQ(text(S::PARAM_INDEXABLE_METADATA_PREFIX), "Indexable:");
  EXPECT_EQ(text(S::PARAM_SORTABLE_METADATA_PREFIX), "[sortable]");
  EXPECT_EQ(text(S::PARAM_STOP_INDEX_AFTER_TASK_ERROR), "supportWarningAndTaskError");
}

}  // namespace
}  // namespace orvix::test
