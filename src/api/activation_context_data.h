#pragma once

#include "base/string_map.h"
#include "veltro/activation.h"

namespace Veltro::Internal {

/// The context data in `map`, an object of the host's that may be null, in the form of
/// `ConvertContextData`. Values of other kinds are left out without a message, accepted ones that
/// the host's object fails to give with one. What was read before the map itself fails is kept.
/// Calls the host's objects on this thread only, and holds none of them when it returns.
StringMap ReadContextData(Abi::ContextMap* map);

}  // namespace Veltro::Internal
