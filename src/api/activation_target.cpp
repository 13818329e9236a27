#include <string_view>

#include "api/activation_factory.h"
#include "api/activation_operation.h"
#include "api/activation_string_map.h"
#include "api/activation_target_request.h"
#include "api/calls.h"
#include "base/utf.h"
#include "veltro/target.h"

namespace Veltro::Internal {
namespace {

class TargetFactory final : public StaticsFactory<Abi::ITargetStatics> {
 public:
  Abi::HRESULT LoadRequest(Abi::ITargetLocationRequest* request,
                           Abi::IAsyncOperation<Abi::HSTRING>** operation) noexcept override {
    return Deliver(operation, [&] {
      return ActivationOperation<Abi::HSTRING>::Make(
          AskForContent(ReadTargetLocationRequest(request)));
    });
  }

  Abi::HRESULT GetPcId(Abi::HSTRING* pcId) noexcept override {
    return Guarded([&] { return Abi::CreateString(ToUtf16(PcId()), pcId); });
  }

  Abi::HRESULT GetSessionId(Abi::HSTRING* sessionId) noexcept override {
    return Guarded([&] { return Abi::CreateString(ToUtf16(SessionId()), sessionId); });
  }

  Abi::HRESULT get_OrderId(Abi::HSTRING* name) noexcept override {
    return Guarded([&] { return Abi::CreateString(ToUtf16(Target::OrderId()), name); });
  }

  Abi::HRESULT get_OrderTotal(Abi::HSTRING* name) noexcept override {
    return Guarded([&] { return Abi::CreateString(ToUtf16(Target::OrderTotal()), name); });
  }

  Abi::HRESULT get_ProductPurchasedId(Abi::HSTRING* name) noexcept override {
    return Guarded([&] { return Abi::CreateString(ToUtf16(Target::ProductPurchasedId()), name); });
  }

  Abi::HRESULT CreateRequest(Abi::HSTRING name, Abi::HSTRING defaultContent,
                             Abi::StringMapInterface* parameters,
                             Abi::ITargetLocationRequest** request) noexcept override {
    return Deliver(request, [&] {
      return MakeTargetLocationRequest(
          Target::CreateRequest(Utf8Of(name), Utf8Of(defaultContent), ReadStrings(parameters)));
    });
  }

  Abi::HRESULT CreateOrderConfirmRequest(Abi::HSTRING name, Abi::HSTRING orderId,
                                         Abi::HSTRING orderTotal, Abi::HSTRING productPurchasedId,
                                         Abi::StringMapInterface* parameters,
                                         Abi::ITargetLocationRequest** request) noexcept override {
    return Deliver(request, [&] {
      return MakeTargetLocationRequest(
          Target::CreateOrderConfirmRequest(Utf8Of(name), Utf8Of(orderId), Utf8Of(orderTotal),
                                            Utf8Of(productPurchasedId), ReadStrings(parameters)));
    });
  }

  Abi::HRESULT ClearStoredIds() noexcept override { return Perform(PostClearStoredIds); }

 private:
  std::u16string_view ClassName() const noexcept override { return u"Veltro.Target"; }
};

}  // namespace

Abi::IActivationFactory* MakeTargetFactory() { return new TargetFactory; }

}  // namespace Veltro::Internal
