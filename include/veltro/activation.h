#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string_view>

#include "veltro/export.h"
#include "veltro/privacy_status.h"

/// The library as a component of the platform's runtime-component model, for clients that reach it
/// through `dlsym` and tables of functions instead of the C++ classes.
///
/// Interfaces are tables of functions in the C++ calling convention, in the order below; their
/// names and identifiers are the platform's. Every function returns an HRESULT, throws nothing and
/// may be called from any thread. A result is written through the last parameter, which must not be
/// null, and belongs to the caller: interfaces are given back with `Release`, strings with
/// `DeleteString`, arrays with `free`. Parameters are the caller's and need to live only until the
/// function returns.
namespace Veltro::Abi {

using HRESULT = std::int32_t;
using ULONG = std::uint32_t;

/// Truth values are one byte, 0 or 1.
using BOOLEAN = std::uint8_t;

constexpr HRESULT ErrorCode(std::uint32_t code) { return static_cast<HRESULT>(code); }

inline constexpr HRESULT kOk = 0;
inline constexpr HRESULT kFalse = 1;
inline constexpr HRESULT kNotImplemented = ErrorCode(0x80004001);
inline constexpr HRESULT kNoInterface = ErrorCode(0x80004002);
inline constexpr HRESULT kNullPointer = ErrorCode(0x80004003);
inline constexpr HRESULT kFailure = ErrorCode(0x80004005);
inline constexpr HRESULT kIllegalStateChange = ErrorCode(0x8000000D);
inline constexpr HRESULT kIllegalMethodCall = ErrorCode(0x8000000E);
inline constexpr HRESULT kIllegalDelegateAssignment = ErrorCode(0x80000018);
inline constexpr HRESULT kClassNotRegistered = ErrorCode(0x80040154);
inline constexpr HRESULT kOutOfMemory = ErrorCode(0x8007000E);

struct GUID {
  std::uint32_t data1;
  std::uint16_t data2;
  std::uint16_t data3;
  std::uint8_t data4[8];
};

constexpr bool operator==(const GUID& left, const GUID& right) {
  for (int i = 0; i < 8; ++i) {
    if (left.data4[i] != right.data4[i]) return false;
  }
  return left.data1 == right.data1 && left.data2 == right.data2 && left.data3 == right.data3;
}

/// The identifier of an interface.
template <class Interface>
extern const GUID kIid;

// Strings: UTF-16 that does not change, of up to 2^32 - 1 units. A null handle is the empty string.

struct StringHeader {
  std::uint32_t flags;
  std::uint32_t length;  ///< in units, without the NUL behind them
  std::uint32_t padding1;
  std::uint32_t padding2;
  const char16_t* text;
};

using HSTRING = StringHeader*;

/// The flag of a fast-pass string: header and text are the caller's own, good for one call.
inline constexpr std::uint32_t kFastPassString = 1;

/// A string of its own, in memory from `malloc`.
struct OwnedString {
  StringHeader header;
  std::atomic<std::int32_t> references;
  char16_t text[1];  ///< the first of them; NUL-terminated
};

inline std::u16string_view ViewString(HSTRING string) noexcept {
  return string == nullptr ? std::u16string_view()
                           : std::u16string_view(string->text, string->length);
}

/// A new string of one reference.
inline HRESULT CreateString(std::u16string_view text, HSTRING* string) noexcept {
  if (string == nullptr) return kNullPointer;
  *string = nullptr;
  if (text.empty()) return kOk;
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) return kOutOfMemory;
  const std::size_t bytes = text.size() * sizeof(char16_t);
  void* const memory = std::malloc(sizeof(OwnedString) + bytes);
  if (memory == nullptr) return kOutOfMemory;
  auto* const owned = new (memory) OwnedString{{}, {1}, {}};
  char16_t* const copy = owned->text;
  std::memcpy(copy, text.data(), bytes);
  copy[text.size()] = u'\0';
  owned->header = {0, static_cast<std::uint32_t>(text.size()), 0, 0, copy};
  *string = &owned->header;
  return kOk;
}

/// One more reference to the same string; a copy of a fast-pass one.
inline HRESULT DuplicateString(HSTRING string, HSTRING* duplicate) noexcept {
  if (duplicate == nullptr) return kNullPointer;
  if (string != nullptr && (string->flags & kFastPassString) != 0) {
    return CreateString(ViewString(string), duplicate);
  }
  if (string != nullptr) reinterpret_cast<OwnedString*>(string)->references.fetch_add(1);
  *duplicate = string;
  return kOk;
}

