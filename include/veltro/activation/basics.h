#pragma once

#include <cstdint>

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
inline constexpr HRESULT kOutOfBounds = ErrorCode(0x8000000B);
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

/// The identifier of an interface. That of a generic interface for its parameters is, by the
/// platform's rule, the UUID version 5 of their signature, "pinterface({<generic>};<parameters>)",
/// in the namespace 11F47AD5-7B73-42C0-ABAE-878B1E16ADEE; that of an interface of the library's own
/// the UUID version 5 of its runtime name in the DNS namespace
/// 6BA7B810-9DAD-11D1-80B4-00C04FD430C8.
template <class Interface>
extern const GUID kIid;

}  // namespace Veltro::Abi
