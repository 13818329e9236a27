#pragma once

#include "veltro/activation.h"
#include "veltro/media_settings.h"

namespace Veltro::Internal {

/// What `settings`, an object of the host's, say; a property that it fails to give has its default,
/// and all have when it is null. Calls the host's object on this thread only.
MediaSettings ReadMediaSettings(Abi::IMediaSettings* settings);

}  // namespace Veltro::Internal
