#pragma once

#include "veltro/activation/async.h"
#include "veltro/activation/basics.h"
#include "veltro/activation/objects.h"
#include "veltro/activation/strings.h"
#include "veltro/privacy_status.h"

namespace Veltro::Abi {

/// "Veltro.__IConfigStatics", the operations of the class "Veltro.Config"; they mean what those of
/// `Veltro::Config` mean.
struct IConfigStatics : IInspectable {
  virtual HRESULT GetVersion(HSTRING* version) noexcept = 0;
  virtual HRESULT GetPrivacyStatus(IAsyncOperation<VeltroPrivacyStatus>** operation) noexcept = 0;
  virtual HRESULT SetPrivacyStatus(VeltroPrivacyStatus status) noexcept = 0;
  virtual HRESULT get_DebugLogging(BOOLEAN* enabled) noexcept = 0;
  virtual HRESULT put_DebugLogging(BOOLEAN enabled) noexcept = 0;
  virtual HRESULT CollectLifecycleData() noexcept = 0;
  virtual HRESULT PauseCollectingLifecycleData() noexcept = 0;
  virtual HRESULT GetUserIdentifier(HSTRING* identifier) noexcept = 0;
  virtual HRESULT SetUserIdentifier(HSTRING identifier) noexcept = 0;
  virtual HRESULT GetLifetimeValue(double* value) noexcept = 0;
};
template <>
inline constexpr GUID kIid<IConfigStatics>{
    0x0AE60257, 0xE5EF, 0x5B4E, {0xA0, 0x68, 0x44, 0xB6, 0x00, 0x72, 0xA3, 0x5D}};

}  // namespace Veltro::Abi
