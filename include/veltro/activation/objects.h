#pragma once

#include <cstdint>

#include "veltro/activation/basics.h"
#include "veltro/activation/strings.h"

namespace Veltro::Abi {

/// What every object has.
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

}  // namespace Veltro::Abi
