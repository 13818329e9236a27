#include "stalled_disk.h"

#include <dlfcn.h>
#include <sys/types.h>

#include <atomic>
#include <thread>

namespace Veltro::Bench {
namespace {

using TimePoint = std::chrono::steady_clock::time_point;

std::atomic<TimePoint> stalledUntil{TimePoint::min()};
std::atomic<long> operations{0};

void WaitForDisk() {
  ++operations;
  while (std::chrono::steady_clock::now() < stalledUntil.load()) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

/// The C library's own function of that name.
template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

StalledDisk::StalledDisk(std::chrono::milliseconds duration) {
  stalledUntil = std::chrono::steady_clock::now() + duration;
}

StalledDisk::~StalledDisk() { stalledUntil = TimePoint::min(); }

long CountDiskOperations() { return operations; }

}  // namespace Veltro::Bench

extern "C" {

ssize_t pwrite(int file, const void* bytes, size_t count, off_t offset) {
  static const auto next = Veltro::Bench::Next<ssize_t(int, const void*, size_t, off_t)>("pwrite");
  Veltro::Bench::WaitForDisk();
  return next(file, bytes, count, offset);
}

ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t offset) {
  return pwrite(file, bytes, count, offset);
}

int fdatasync(int file) {
  static const auto next = Veltro::Bench::Next<int(int)>("fdatasync");
  Veltro::Bench::WaitForDisk();
  return next(file);
}

}  // extern "C"
