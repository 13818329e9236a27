#pragma once

/// Marks what the shared library exports.
#define VELTRO_EXPORT __attribute__((visibility("default")))
