#include "writers/worker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <numeric>
#include <vector>

namespace tarn {
namespace {

// Jobs run one at a time in the order posted, however many wait, and Drain waits for the last.
TEST(OrderedWorker, RunsJobsInOrderAndDrains) {
  for (const size_t pending : {size_t{1}, size_t{3}, size_t{64}}) {
    std::vector<int> seen;
    std::atomic<int> running{0};
    std::atomic<bool> overlapped{false};
    OrderedWorker worker(pending);
    for (int i = 0; i < 500; ++i) {
      worker.Post([&, i] {
        if (running.fetch_add(1) != 0) overlapped = true;
        seen.push_back(i);
        running.fetch_sub(1);
      });
    }
    worker.Drain();
    std::vector<int> expected(500);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(seen, expected) << "pending " << pending;
    EXPECT_FALSE(overlapped) << "pending " << pending;
  }
}

// A worker that goes out of scope first runs what was posted.
TEST(OrderedWorker, DestructionRunsWhatWasPosted) {
  std::atomic<int> ran{0};
  {
    OrderedWorker worker(2);
    for (int i = 0; i < 50; ++i) worker.Post([&] { ran.fetch_add(1); });
  }
  EXPECT_EQ(ran.load(), 50);
}

}  // namespace
}  // namespace tarn
