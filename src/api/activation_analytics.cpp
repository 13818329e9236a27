#include "api/activation_context_data.h"
#include "api/activation_factory.h"
#include "api/activation_operation.h"
#include "api/calls.h"
#include "veltro/analytics.h"

namespace Veltro::Internal {
namespace {

class AnalyticsFactory final : public StaticsFactory<Abi::IAnalyticsStatics> {
 public:
  Abi::HRESULT TrackState(Abi::HSTRING state, Abi::ContextMap* data) noexcept override {
    return Perform([&] { PostState(TextOf(state), ReadContextData(data)); });
  }

  Abi::HRESULT TrackAction(Abi::HSTRING action, Abi::ContextMap* data) noexcept override {
    return Perform([&] { PostAction(TextOf(action), ReadContextData(data)); });
  }

  // These come with timed actions.
  Abi::HRESULT TrackTimedActionStart(Abi::HSTRING, Abi::ContextMap*) noexcept override {
    return Abi::kNotImplemented;
  }
  Abi::HRESULT TrackTimedActionUpdate(Abi::HSTRING, Abi::ContextMap*) noexcept override {
    return Abi::kNotImplemented;
  }
  Abi::HRESULT TrackTimedActionEnd(Abi::HSTRING) noexcept override { return Abi::kNotImplemented; }
  Abi::HRESULT TrackingTimedActionExists(Abi::HSTRING,
                                         Abi::IAsyncOperation<bool>**) noexcept override {
    return Abi::kNotImplemented;
  }

  // Comes with lifetime value.
  Abi::HRESULT TrackLifetimeValueIncrease(double, Abi::ContextMap*) noexcept override {
    return Abi::kNotImplemented;
  }

  // Comes with location.
  Abi::HRESULT TrackLocation(double, double, Abi::ContextMap*) noexcept override {
    return Abi::kNotImplemented;
  }

  Abi::HRESULT GetTrackingQueueSize(std::int32_t* size) noexcept override {
    return Deliver(size, TrackingQueueSize);
  }

  Abi::HRESULT ClearTrackingQueue() noexcept override { return Perform(PostClearTrackingQueue); }

  Abi::HRESULT GetAnalyticsId(Abi::IAsyncOperation<Abi::HSTRING>** operation) noexcept override {
    return Deliver(operation, [] {
      return ActivationOperation<Abi::HSTRING>::Make(Analytics::GetAnalyticsId());
    });
  }

 private:
  std::u16string_view ClassName() const noexcept override { return u"Veltro.Analytics"; }
};

}  // namespace

Abi::IActivationFactory* MakeAnalyticsFactory() { return new AnalyticsFactory; }

}  // namespace Veltro::Internal
