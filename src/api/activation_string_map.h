#pragma once

#include <map>
#include <string>

#include "veltro/activation.h"

namespace Veltro::Internal {

/// The entries of a map from text to text, in UTF-8.
using Strings = std::map<std::string, std::string>;

/// The entries of `map`, an object of the host's that may be null, in which lone surrogates have
/// become U+FFFD. Pairs that fail to give their key or value are left out; what was read before the
/// map itself fails is kept. Calls the host's objects on this thread only, and holds none of them
/// when it returns.
Strings ReadStrings(Abi::StringMapInterface* map);

/// New objects, each with one reference, the caller's. They may be used from any thread.
Abi::StringMapInterface* MakeStringMap(Strings strings);
Abi::StringMapView* MakeStringMapView(Strings strings);

}  // namespace Veltro::Internal
