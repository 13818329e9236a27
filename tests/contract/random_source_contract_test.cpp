#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <vector>

#include "fakes/fake_random.h"
#include "platform/linux/random_linux.h"

namespace Veltro::Internal::Testing {
namespace {

std::vector<std::int32_t> Take(RandomSource& source, int count) {
  std::vector<std::int32_t> numbers;
  for (int i = 0; i < count; ++i) numbers.push_back(source.Next());
  return numbers;
}

struct FakeSubject {
  FakeRandom source;
};

struct LinuxSubject {
  RandomLinux source;
};

template <class Subject>
class RandomSourceContract : public testing::Test {
 protected:
  Subject subject;
  RandomSource& source = subject.source;
};

using Subjects = testing::Types<FakeSubject, LinuxSubject>;
TYPED_TEST_SUITE(RandomSourceContract, Subjects);

TYPED_TEST(RandomSourceContract, SequenceStartsAsAfterSeedOneAndRepeatsForASeed) {
  const auto initial = Take(this->source, 50);
  this->source.Seed(1);
  EXPECT_EQ(Take(this->source, 50), initial);
  this->source.Seed(2);
  EXPECT_NE(Take(this->source, 50), initial);
  for (const std::int32_t number : initial) EXPECT_GE(number, 0);
}

TEST(RandomLinuxTest, SequenceIsTheCLibrarysAndLeavesThatAlone) {
  RandomLinux source;
  for (const unsigned seed : {0U, 1U, 42U, 1'600'000'000U, 0x80000000U, 0xFFFFFFFFU}) {
    std::srand(seed);
    source.Seed(seed);
    for (int i = 0; i < 400; ++i) ASSERT_EQ(source.Next(), std::rand()) << seed << " at " << i;
  }
}

TEST(RandomLinuxTest, IdentifiersAreRandomOnesOfVersion4) {
  RandomLinux source;
  std::set<std::pair<std::uint32_t, std::uint16_t>> seen;
  for (int i = 0; i < 100; ++i) {
    const Guid guid = source.NewGuid();
    EXPECT_EQ(guid.data3 >> 12U, 4);
    EXPECT_EQ(guid.data4[0] >> 6U, 2);
    seen.emplace(guid.data1, guid.data2);
  }
  EXPECT_EQ(seen.size(), 100U);
}

}  // namespace
}  // namespace Veltro::Internal::Testing
