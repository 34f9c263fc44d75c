#include "writers/worker.h"

#include <gtest/gtest.h>
#include <sched.h>

#include <atomic>
#include <numeric>
#include <thread>
#include <utility>
#include <vector>

#include "test_support.h"

namespace tarn {
namespace {

// Jobs run one at a time in the order posted, however many may wait; both Drain and the end of
// the worker wait for the last.
TEST(OrderedWorker, RunsJobsInOrderUntilTheLast) {
  for (const size_t pending : {size_t{1}, size_t{3}, size_t{64}})
    for (const bool drain : {true, false}) {
      std::vector<int> seen;
      std::atomic<int> running{0};
      std::atomic<bool> overlapped{false};
      {
        OrderedWorker worker(pending);
        for (int i = 0; i < 500; ++i) {
          worker.Post([&, i] {
            if (running.fetch_add(1) != 0) overlapped = true;
            seen.push_back(i);
            running.fetch_sub(1);
          });
        }
        if (drain) {
          worker.Drain();
          EXPECT_EQ(seen.size(), 500u) << "pending " << pending;  // before the worker ends
        }
      }
      std::vector<int> expected(500);
      std::iota(expected.begin(), expected.end(), 0);
      EXPECT_EQ(seen, expected) << "pending " << pending << ", drain " << drain;
      EXPECT_FALSE(overlapped) << "pending " << pending << ", drain " << drain;
    }
}

// Made on one processor, a worker runs each job at once on the posting thread; made with more,
// on its own.
TEST(OrderedWorker, RunsInlineOnOneProcessor) {
  cpu_set_t usable;
  ASSERT_EQ(sched_getaffinity(0, sizeof usable, &usable), 0);
  for (const bool one : {false, true}) {
    test::ProcessorScope processors(one);
    OrderedWorker worker(4);
    std::thread::id ran_on;
    worker.Post([&] { ran_on = std::this_thread::get_id(); });
    worker.Drain();
    EXPECT_EQ(ran_on == std::this_thread::get_id(), one || CPU_COUNT(&usable) == 1) << one;
  }
}

// What the worker gives back is let go of on the thread that releases it, and not before.
TEST(HandBack, LetsGoOnTheReleasingThread) {
  struct Spent {
    std::vector<std::thread::id>* gone_on;
    Spent(std::vector<std::thread::id>* on) : gone_on(on) {}
    Spent(Spent&& other) noexcept : gone_on(std::exchange(other.gone_on, nullptr)) {}
    ~Spent() {
      if (gone_on) gone_on->push_back(std::this_thread::get_id());
    }
  };
  std::vector<std::thread::id> gone_on;
  HandBack<Spent> spent;
  {
    OrderedWorker worker(4);
    for (int i = 0; i < 3; ++i) worker.Post([&] { spent.Give(Spent(&gone_on)); });
    worker.Drain();
  }
  EXPECT_TRUE(gone_on.empty());
  spent.Release();
  EXPECT_EQ(gone_on, std::vector<std::thread::id>(3, std::this_thread::get_id()));
}

}  // namespace
}  // namespace tarn
