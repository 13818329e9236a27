#pragma once

#include <optional>

#include "platform/device_facts.h"
#include "platform/platform.h"
#include "veltro/host.h"

namespace Veltro::Internal {

/// Keeps `options` for the platform to come; false when it has been made.
bool SetHostOptions(Host::Options options);

/// Keeps the size of the application's window.
void SetHostWindow(WindowSize size);

/// The platform of the product, made from what the host has told. Options are final from now on.
Platform MakeHostPlatform();

}  // namespace Veltro::Internal