/// Gives a reference back; does nothing to a fast-pass string.
inline void DeleteString(HSTRING string) noexcept {
  if (string == nullptr || (string->flags & kFastPassString) != 0) return;
  auto* const owned = reinterpret_cast<OwnedString*>(string);
  if (owned->references.fetch_sub(1) == 1) std::free(owned);
}

// What every object has.

struct IUnknown {
  virtual HRESULT QueryInterface(const GUID& iid, void** object) noexcept = 0;
  virtual ULONG AddRef() noexcept = 0;
  virtual ULONG Release() noexcept = 0;
};
template <>
inline constexpr GUID kIid<IUnknown>{0x00000000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

enum class TrustLevel : std::int32_t { Base = 0, Partial = 1, Full = 2 };

struct IInspectable : IUnknown {
  virtual HRESULT GetIids(std::uint32_t* count, GUID** iids) noexcept = 0;
  virtual HRESULT GetRuntimeClassName(HSTRING* name) noexcept = 0;
  virtual HRESULT GetTrustLevel(TrustLevel* level) noexcept = 0;
};
template <>
inline constexpr GUID kIid<IInspectable>{
    0xAF86E2E0, 0xB12D, 0x4C6A, {0x9C, 0x5A, 0xD7, 0xAA, 0x65, 0x10, 0x1E, 0x90}};

struct IActivationFactory : IInspectable {
  virtual HRESULT ActivateInstance(IInspectable** instance) noexcept = 0;
};
template <>
inline constexpr GUID kIid<IActivationFactory>{0x00000035, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Boxed values and maps of them, which clients pass as context data.

enum class PropertyType : std::int32_t {
  Empty = 0,
  UInt8 = 1,
  Int16 = 2,
  UInt16 = 3,
  Int32 = 4,
  UInt32 = 5,
  Int64 = 6,
  UInt64 = 7,
  Single = 8,
  Double = 9,
  Char16 = 10,
  Boolean = 11,
  String = 12,
  Inspectable = 13,
  DateTime = 14,
  TimeSpan = 15,
  Guid = 16,
};

/// The platform's table goes on behind `GetGuid` with times, geometry and arrays, which the library
/// never asks for.
struct IPropertyValue : IInspectable {
  virtual HRESULT get_Type(PropertyType* type) noexcept = 0;
  virtual HRESULT get_IsNumericScalar(BOOLEAN* isNumericScalar) noexcept = 0;
  virtual HRESULT GetUInt8(std::uint8_t* value) noexcept = 0;
  virtual HRESULT GetInt16(std::int16_t* value) noexcept = 0;
  virtual HRESULT GetUInt16(std::uint16_t* value) noexcept = 0;
  virtual HRESULT GetInt32(std::int32_t* value) noexcept = 0;
  virtual HRESULT GetUInt32(std::uint32_t* value) noexcept = 0;
  virtual HRESULT GetInt64(std::int64_t* value) noexcept = 0;
  virtual HRESULT GetUInt64(std::uint64_t* value) noexcept = 0;
  virtual HRESULT GetSingle(float* value) noexcept = 0;
  virtual HRESULT GetDouble(double* value) noexcept = 0;
  virtual HRESULT GetChar16(char16_t* value) noexcept = 0;
  virtual HRESULT GetBoolean(BOOLEAN* value) noexcept = 0;
  virtual HRESULT GetString(HSTRING* value) noexcept = 0;
  virtual HRESULT GetGuid(GUID* value) noexcept = 0;
};
template <>
inline constexpr GUID kIid<IPropertyValue>{
    0x4BD682DD, 0x7554, 0x40E9, {0x9A, 0x9B, 0x82, 0x65, 0x4E, 0xDE, 0x7E, 0x62}};

template <class Key, class Mapped>
struct IKeyValuePair : IInspectable {
  virtual HRESULT get_Key(Key* key) noexcept = 0;
  virtual HRESULT get_Value(Mapped* value) noexcept = 0;
};

template <class T>
struct IIterator : IInspectable {
  virtual HRESULT get_Current(T* current) noexcept = 0;
  virtual HRESULT get_HasCurrent(BOOLEAN* hasCurrent) noexcept = 0;
  virtual HRESULT MoveNext(BOOLEAN* hasCurrent) noexcept = 0;
  virtual HRESULT GetMany(std::uint32_t capacity, T* items, std::uint32_t* count) noexcept = 0;
};

template <class T>
struct IIterable : IInspectable {
  virtual HRESULT First(IIterator<T>** first) noexcept = 0;
};

template <class Key, class Mapped>
struct IMapView;  // an interface that the library neither has nor asks for

template <class Key, class Mapped>
struct IMap : IInspectable {
  virtual HRESULT Lookup(Key key, Mapped* value) noexcept = 0;
  virtual HRESULT get_Size(std::uint32_t* size) noexcept = 0;
  virtual HRESULT HasKey(Key key, BOOLEAN* found) noexcept = 0;
  virtual HRESULT GetView(IMapView<Key, Mapped>** view) noexcept = 0;
  virtual HRESULT Insert(Key key, Mapped value, BOOLEAN* replaced) noexcept = 0;
  virtual HRESULT Remove(Key key) noexcept = 0;
  virtual HRESULT Clear() noexcept = 0;
};

/// Context data: keys with boxed values. The object must also be an iterable of its pairs, as the
/// platform's maps are.
using ContextMap = IMap<HSTRING, IInspectable*>;
using ContextPair = IKeyValuePair<HSTRING, IInspectable*>;
using ContextIterator = IIterator<ContextPair*>;
using ContextIterable = IIterable<ContextPair*>;
template <>
inline constexpr GUID kIid<ContextMap>{
    0x1B0D3570, 0x0877, 0x5EC2, {0x8A, 0x2C, 0x3B, 0x95, 0x39, 0x50, 0x6A, 0xCA}};
template <>
inline constexpr GUID kIid<ContextPair>{
    0x09335560, 0x6C6B, 0x5A26, {0x93, 0x48, 0x97, 0xB7, 0x81, 0x13, 0x2B, 0x20}};
template <>
inline constexpr GUID kIid<ContextIterator>{
    0x5DB5FA32, 0x707C, 0x5849, {0xA0, 0x6B, 0x91, 0xC8, 0xEB, 0x9D, 0x10, 0xE8}};
template <>
inline constexpr GUID kIid<ContextIterable>{
    0xFE2F3D47, 0x5D47, 0x5499, {0x83, 0x74, 0x43, 0x0C, 0x7C, 0xDA, 0x02, 0x04}};

// Results that arrive later.

enum class AsyncStatus : std::int32_t { Started = 0, Completed = 1, Canceled = 2, Error = 3 };

/// The library's operations always complete: `Cancel` changes nothing. `Close` is refused with
/// kIllegalStateChange while the result is under way.
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

// Those of Veltro.VeltroPrivacyStatus follow the platform's rule for parameterised interfaces: UUID
// version 5 in the namespace 11F47AD5-7B73-42C0-ABAE-878B1E16ADEE of
// "pinterface({<generic interface>};enum(Veltro.VeltroPrivacyStatus;i4))".
template <>
inline constexpr GUID kIid<IAsyncOperation<VeltroPrivacyStatus>>{
    0x2E6142E0, 0xA001, 0x5626, {0x9B, 0xB7, 0xC8, 0xE1, 0x44, 0x27, 0xB2, 0x74}};
template <>
inline constexpr GUID kIid<IAsyncOperationCompletedHandler<VeltroPrivacyStatus>>{
    0x5EE80DAB, 0x4B24, 0x5043, {0xBD, 0xB3, 0xE4, 0x62, 0x71, 0x43, 0xB2, 0x05}};

// The library's own interfaces. Their identifiers are UUIDs version 5 of their runtime names in the
// DNS namespace 6ba7b810-9dad-11d1-80b4-00c04fd430c8.

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

extern "C" {

/// A new reference to the factory of the class `className`, "Veltro.Config" or "Veltro.Analytics",
/// which also is the class's statics interface. kClassNotRegistered and null for another name.
VELTRO_EXPORT Veltro::Abi::HRESULT DllGetActivationFactory(
    Veltro::Abi::HSTRING className, Veltro::Abi::IActivationFactory** factory) noexcept;

/// kOk while no factory and no asynchronous operation of the library is in use, else kFalse.
VELTRO_EXPORT Veltro::Abi::HRESULT DllCanUnloadNow() noexcept;

}  // extern "C"
