#include <string_view>

#include "api/activation_context_data.h"
#include "api/activation_factory.h"
#include "api/activation_operation.h"
#include "api/activation_string_map.h"
#include "api/calls.h"
#include "veltro/audience_manager.h"

namespace Veltro::Internal {
namespace {

class AudienceManagerFactory final : public StaticsFactory<Abi::IAudienceManagerStatics> {
 public:
  Abi::HRESULT GetVisitorProfile(Abi::StringMapView** profile) noexcept override {
    return Deliver(profile, [] { return MakeStringMapView(AudienceManager::GetVisitorProfile()); });
  }

  Abi::HRESULT GetDpuuid(Abi::HSTRING* dpuuid) noexcept override {
    return Guarded([&] { return Abi::CreateString(Dpuuid(), dpuuid); });
  }

  Abi::HRESULT GetDpid(Abi::HSTRING* dpid) noexcept override {
    return Guarded([&] { return Abi::CreateString(Dpid(), dpid); });
  }

  Abi::HRESULT SetDpidAndDpuuid(Abi::HSTRING dpid, Abi::HSTRING dpuuid) noexcept override {
    return Perform([&] { PostDpidAndDpuuid(TextOf(dpid), TextOf(dpuuid)); });
  }

  Abi::HRESULT SignalWithData(
      Abi::ContextMap* traits,
      Abi::IAsyncOperation<Abi::StringMapView*>** operation) noexcept override {
    return Deliver(operation, [&] {
      return ActivationOperation<Abi::StringMapView*>::Make(Signal(ReadContextData(traits)));
    });
  }

 private:
  std::u16string_view ClassName() const noexcept override { return u"Veltro.AudienceManager"; }
};

}  // namespace

Abi::IActivationFactory* MakeAudienceManagerFactory() { return new AudienceManagerFactory; }

}  // namespace Veltro::Internal
