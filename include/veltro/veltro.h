#pragma once

/// Everything that an application needs.

#include "veltro/analytics.h"
#include "veltro/config.h"
#include "veltro/host.h"
