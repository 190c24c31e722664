// SPDX-License-Identifier: Apache-2.0
// The caller's cursors: order, counts, what a drained list does, and who owns the raw keys.
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "comm/results/internal/qorHitAccess.h"
#include "comm/results/qorParseResponse.h"
#include "comm/results/qorSearchResponse.h"
#include "tests/comm/response/qorReplyDriver.h"

namespace orvix::test {
namespace {

void add(comm::SearchResponse& list, const std::string& name) { list.append(hit(name)); }
void add(comm::ParseResponse& list, const std::string& name) { list.append(outcome(name)); }

template <class List>
std::string drain(List& list) {
  std::string names;
  while (list.hasMore()) names += nameOf(list.getNext());
  EXPECT_EQ(list.count(), 0);
  return names;
}

template <class List>
class ResultLists : public testing::Test {};
using Lists = testing::Types<comm::SearchResponse, comm::ParseResponse>;
TYPED_TEST_SUITE(ResultLists, Lists);

TYPED_TEST(ResultLists, HandOutInOrderAndStartOverWhenARecordArrivesDrained) {
  TypeParam list;
  const auto& none = list.getNext();  // a record without a raw key is copied without one
  TypeParam copy;
  copy.append(none);
  EXPECT_EQ(nameOf(TypeParam(copy).getNext()), "");
  EXPECT_EQ(drain(list), "");
  for (const char* name : {"a", "b", "c"}) add(list, name);
  EXPECT_EQ(nameOf(list.getNext()), "a");
  EXPECT_EQ(list.count(), 2);
  add(list, "d");
  EXPECT_EQ(drain(list), "bcd");
  EXPECT_EQ(&list.getNext(), &none);  // an empty one
  EXPECT_EQ(drain(list), "");
  add(list, "e");
  EXPECT_EQ(list.count(), 1);
  EXPECT_EQ(nameOf(list.getNext()), "a");
  EXPECT_FALSE(list.hasMore());
  list.reset();
  EXPECT_EQ(&list.getNext(), &none);
  add(list, "x");
  add(list, "y");
  EXPECT_EQ(drain(list), "xy");
}

TYPED_TEST(ResultLists, KeepHandedOutRecordsWhereTheyAreWhileOthersArrive) {
  TypeParam list;
  add(list, "first");
  const auto& first = list.getNext();
  for (int i = 0; i < 2000; ++i) add(list, "more");
  EXPECT_EQ(nameOf(first), "first");
  EXPECT_EQ(first.getProperties(), nullptr);
}

TYPED_TEST(ResultLists, CopyDeeplyWithTheirCursor) {
  auto original = std::make_unique<TypeParam>();
  for (const char* name : {"a", "b", "c"}) add(*original, name);
  original->getNext();
  TypeParam copy(*original);
  TypeParam assigned;
  add(assigned, "old");
  assigned = *original;
  TypeParam& itself = assigned;
  assigned = itself;
  original->getNext();
  original.reset();
  EXPECT_EQ(drain(copy), "bc");
  EXPECT_EQ(drain(assigned), "bc");
  assigned = copy;
  add(assigned, "z");
  EXPECT_EQ(drain(assigned), "a");
}

/// Appends a hit for each byte, and returns a copy of the list.
comm::SearchResponse piece(const std::string& bytes, bool restart, comm::SearchResponse& list) {
  const std::string_view kept = list.keep(bytes, restart);
  for (std::size_t at = 0; at < kept.size(); ++at)
    comm::detail::HitAccess::append(list, kept.substr(at, 1), 1);
  return list;
}

TEST(SearchResponse, HitsOfAPieceKeepTheirKeysUntilTheListIsEmptied) {
  comm::SearchResponse list;
  std::string bytes = "abc";
  piece(bytes, false, list);
  bytes = "xyz";  // what was received is no longer needed
  const comm::SearchResult* const first = &list.getNext();
  EXPECT_EQ(text(first->getKey()), "base64:YQ==");
  const comm::SearchResult copied = list.getNext();
  const comm::SearchResponse whole = piece(std::string(70000, 'd'), false, list);  // many blocks
  EXPECT_EQ(nameOf(*first), "a");
  EXPECT_EQ(drain(list).size(), 70001U);
  piece(bytes, true, list);
  EXPECT_EQ(drain(list), "xyz");
  EXPECT_EQ(text(copied.getKey()), "base64:Yg==");  // its text outlives the bytes
  comm::SearchResponse other(whole);
  EXPECT_EQ(nameOf(other.getNext()), "c");
  EXPECT_EQ(other.count(), 70000);
}

TEST(SearchResponse, ReleasingABorrowedKeyFreesNothingAndKeepsItsText) {
  comm::SearchResponse list;
  piece("k", false, list);
  auto& borrowed = const_cast<comm::SearchResult&>(list.getNext());
  borrowed.releaseRawKey();
  EXPECT_EQ(borrowed.getRawKey(), nullptr);
  EXPECT_EQ(text(borrowed.getKey()), "base64:aw==");
}

TEST(RawKeys, HaveOneOwnerWhoeverNamesThem) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>("key");
  comm::SearchResult record;
  record.setRawKey(bytes, 3);
  record.setRawKey(bytes, 3);  // frees the first copy
  comm::SearchResult copy(record);
  copy.releaseRawKey();
  EXPECT_EQ(record.getRawKey()[2], 'y');
  {
    comm::SearchResponse list;
    list.append(record);  // takes the bytes over; the record goes on naming them
    list.append(record);
    comm::SearchResponse other;
    other.append(record);
    record.releaseRawKey();
    EXPECT_EQ(nameOf(list.getNext()) + nameOf(other.getNext()), "keykey");
  }
  EXPECT_EQ(record.getRawKey(), nullptr);
}

}  // namespace
}  // namespace orvix::test
