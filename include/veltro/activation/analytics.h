#pragma once

#include <cstdint>

#include "veltro/activation/async.h"
#include "veltro/activation/basics.h"
#include "veltro/activation/collections.h"
#include "veltro/activation/objects.h"
#include "veltro/activation/strings.h"

namespace Veltro::Abi {

/// "Veltro.__IAnalyticsStatics", the operations of the class "Veltro.Analytics"; they mean what
/// those of `Veltro::Analytics` mean. A map may be null, and is read before the function returns.
struct IAnalyticsStatics : IInspectable {
  virtual HRESULT TrackState(HSTRING state, ContextMap* data) noexcept = 0;
  virtual HRESULT TrackAction(HSTRING action, ContextMap* data) noexcept = 0;
  virtual HRESULT TrackTimedActionStart(HSTRING action, ContextMap* data) noexcept = 0;
  virtual HRESULT TrackTimedActionUpdate(HSTRING action, ContextMap* data) noexcept = 0;
  virtual HRESULT TrackTimedActionEnd(HSTRING action) noexcept = 0;
  virtual HRESULT TrackingTimedActionExists(HSTRING action,
                                            IAsyncOperation<bool>** operation) noexcept = 0;
  virtual HRESULT TrackLifetimeValueIncrease(double amount, ContextMap* data) noexcept = 0;
  virtual HRESULT TrackLocation(double latitude, double longitude, ContextMap* data) noexcept = 0;
  virtual HRESULT GetTrackingQueueSize(std::int32_t* size) noexcept = 0;
  virtual HRESULT ClearTrackingQueue() noexcept = 0;
  virtual HRESULT GetAnalyticsId(IAsyncOperation<HSTRING>** operation) noexcept = 0;
  virtual HRESULT TrackLocationWithAccuracy(double latitude, double longitude, double accuracy,
                                            ContextMap* data) noexcept = 0;
};
template <>
inline constexpr GUID kIid<IAnalyticsStatics>{
    0x334FE5D5, 0x2CDB, 0x5964, {0x8A, 0x25, 0x21, 0x03, 0x1F, 0x1E, 0xA5, 0xF5}};

}  // namespace Veltro::Abi
