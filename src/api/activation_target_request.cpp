#include "api/activation_target_request.h"

#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "api/activation_factory.h"
#include "api/activation_object.h"
#include "api/activation_reference.h"
#include "api/activation_string_map.h"
#include "base/utf.h"

namespace Veltro::Internal {
namespace {

constexpr std::u16string_view kClassName = u"Veltro.TargetLocationRequest";

class RequestObject final : public ActivationObject<Abi::ITargetLocationRequest> {
 public:
  explicit RequestObject(const TargetLocationRequest& request)
      : name_(ToUtf16(request.Name)),
        defaultContent_(ToUtf16(request.DefaultContent)),
        parameters_(Parameters::Adopt(MakeStringMap(request.Parameters))) {}

  Abi::HRESULT get_Name(Abi::HSTRING* name) noexcept override { return Get(name_, name); }

  Abi::HRESULT put_Name(Abi::HSTRING name) noexcept override { return Put(name, name_); }

  Abi::HRESULT get_DefaultContent(Abi::HSTRING* content) noexcept override {
    return Get(defaultContent_, content);
  }

  Abi::HRESULT put_DefaultContent(Abi::HSTRING content) noexcept override {
    return Put(content, defaultContent_);
  }

  Abi::HRESULT get_Parameters(Abi::StringMapInterface** parameters) noexcept override {
    return Deliver(parameters, [&] {
      const std::lock_guard lock(mutex_);
      return Parameters(parameters_).Detach();
    });
  }

  Abi::HRESULT put_Parameters(Abi::StringMapInterface* parameters) noexcept override {
    return Perform([&] {
      auto other = parameters != nullptr ? Parameters::Share(parameters)
                                         : Parameters::Adopt(MakeStringMap({}));
      // The map that was there, perhaps the client's, goes when the lock has gone.
      const std::lock_guard lock(mutex_);
      std::swap(parameters_, other);
    });
  }

 private:
  using Parameters = Reference<Abi::StringMapInterface>;

  std::u16string_view ClassName() const noexcept override { return kClassName; }

  Abi::HRESULT Get(const std::u16string& property, Abi::HSTRING* value) noexcept {
    const std::lock_guard lock(mutex_);
    return Abi::CreateString(property, value);
  }

  Abi::HRESULT Put(Abi::HSTRING value, std::u16string& property) noexcept {
    return Perform([&] {
      std::u16string text = TextOf(value);
      const std::lock_guard lock(mutex_);
      property = std::move(text);
    });
  }

  std::mutex mutex_;
  std::u16string name_;
  std::u16string defaultContent_;
  Parameters parameters_;
};

class RequestFactory final : public ActivationObject<Abi::IActivationFactory> {
 public:
  Abi::HRESULT ActivateInstance(Abi::IInspectable** instance) noexcept override {
    return Deliver(instance, [] { return MakeTargetLocationRequest({}); });
  }

 private:
  std::u16string_view ClassName() const noexcept override { return kClassName; }
};

using TextGetter = Abi::HRESULT (Abi::ITargetLocationRequest::*)(Abi::HSTRING*) noexcept;

std::string ReadText(Abi::ITargetLocationRequest& request, TextGetter getter) {
  ReceivedString text;
  return (request.*getter)(text.Receive()) < 0 ? std::string() : ToUtf8(text.View());
}

Strings ReadParameters(Abi::ITargetLocationRequest& request) {
  Reference<Abi::StringMapInterface> parameters;
  if (request.get_Parameters(parameters.Receive()) < 0) return {};
  return ReadStrings(parameters.Get());
}

}  // namespace

Abi::ITargetLocationRequest* MakeTargetLocationRequest(const TargetLocationRequest& request) {
  return new RequestObject(request);
}

std::optional<TargetLocationRequest> ReadTargetLocationRequest(
    Abi::ITargetLocationRequest* request) {
  using Abi::ITargetLocationRequest;
  if (request == nullptr) return std::nullopt;
  return TargetLocationRequest{ReadText(*request, &ITargetLocationRequest::get_Name),
                               ReadText(*request, &ITargetLocationRequest::get_DefaultContent),
                               ReadParameters(*request)};
}

Abi::IActivationFactory* MakeTargetLocationRequestFactory() { return new RequestFactory; }

}  // namespace Veltro::Internal
