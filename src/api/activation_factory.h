#pragma once

#include <string>

#include "api/activation_object.h"
#include "base/utf.h"
#include "veltro/activation.h"

namespace Veltro::Internal {

/// The factory of a class that has static operations only.
template <class Statics>
class StaticsFactory : public ActivationObject<Abi::IActivationFactory, Statics> {
 public:
  Abi::HRESULT ActivateInstance(Abi::IInspectable** instance) noexcept final {
    if (instance == nullptr) return Abi::kNullPointer;
    *instance = nullptr;
    return Abi::kNotImplemented;
  }
};

/// New factories, each with one reference, the caller's.
Abi::IActivationFactory* MakeAnalyticsFactory();
Abi::IActivationFactory* MakeAudienceManagerFactory();
Abi::IActivationFactory* MakeConfigFactory();
Abi::IActivationFactory* MakeMediaFactory();
Abi::IActivationFactory* MakeMediaSettingsFactory();
Abi::IActivationFactory* MakeTargetFactory();
Abi::IActivationFactory* MakeTargetLocationRequestFactory();

/// Runs `body`, which returns nothing, and turns what it throws into an error code.
template <class Body>
Abi::HRESULT Perform(Body&& body) noexcept {
  return Guarded([&] {
    body();
    return Abi::kOk;
  });
}

/// Puts what `body` returns into `result`, which the client may have passed as null, and turns what
/// it throws into an error code.
template <class Result, class Body>
Abi::HRESULT Deliver(Result* result, Body&& body) noexcept {
  if (result == nullptr) return Abi::kNullPointer;
  *result = {};
  return Perform([&] { *result = body(); });
}

/// A copy of the client's text, in which lone surrogates have become U+FFFD: so it reads the same
/// from memory and from files.
inline std::string Utf8Of(Abi::HSTRING string) { return ToUtf8(Abi::ViewString(string)); }
inline std::u16string TextOf(Abi::HSTRING string) { return ToUtf16(Utf8Of(string)); }

}  // namespace Veltro::Internal
