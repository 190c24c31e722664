// SPDX-License-Identifier: Apache-2.0
// Arrays of strings through the reader of hiredis.
#include <algorithm>
#include <stdexcept>
#include <string>

#include "bench/qorDecodes.h"
#include "bench/qorRedis.h"
#include "bench/qorWorkload.h"

namespace orvix::bench {

namespace {

constexpr std::size_t FEED = 16384;  // what hiredis reads from a socket at once

class RedisDecode : public Operation {
 public:
  explicit RedisDecode(std::size_t elements) : elements_(elements), reader_(redisReaderCreate()) {
    reply_ = '*' + std::to_string(elements) + "\r\n";
    for (std::size_t i = 0; i < elements; ++i) reply_ += "$16\r\n" + keyOf(i) + "\r\n";
  }

  void prepare() override { startCold(elements_); }

  void run(std::size_t count) override {
    for (; count >= elements_; count -= elements_) {
      const RedisReply reply = read();
      requireCount("elements of a reply", reply->elements, elements_);
      for (std::size_t i = 0; i < reply->elements; ++i) {
        sink_.take({reply->element[i]->str, reply->element[i]->len});
      }
    }
    requireCount("elements that are left over", count, 0);
  }

 private:
  struct Free {
    void operator()(redisReader* reader) const { redisReaderFree(reader); }
  };

  RedisReply read() {
    void* whole = nullptr;
    for (std::size_t at = 0; at < reply_.size(); at += FEED) {
      redisReaderFeed(reader_.get(), reply_.data() + at, std::min(FEED, reply_.size() - at));
      if (redisReaderGetReply(reader_.get(), &whole) != REDIS_OK) break;
    }
    if (whole == nullptr) throw std::runtime_error("the reader has found no reply");
    return RedisReply(static_cast<redisReply*>(whole));
  }

  std::size_t elements_;
  std::string reply_;
  std::unique_ptr<redisReader, Free> reader_;
  Sink sink_;
};

}  // namespace

std::unique_ptr<Operation> redisDecode(std::size_t elements) {
  return std::make_unique<RedisDecode>(elements);
}

}  // namespace orvix::bench
