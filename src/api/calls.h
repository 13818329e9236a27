#pragma once

#include <cstdint>
#include <string>

#include "base/string_map.h"
#include "veltro/privacy_status.h"

namespace Veltro::Internal {

/// The library's operations behind the entry points of every surface, which convert their arguments
/// and decide what becomes of an exception (out of memory is all that can go wrong here). They post
/// the work to the shared queue of the current runtime and return.

void PostState(std::u16string state, StringMap data);
void PostAction(std::u16string action, StringMap data);
void PostClearTrackingQueue();
void PostPrivacyStatus(VeltroPrivacyStatus status);
void PostDebugLogging(bool enabled);
void PostUserIdentifier(std::u16string identifier);

/// These wait for an answer, for a short while.
std::int32_t TrackingQueueSize();
std::u16string UserIdentifier();

}  // namespace Veltro::Internal
