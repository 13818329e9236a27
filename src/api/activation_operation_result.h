#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "api/activation_string_map.h"
#include "base/utf.h"
#include "veltro/activation.h"
#include "veltro/audience_manager.h"
#include "veltro/privacy_status.h"

namespace Veltro::Internal {

/// How a result T of the binary interface is made of what the library delivers.
template <class T>
struct OperationResult;

template <>
struct OperationResult<VeltroPrivacyStatus> {
  using Source = VeltroPrivacyStatus;
  static constexpr std::u16string_view kClassName =
      u"Windows.Foundation.IAsyncOperation`1<Veltro.VeltroPrivacyStatus>";
  static Abi::HRESULT Convert(VeltroPrivacyStatus source, VeltroPrivacyStatus* result) {
    *result = source;
    return Abi::kOk;
  }
};

template <>
struct OperationResult<bool> {
  using Source = bool;
  static constexpr std::u16string_view kClassName =
      u"Windows.Foundation.IAsyncOperation`1<Boolean>";
  static Abi::HRESULT Convert(bool source, Abi::BOOLEAN* result) {
    *result = source ? 1 : 0;
    return Abi::kOk;
  }
};

template <>
struct OperationResult<Abi::HSTRING> {
  using Source = std::string;
  static constexpr std::u16string_view kClassName = u"Windows.Foundation.IAsyncOperation`1<String>";
  static Abi::HRESULT Convert(const std::string& source, Abi::HSTRING* result) {
    return Abi::CreateString(ToUtf16(source), result);
  }
};

/// A null map is made of nothing.
template <>
struct OperationResult<Abi::StringMapView*> {
  using Source = std::optional<AudienceManager::Profile>;
  static constexpr std::u16string_view kClassName =
      u"Windows.Foundation.IAsyncOperation`1<Windows.Foundation.Collections.IMapView`2<String, "
      u"String>>";
  static Abi::HRESULT Convert(const Source& source, Abi::StringMapView** result) {
    *result = source ? MakeStringMapView(*source) : nullptr;
    return Abi::kOk;
  }
};

}  // namespace Veltro::Internal
