#pragma once

#include <functional>
#include <optional>
#include <thread>

namespace Veltro::Internal {

/// A piece of work for a thread of the library's.
using WorkItem = std::function<void()>;

/// Runs `item`. What it throws is logged and forgotten.
void RunWorkItem(const WorkItem& item) noexcept;

/// A new thread that runs `body`; nothing when the system refuses one.
std::optional<std::thread> StartThread(WorkItem body);

/// Says that the system refused a thread. To be called without a lock, as the host gets the line.
void LogThreadRefused();

}  // namespace Veltro::Internal
