#include "veltro/analytics.h"

#include "api/calls.h"
#include "api/context_data_conversion.h"
#include "api/entry.h"
#include "base/utf.h"

namespace Veltro {

using namespace Internal;

void Analytics::TrackState(std::string_view state, const ContextData& data) {
  Enter([&] { PostState(ToUtf16(state), ContextDataCopy(data)); });
}

void Analytics::TrackAction(std::string_view action, const ContextData& data) {
  Enter([&] { PostAction(ToUtf16(action), ContextDataCopy(data)); });
}

void Analytics::TrackTimedActionStart(std::string_view action, const ContextData& data) {
  Enter([&] { PostTimedActionStart(ToUtf16(action), ContextDataCopy(data)); });
}

void Analytics::TrackTimedActionUpdate(std::string_view action, const ContextData& data) {
  Enter([&] { PostTimedActionUpdate(ToUtf16(action), ContextDataCopy(data)); });
}

void Analytics::TrackTimedActionEnd(std::string_view action) {
  Enter([&] { PostTimedActionEnd(ToUtf16(action)); });
}

AsyncOperation<bool> Analytics::TrackingTimedActionExists(std::string_view action) {
  return AskWhetherTimedActionExists(ToUtf16(action));
}

void Analytics::TrackLifetimeValueIncrease(double amount, const ContextData& data) {
  Enter([&] { PostLifetimeValueIncrease(amount, ContextDataCopy(data)); });
}

void Analytics::TrackLocation(double latitude, double longitude, const ContextData& data) {
  TrackLocation(latitude, longitude, 0, data);
}

void Analytics::TrackLocation(double latitude, double longitude, double accuracy,
                              const ContextData& data) {
  Enter([&] { PostLocation({latitude, longitude}, accuracy, ContextDataCopy(data)); });
}

std::int32_t Analytics::GetTrackingQueueSize() {
  std::int32_t size = 0;
  Enter([&] { size = TrackingQueueSize(); });
  return size;
}

void Analytics::ClearTrackingQueue() { Enter(PostClearTrackingQueue); }

AsyncOperation<std::string> Analytics::GetAnalyticsId() {
  return Ask(std::string(),
             [](Runtime& runtime) { return ToUtf8(runtime.GetIdentifiers().GetAnalyticsId()); });
}

}  // namespace Veltro
