#include "veltro/analytics.h"

#include "api/calls.h"
#include "api/context_data_conversion.h"
#include "api/entry.h"
#include "base/utf.h"

namespace Veltro {

using namespace Internal;

void Analytics::TrackState(std::string_view state, const ContextData& data) {
  Enter([&] { PostState(ToUtf16(state), ConvertContextData(data)); });
}

void Analytics::TrackAction(std::string_view action, const ContextData& data) {
  Enter([&] { PostAction(ToUtf16(action), ConvertContextData(data)); });
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
