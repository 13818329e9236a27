#pragma once

#include "veltro/activation/async.h"
#include "veltro/activation/basics.h"
#include "veltro/activation/collections.h"
#include "veltro/activation/objects.h"
#include "veltro/activation/strings.h"

namespace Veltro::Abi {

/// "Veltro.__ITargetLocationRequestPublicNonVirtuals", the properties of the class
/// "Veltro.TargetLocationRequest"; they mean what those of `Veltro::TargetLocationRequest` mean.
/// Clients may have the library's class activated, whose objects begin empty, or bring their own.
///
/// The map of parameters is the live one, whose changes are the request's. The library's requests
/// keep a map that is put; a null one is put as a new empty map.
struct ITargetLocationRequest : IInspectable {
  virtual HRESULT get_Name(HSTRING* name) noexcept = 0;
  virtual HRESULT put_Name(HSTRING name) noexcept = 0;
  virtual HRESULT get_DefaultContent(HSTRING* content) noexcept = 0;
  virtual HRESULT put_DefaultContent(HSTRING content) noexcept = 0;
  virtual HRESULT get_Parameters(StringMapInterface** parameters) noexcept = 0;
  virtual HRESULT put_Parameters(StringMapInterface* parameters) noexcept = 0;
};
template <>
inline constexpr GUID kIid<ITargetLocationRequest>{
    0xE684B48F, 0x27FB, 0x5402, {0x91, 0x92, 0xB5, 0x13, 0x0B, 0x9B, 0xAF, 0x17}};

/// "Veltro.__ITargetStatics", the operations of the class "Veltro.Target"; they mean what those of
/// `Veltro::Target` mean. Requests and maps may be null, and are read before the function returns;
/// the content of a null request is empty.
struct ITargetStatics : IInspectable {
  virtual HRESULT LoadRequest(ITargetLocationRequest* request,
                              IAsyncOperation<HSTRING>** operation) noexcept = 0;
  virtual HRESULT GetPcId(HSTRING* pcId) noexcept = 0;
  virtual HRESULT GetSessionId(HSTRING* sessionId) noexcept = 0;
  virtual HRESULT get_OrderId(HSTRING* name) noexcept = 0;
  virtual HRESULT get_OrderTotal(HSTRING* name) noexcept = 0;
  virtual HRESULT get_ProductPurchasedId(HSTRING* name) noexcept = 0;
  virtual HRESULT CreateRequest(HSTRING name, HSTRING defaultContent,
                                StringMapInterface* parameters,
                                ITargetLocationRequest** request) noexcept = 0;
  virtual HRESULT CreateOrderConfirmRequest(HSTRING name, HSTRING orderId, HSTRING orderTotal,
                                            HSTRING productPurchasedId,
                                            StringMapInterface* parameters,
                                            ITargetLocationRequest** request) noexcept = 0;
  virtual HRESULT ClearStoredIds() noexcept = 0;
};
template <>
inline constexpr GUID kIid<ITargetStatics>{
    0x289C4BF0, 0x76A3, 0x5A3C, {0x90, 0x7B, 0x4D, 0xB4, 0xFD, 0x05, 0x47, 0x3E}};

}  // namespace Veltro::Abi
