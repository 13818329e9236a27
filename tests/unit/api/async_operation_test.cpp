#include "veltro/async_operation.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

namespace Veltro {
namespace {

using namespace std::chrono_literals;

class AsyncOperationTest : public testing::Test {
 protected:
  std::shared_ptr<AsyncOperation<int>::State> state_ =
      std::make_shared<AsyncOperation<int>::State>();
  AsyncOperation<int> operation_{state_};
};

TEST_F(AsyncOperationTest, DeliversOneResultToEveryWaiterAndHandler) {
  std::vector<int> seen;
  operation_.Completed([&](int result) { seen.push_back(result); });
  EXPECT_FALSE(operation_.WaitFor(1ms));
  std::thread deliverer([this] {
    state_->Complete(7);
    state_->Complete(8);
  });
  EXPECT_EQ(operation_.Get(), 7);
  deliverer.join();
  EXPECT_TRUE(operation_.WaitFor(0ms));
  operation_.Completed([&](int result) { seen.push_back(result + 10); });
  EXPECT_EQ(seen, (std::vector{7, 17}));
}

/// A coroutine that runs at once and frees itself.
struct Detached {
  struct promise_type {
    Detached get_return_object() { return {}; }
    std::suspend_never initial_suspend() { return {}; }
    std::suspend_never final_suspend() noexcept { return {}; }
    void return_void() {}
    void unhandled_exception() { std::terminate(); }
  };
};

Detached Await(AsyncOperation<int> operation, int& sum) {
  sum += co_await operation;
  sum += co_await operation;  // has arrived: goes on at once
}

TEST_F(AsyncOperationTest, CanBeAwaited) {
  int sum = 0;
  Await(operation_, sum);
  EXPECT_EQ(sum, 0);
  state_->Complete(7);
  EXPECT_EQ(sum, 14);
}

}  // namespace
}  // namespace Veltro
