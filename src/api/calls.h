#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "analytics/location.h"
#include "api/context_data_conversion.h"
#include "base/string_map.h"
#include "media/playback.h"
#include "veltro/async_operation.h"
#include "veltro/audience_manager.h"
#include "veltro/media_settings.h"
#include "veltro/privacy_status.h"
#include "veltro/target_location_request.h"

namespace Veltro::Internal {

/// The library's operations behind the entry points of every surface, which convert their arguments
/// and decide what becomes of an exception (out of memory is all that can go wrong here). They post
/// the work to the shared queue of the current runtime and return.

void PostState(std::u16string state, ContextDataCopy data);
void PostAction(std::u16string action, ContextDataCopy data);
void PostTimedActionStart(std::u16string action, ContextDataCopy data);
void PostTimedActionUpdate(std::u16string action, ContextDataCopy data);
void PostTimedActionEnd(std::u16string action);
void PostLifetimeValueIncrease(double amount, ContextDataCopy data);
void PostLocation(Position position, double accuracy, ContextDataCopy data);
void PostClearTrackingQueue();
void PostPrivacyStatus(VeltroPrivacyStatus status);
void PostDebugLogging(bool enabled);
void PostLifecycleStart();
void PostLifecyclePause();
void PostUserIdentifier(std::u16string identifier);
void PostDpidAndDpuuid(std::u16string dpid, std::u16string dpuuid);
void PostClearStoredIds();

/// These post to the media queue instead.
void PostMediaReport(MediaEvent event, std::u16string name, double offset);
void PostMediaTrack(std::u16string name, ContextDataCopy data);

/// These take effect before they return, if no earlier report of media waits.
void OpenMedia(MediaSettings settings);
void CloseMedia(std::u16string name);

/// These wait for an answer, for a short while.
std::int32_t TrackingQueueSize();
std::u16string UserIdentifier();
double LifetimeValue();
StringMap StoredProfile();

/// These answer at once, from memory.
std::u16string Dpid();
std::u16string Dpuuid();
std::string PcId();
std::string SessionId();

/// The answer comes from a worker, later; it is false when the call may not track.
AsyncOperation<bool> AskWhetherTimedActionExists(std::u16string action);

/// The answer is the profile that the signal brought, empty when it brought none, and nothing when
/// Skaipra is not configured.
AsyncOperation<std::optional<AudienceManager::Profile>> Signal(ContextDataCopy traits);

/// The answer is the content of the location, or the default content; "" when Target is not
/// configured, and for a request that is null.
AsyncOperation<std::string> AskForContent(std::optional<TargetLocationRequest> request);

}  // namespace Veltro::Internal
