#pragma once

#include <optional>

#include "veltro/activation.h"
#include "veltro/target_location_request.h"

namespace Veltro::Internal {

/// A new object with one reference, the caller's, and a map of parameters of its own. It may be
/// used from any thread.
Abi::ITargetLocationRequest* MakeTargetLocationRequest(const TargetLocationRequest& request);

/// What `request`, an object of the host's, asks for, with the parameters as `ReadStrings` reads
/// them; what it fails to give is empty. Nothing when it is null. Calls the host's objects on this
/// thread only, and holds none of them when it returns.
std::optional<TargetLocationRequest> ReadTargetLocationRequest(
    Abi::ITargetLocationRequest* request);

}  // namespace Veltro::Internal
