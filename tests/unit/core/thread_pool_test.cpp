#include "core/thread_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <latch>
#include <mutex>
#include <stdexcept>

#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

TEST(ThreadPool, RunsItemsSideBySideUpToItsLimit) {
  constexpr int kLimit = 4;
  std::mutex mutex;
  int running = 0;
  int most = 0;
  int done = 0;
  std::latch allBusy(kLimit);
  {
    ThreadPool pool(kLimit);
    for (int i = 0; i < 3 * kLimit; ++i) {
      pool.Post([&, i] {
        {
          const std::lock_guard lock(mutex);
          most = std::max(most, ++running);
        }
        if (i < kLimit) allBusy.arrive_and_wait();  // never ends with fewer threads
        const std::lock_guard lock(mutex);
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
