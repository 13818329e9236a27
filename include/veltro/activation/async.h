#pragma once

#include <cstdint>

#include "veltro/activation/basics.h"
#include "veltro/activation/collections.h"
#include "veltro/activation/objects.h"
#include "veltro/activation/strings.h"
#include "veltro/privacy_status.h"

namespace Veltro::Abi {

enum class AsyncStatus : std::int32_t { Started = 0, Completed = 1, Canceled = 2, Error = 3 };

/// What every operation has; the library's always complete: `Cancel` changes nothing. `Close` is
/// refused with kIllegalStateChange while the result is under way.
struct IAsyncInfo : IInspectable {
  virtual HRESULT get_Id(std::uint32_t* id) noexcept = 0;
  virtual HRESULT get_Status(AsyncStatus* status) noexcept = 0;
  virtual HRESULT get_ErrorCode(HRESULT* code) noexcept = 0;
  virtual HRESULT Cancel() noexcept = 0;
  virtual HRESULT Close() noexcept = 0;
};
template <>
inline constexpr GUID kIid<IAsyncInfo>{0x00000036, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// How a result of type T is passed.
template <class T>
struct ResultType {
  using Type = T;
};
template <>
struct ResultType<bool> {
  using Type = BOOLEAN;
};

template <class T>
struct IAsyncOperation;

template <class T>
struct IAsyncOperationCompletedHandler : IUnknown {
  virtual HRESULT Invoke(IAsyncOperation<T>* operation, AsyncStatus status) noexcept = 0;
};

/// Takes one handler in its life (kIllegalDelegateAssignment for a second), calls it once and lets
/// go of it: on a thread of the library's when the result arrives, or within `put_Completed` when
/// it has arrived. The object lives at least until the result has arrived. `GetResults` before that
/// is a kIllegalMethodCall; afterwards it may be called any number of times. Also an IAsyncInfo.
template <class T>
struct IAsyncOperation : IInspectable {
  virtual HRESULT put_Completed(IAsyncOperationCompletedHandler<T>* handler) noexcept = 0;
  virtual HRESULT get_Completed(IAsyncOperationCompletedHandler<T>** handler) noexcept = 0;
  virtual HRESULT GetResults(typename ResultType<T>::Type* result) noexcept = 0;
};
template <>
inline constexpr GUID kIid<IAsyncOperation<bool>>{
    0xCDB5EFB3, 0x5788, 0x509D, {0x9B, 0xE1, 0x71, 0xCC, 0xB8, 0xA3, 0x36, 0x2A}};
template <>
inline constexpr GUID kIid<IAsyncOperationCompletedHandler<bool>>{
    0xC1D3D1A2, 0xAE17, 0x5A5F, {0xB5, 0xA2, 0xBD, 0xCC, 0x88, 0x44, 0x88, 0x9A}};
template <>
inline constexpr GUID kIid<IAsyncOperation<HSTRING>>{
    0x3E1FE603, 0xF897, 0x5263, {0xB3, 0x28, 0x08, 0x06, 0x42, 0x6B, 0x8A, 0x79}};
template <>
inline constexpr GUID kIid<IAsyncOperationCompletedHandler<HSTRING>>{
    0xB79A741F, 0x7FB5, 0x50AE, {0x9E, 0x99, 0x91, 0x12, 0x01, 0xEC, 0x3D, 0x41}};
template <>
inline constexpr GUID kIid<IAsyncOperation<VeltroPrivacyStatus>>{
    0x2E6142E0, 0xA001, 0x5626, {0x9B, 0xB7, 0xC8, 0xE1, 0x44, 0x27, 0xB2, 0x74}};
template <>
inline constexpr GUID kIid<IAsyncOperationCompletedHandler<VeltroPrivacyStatus>>{
    0x5EE80DAB, 0x4B24, 0x5043, {0xBD, 0xB3, 0xE4, 0x62, 0x71, 0x43, 0xB2, 0x05}};
template <>
inline constexpr GUID kIid<IAsyncOperation<StringMapView*>>{
    0x817944B6, 0xF046, 0x5391, {0xBB, 0x0B, 0x4C, 0xC3, 0x4D, 0x80, 0x40, 0xF3}};
template <>
inline constexpr GUID kIid<IAsyncOperationCompletedHandler<StringMapView*>>{
    0x75E3182C, 0xE6E1, 0x589C, {0xAB, 0x73, 0xE8, 0x64, 0x4B, 0xC2, 0x85, 0xBF}};

}  // namespace Veltro::Abi
