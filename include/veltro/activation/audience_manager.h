#pragma once

#include "veltro/activation/async.h"
#include "veltro/activation/basics.h"
#include "veltro/activation/collections.h"
#include "veltro/activation/objects.h"
#include "veltro/activation/strings.h"

namespace Veltro::Abi {

/// "Veltro.__IAudienceManagerStatics", the operations of the class "Veltro.AudienceManager"; they
/// mean what those of `Veltro::AudienceManager` mean. The traits may be null, and are read before
/// the function returns. The result of a signal is a null map where the other surface yields
/// nothing.
struct IAudienceManagerStatics : IInspectable {
  virtual HRESULT GetVisitorProfile(StringMapView** profile) noexcept = 0;
  virtual HRESULT GetDpuuid(HSTRING* dpuuid) noexcept = 0;
  virtual HRESULT GetDpid(HSTRING* dpid) noexcept = 0;
  virtual HRESULT SetDpidAndDpuuid(HSTRING dpid, HSTRING dpuuid) noexcept = 0;
  virtual HRESULT SignalWithData(ContextMap* traits,
                                 IAsyncOperation<StringMapView*>** operation) noexcept = 0;
};
template <>
inline constexpr GUID kIid<IAudienceManagerStatics>{
    0x463EB336, 0xEF9D, 0x5286, {0xBE, 0xA4, 0x6B, 0x71, 0x93, 0xB2, 0x1C, 0x81}};

}  // namespace Veltro::Abi
