#pragma once

/// Everything that an application needs.

#include "veltro/analytics.h"
#include "veltro/audience_manager.h"
#include "veltro/config.h"
#include "veltro/host.h"
#include "veltro/media.h"
#include "veltro/target.h"
