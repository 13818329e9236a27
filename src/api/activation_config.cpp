#include "api/activation_factory.h"
#include "api/activation_operation.h"
#include "api/calls.h"
#include "base/utf.h"
#include "core/log.h"
#include "core/version.h"
#include "veltro/config.h"

namespace Veltro::Internal {
namespace {

class ConfigFactory final : public StaticsFactory<Abi::IConfigStatics> {
 public:
  Abi::HRESULT GetVersion(Abi::HSTRING* version) noexcept override {
    return Guarded([&] { return Abi::CreateString(ToUtf16(kVersion), version); });
  }

  Abi::HRESULT GetPrivacyStatus(
      Abi::IAsyncOperation<VeltroPrivacyStatus>** operation) noexcept override {
    return Deliver(operation, [] {
      return ActivationOperation<VeltroPrivacyStatus>::Make(Config::GetPrivacyStatus());
    });
  }

  Abi::HRESULT SetPrivacyStatus(VeltroPrivacyStatus status) noexcept override {
    return Perform([&] { PostPrivacyStatus(status); });
  }

  Abi::HRESULT get_DebugLogging(Abi::BOOLEAN* enabled) noexcept override {
    return Deliver(enabled, DebugLoggingEnabled);
  }

  Abi::HRESULT put_DebugLogging(Abi::BOOLEAN enabled) noexcept override {
    return Perform([&] { PostDebugLogging(enabled != 0); });
  }

  Abi::HRESULT CollectLifecycleData() noexcept override { return Perform(PostLifecycleStart); }

  Abi::HRESULT PauseCollectingLifecycleData() noexcept override {
    return Perform(PostLifecyclePause);
  }

  Abi::HRESULT GetUserIdentifier(Abi::HSTRING* identifier) noexcept override {
    return Guarded([&] { return Abi::CreateString(UserIdentifier(), identifier); });
  }

  Abi::HRESULT SetUserIdentifier(Abi::HSTRING identifier) noexcept override {
    return Perform([&] { PostUserIdentifier(TextOf(identifier)); });
  }

  Abi::HRESULT GetLifetimeValue(double* value) noexcept override {
    return Deliver(value, LifetimeValue);
  }

 private:
  std::u16string_view ClassName() const noexcept override { return u"Veltro.Config"; }
};

}  // namespace

Abi::IActivationFactory* MakeConfigFactory() { return new ConfigFactory; }

}  // namespace Veltro::Internal
