#include "core/work_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "core/log.h"
#include "fakes/recording_debug_output.h"

namespace Veltro::Internal {
namespace {

constexpr std::chrono::seconds kLong{10};

TEST(WorkQueue, RunsItemsInOrderFromManyThreadsAndFinishesThemAtTheEnd) {
  constexpr int kThreads = 4;
  constexpr int kItems = 500;
  std::vector<int> last(kThreads, -1);  // touched by the queue's thread only
  bool inOrder = true;
  {
    WorkQueue queue;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < kItems; ++i) {
          queue.Post([&, t, i] {
            auto& before = last[static_cast<std::size_t>(t)];
            inOrder = inOrder && before == i - 1;
            before = i;
          });
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
  }
  EXPECT_TRUE(inOrder);
  EXPECT_EQ(last, std::vector<int>(kThreads, kItems - 1));
}

TEST(WorkQueue, GoesOnAfterAnItemThatThrows) {
  Testing::RecordingDebugOutput output;
  SetDebugOutput(&output);
  {
    WorkQueue queue;
    queue.Post([] { throw std::runtime_error("broken item"); });
    std::promise<void> next;
    queue.Post([&] { next.set_value(); });
    EXPECT_EQ(next.get_future().wait_for(kLong), std::future_status::ready);
  }
  SetDebugOutput(nullptr);
  EXPECT_TRUE(output.Contains("broken item"));
}

TEST(WorkQueue, WaitUntilDoneSeesEarlierItemsAndNeverBlocksOnItself) {
  WorkQueue queue;
  EXPECT_TRUE(queue.WaitUntilDone(std::chrono::milliseconds(0))) << "there is nothing to wait for";
  std::atomic<bool> ran = false;
  queue.Post([&] { ran = true; });
  EXPECT_TRUE(queue.WaitUntilDone(kLong));
  EXPECT_TRUE(ran);

  std::promise<bool> fromInside;
  queue.Post([&] { fromInside.set_value(queue.WaitUntilDone(kLong)); });
  EXPECT_FALSE(fromInside.get_future().get());

  std::promise<void> release;
  queue.Post([&] { release.get_future().wait(); });
  EXPECT_FALSE(queue.WaitUntilDone(std::chrono::milliseconds(1)));
  release.set_value();
}

TEST(WorkQueue, RestsAfterItemsForWhichNobodyWaits) {
  std::vector<char> ran;  // by the queue's thread
  {
    std::promise<void> first;
    std::promise<void> second;
    std::future<void> hasRested = second.get_future();
    std::promise<void> third;
    WorkQueue queue(nullptr, std::chrono::hours(1));
    queue.PostSoon([&] { first.set_value(); });  // it has not rested yet
    ASSERT_EQ(first.get_future().wait_for(kLong), std::future_status::ready);
    while (!queue.IsDone()) std::this_thread::yield();
    queue.PostSoon([&] {
      ran.push_back('2');
      second.set_value();
    });
    EXPECT_EQ(hasRested.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    queue.Post([&] {
      ran.push_back('3');
      third.set_value();
    });
    ASSERT_EQ(third.get_future().wait_for(kLong), std::future_status::ready) << "somebody waits";
    EXPECT_TRUE(queue.WaitUntilDone(kLong));
    queue.PostSoon([&] { ran.push_back('4'); });
  }  // its end ends the rest
  EXPECT_EQ(ran, (std::vector<char>{'2', '3', '4'}));
}

TEST(WorkQueue, AsksItsIdleTaskAgainOnlyAsOftenAsItWants) {
  std::atomic<int> asked = 0;
  std::promise<void> satisfied;
  WorkQueue queue([&] {
    if (++asked < 3) return std::chrono::milliseconds(1);
    if (asked == 3) satisfied.set_value();
    return std::chrono::milliseconds(0);
  });
  queue.Post([] {});
  ASSERT_EQ(satisfied.get_future().wait_for(kLong), std::future_status::ready);
  EXPECT_EQ(asked, 3);
}

}  // namespace
}  // namespace Veltro::Internal
