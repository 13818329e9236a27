#include "veltro/audience_manager.h"

#include "api/calls.h"
#include "api/context_data_conversion.h"
#include "api/entry.h"
#include "base/utf.h"

namespace Veltro {

using namespace Internal;

AudienceManager::Profile AudienceManager::GetVisitorProfile() {
  Profile profile;
  Enter([&] { profile = ToUtf8Map(StoredProfile()); });
  return profile;
}

std::string AudienceManager::GetDpuuid() {
  std::string dpuuid;
  Enter([&] { dpuuid = ToUtf8(Dpuuid()); });
  return dpuuid;
}

std::string AudienceManager::GetDpid() {
  std::string dpid;
  Enter([&] { dpid = ToUtf8(Dpid()); });
  return dpid;
}

void AudienceManager::SetDpidAndDpuuid(std::string_view dpid, std::string_view dpuuid) {
  Enter([&] { PostDpidAndDpuuid(ToUtf16(dpid), ToUtf16(dpuuid)); });
}

AsyncOperation<std::optional<AudienceManager::Profile>> AudienceManager::SignalWithData(
    const ContextData& traits) {
  return Signal(ContextDataCopy(traits));
}

}  // namespace Veltro
