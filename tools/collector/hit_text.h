#pragma once

#include <string>

#include "collector/hit.h"

namespace Veltro::Collector {

/// The name of a kind as people and JSON readers see it, as in "internal action".
std::string KindName(HitKind kind);

/// The hit for a person to read: a line that sums it up, then its findings, its variables (without
/// the markers that start and end every query) and its context data as a tree, one a line,
/// indented. Ends with a line feed.
///
/// Safe on a terminal: control characters and bytes that are not UTF-8 come out as escapes (`\n`,
/// `\x1b`), the backslash doubled.
std::string HitToText(const Hit& hit);

}  // namespace Veltro::Collector
