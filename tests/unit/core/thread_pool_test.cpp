#include "core/thread_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <latch>
#include <memory>
#include <stdexcept>

#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

TEST(ThreadPool, RunsItemsSideBySideUpToItsLimit) {
  constexpr int kLimit = 4;
  std::atomic<int> running = 0;
  std::atomic<int> most = 0;
  std::atomic<int> done = 0;
  std::latch allBusy(kLimit);
  {
    ThreadPool pool(kLimit);
    for (int i = 0; i < 3 * kLimit; ++i) {
      pool.Post([&, i] {
        most = std::max<int>(most, ++running);
        if (i < kLimit) allBusy.arrive_and_wait();  // never ends with fewer threads
        --running;
        ++done;
      });
    }
  }
  EXPECT_EQ(done, 3 * kLimit);
  EXPECT_EQ(most, kLimit);
}

TEST(ThreadPool, GoesOnAfterAnItemThatThrowsAndTakesItemsFromItems) {
  Testing::LogCapture log;
  std::atomic<bool> last = false;
  {
    ThreadPool pool(1);
    pool.Post([] { throw std::runtime_error("broken item"); });
    pool.Post([&] { pool.Post([&] { last = true; }); });
  }
  EXPECT_TRUE(last);
  EXPECT_TRUE(log.Contains("Analytics - Unable to finish queued work (broken item)"));
}

}  // namespace
}  // namespace Veltro::Internal
