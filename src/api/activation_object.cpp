#include "api/activation_object.h"

#include "api/activation_operation.h"

namespace Veltro::Internal {
namespace {

constinit std::atomic<std::int32_t> liveObjects{0};
constinit std::atomic<std::uint32_t> lastOperationId{0};

}  // namespace

bool LiveObjects::Any() noexcept { return liveObjects != 0; }

void LiveObjects::Add(std::int32_t change) noexcept { liveObjects += change; }

std::uint32_t NextOperationId() noexcept {
  const std::uint32_t id = ++lastOperationId;
  return id != 0 ? id : ++lastOperationId;
}

}  // namespace Veltro::Internal
