#include "collector/progress.h"

namespace Veltro::Collector {
namespace {

std::string Grouped(std::int64_t number) {
  std::string text = std::to_string(number);
  for (std::size_t end = text.size(); end > 3; end -= 3) text.insert(end - 3, ",");
  return text;
}

}  // namespace

std::string Progress::Line(std::int64_t hits, Time now) {
  using std::chrono::milliseconds;
  if (!since_) since_ = now;
  const auto passed = std::chrono::duration_cast<milliseconds>(now - *since_).count();
  if (passed >= 1000) {
    speed_ = (hits - hitsBefore_) * 1000 / passed;
    since_ = now;
    hitsBefore_ = hits;
  }
  return Grouped(hits) + (hits == 1 ? " hit, " : " hits, ") + Grouped(speed_) + " a second";
}

}  // namespace Veltro::Collector
