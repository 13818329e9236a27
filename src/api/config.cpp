#include "veltro/config.h"

#include "api/calls.h"
#include "api/entry.h"
#include "base/utf.h"
#include "core/log.h"
#include "core/version.h"

namespace Veltro {

using namespace Internal;

std::string Config::GetVersion() { return std::string(kVersion); }

AsyncOperation<VeltroPrivacyStatus> Config::GetPrivacyStatus() {
  return Ask(VeltroPrivacyStatus::Unknown,
             [](Runtime& runtime) { return runtime.GetPrivacy().Status(); });
}

void Config::SetPrivacyStatus(VeltroPrivacyStatus status) {
  Enter([&] { PostPrivacyStatus(status); });
}

bool Config::DebugLogging() { return DebugLoggingEnabled(); }

void Config::DebugLogging(bool enabled) {
  Enter([&] { PostDebugLogging(enabled); });
}

void Config::CollectLifecycleData() { Enter(PostLifecycleStart); }

void Config::PauseCollectingLifecycleData() { Enter(PostLifecyclePause); }

std::string Config::GetUserIdentifier() {
  std::string identifier;
  Enter([&] { identifier = ToUtf8(UserIdentifier()); });
  return identifier;
}

void Config::SetUserIdentifier(std::string_view identifier) {
  Enter([&] { PostUserIdentifier(ToUtf16(identifier)); });
}

double Config::GetLifetimeValue() {
  double value = 0;
  Enter([&] { value = LifetimeValue(); });
  return value;
}

}  // namespace Veltro
