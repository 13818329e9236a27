#pragma once

#include <cstdint>

#include "veltro/activation/basics.h"
#include "veltro/activation/objects.h"
#include "veltro/activation/strings.h"

namespace Veltro::Abi {

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

/// A boxed value. The platform's table goes on behind `GetGuid` with times, geometry and arrays,
/// which the library never asks for.
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

}  // namespace Veltro::Abi
