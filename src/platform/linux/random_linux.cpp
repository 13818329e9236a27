#include "platform/linux/random_linux.h"

#include <string.h>
#include <sys/random.h>

#include "platform/linux/posix_file.h"

namespace Veltro::Internal {

RandomLinux::RandomLinux() { initstate_r(1, state_.data(), state_.size(), &sequence_); }

Guid RandomLinux::NewGuid() {
  std::array<std::uint8_t, 16> bytes{};
  const ssize_t count = Uninterrupted([&] { return getrandom(bytes.data(), bytes.size(), 0); });
  if (count != static_cast<ssize_t>(bytes.size())) ThrowSystemError("getrandom", "identifier");
  Guid guid;
  memcpy(&guid.data1, &bytes[0], sizeof guid.data1);
  memcpy(&guid.data2, &bytes[4], sizeof guid.data2);
  memcpy(&guid.data3, &bytes[6], sizeof guid.data3);
  memcpy(guid.data4.data(), &bytes[8], guid.data4.size());
  guid.data3 = static_cast<std::uint16_t>((guid.data3 & 0x0FFFU) | 0x4000U);
  guid.data4[0] = static_cast<std::uint8_t>((guid.data4[0] & 0x3FU) | 0x80U);
  return guid;
}

void RandomLinux::Seed(std::uint32_t seed) {
  std::lock_guard lock(mutex_);
  srandom_r(seed, &sequence_);
}

std::int32_t RandomLinux::Next() {
  std::lock_guard lock(mutex_);
  std::int32_t number = 0;
  random_r(&sequence_, &number);
  return number;
}

}  // namespace Veltro::Internal
