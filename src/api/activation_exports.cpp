#include <string_view>

#include "api/activation_factory.h"
#include "api/activation_object.h"
#include "veltro/activation.h"

namespace {

using namespace Veltro;
using namespace Veltro::Internal;

struct ActivatableClass {
  std::u16string_view name;
  Abi::IActivationFactory* (*makeFactory)();
};

constexpr ActivatableClass kClasses[] = {
    {u"Veltro.Analytics", MakeAnalyticsFactory},
    {u"Veltro.AudienceManager", MakeAudienceManagerFactory},
    {u"Veltro.Config", MakeConfigFactory},
    {u"Veltro.Media", MakeMediaFactory},
    {u"Veltro.MediaSettings", MakeMediaSettingsFactory},
    {u"Veltro.Target", MakeTargetFactory},
    {u"Veltro.TargetLocationRequest", MakeTargetLocationRequestFactory},
};

}  // namespace

Abi::HRESULT DllGetActivationFactory(Abi::HSTRING className,
                                     Abi::IActivationFactory** factory) noexcept {
  if (factory == nullptr) return Abi::kNullPointer;
  *factory = nullptr;
  for (const ActivatableClass& entry : kClasses) {
    if (entry.name == Abi::ViewString(className)) return Deliver(factory, entry.makeFactory);
  }
  return Abi::kClassNotRegistered;
}

Abi::HRESULT DllCanUnloadNow() noexcept { return LiveObjects::Any() ? Abi::kFalse : Abi::kOk; }
