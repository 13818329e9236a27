#pragma once

#include "api/context_data_conversion.h"
#include "veltro/activation.h"

namespace Veltro::Internal {

/// A copy of the context data in `map`, an object of the host's that may be null. Values of other
/// kinds are left out without a message, accepted ones that the host's object fails to give with
/// one. What was read before the map itself fails is kept. Calls the host's objects on this thread
/// only, and holds none of them when it returns.
ContextDataCopy ReadContextData(Abi::ContextMap* map);

}  // namespace Veltro::Internal
