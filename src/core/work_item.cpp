#include "core/work_item.h"

#include <exception>
#include <system_error>
#include <utility>

#include "core/log.h"

namespace Veltro::Internal {

void RunWorkItem(const WorkItem& item) noexcept {
  try {
    item();
  } catch (const std::exception& error) {
    LogError("Analytics - Unable to finish queued work (%s)", error.what());
  } catch (...) {
    LogError("Analytics - Unable to finish queued work (%s)", "unknown exception");
  }
}

std::optional<std::thread> StartThread(WorkItem body) {
  try {
    return std::thread(std::move(body));
  } catch (const std::system_error&) {
    return std::nullopt;
  }
}

void LogThreadRefused() {
  LogError("Analytics - Unable to start a thread, work has to wait for another try");
}

}  // namespace Veltro::Internal
