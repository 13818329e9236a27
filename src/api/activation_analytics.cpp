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

  Abi::HRESULT TrackTimedActionStart(Abi::HSTRING action, Abi::ContextMap* data) noexcept override {
    return Perform([&] { PostTimedActionStart(TextOf(action), ReadContextData(data)); });
  }

  Abi::HRESULT TrackTimedActionUpdate(Abi::HSTRING action,
                                      Abi::ContextMap* data) noexcept override {
    return Perform([&] { PostTimedActionUpdate(TextOf(action), ReadContextData(data)); });
  }

  Abi::HRESULT TrackTimedActionEnd(Abi::HSTRING action) noexcept override {
    return Perform([&] { PostTimedActionEnd(TextOf(action)); });
  }

  Abi::HRESULT TrackingTimedActionExists(Abi::HSTRING action,
                                         Abi::IAsyncOperation<bool>** operation) noexcept override {
    return Deliver(operation, [&] {
      return ActivationOperation<bool>::Make(AskWhetherTimedActionExists(TextOf(action)));
    });
  }

  Abi::HRESULT TrackLifetimeValueIncrease(double amount, Abi::ContextMap* data) noexcept override {
    return Perform([&] { PostLifetimeValueIncrease(amount, ReadContextData(data)); });
  }

  Abi::HRESULT TrackLocation(double latitude, double longitude,
                             Abi::ContextMap* data) noexcept override {
    return TrackLocationWithAccuracy(latitude, longitude, 0, data);
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

  Abi::HRESULT TrackLocationWithAccuracy(double latitude, double longitude, double accuracy,
                                         Abi::ContextMap* data) noexcept override {
    return Perform([&] { PostLocation({latitude, longitude}, accuracy, ReadContextData(data)); });
  }

 private:
  std::u16string_view ClassName() const noexcept override { return u"Veltro.Analytics"; }
};

}  // namespace

Abi::IActivationFactory* MakeAnalyticsFactory() { return new AnalyticsFactory; }

}  // namespace Veltro::Internal
