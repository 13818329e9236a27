#include "veltro/target.h"

#include "api/calls.h"
#include "api/entry.h"

namespace Veltro {

using namespace Internal;

AsyncOperation<std::string> Target::LoadRequest(const TargetLocationRequest& request) {
  return AskForContent(request);
}

std::string Target::GetPcId() {
  std::string id;
  Enter([&] { id = PcId(); });
  return id;
}

std::string Target::GetSessionId() {
  std::string id;
  Enter([&] { id = SessionId(); });
  return id;
}

std::string Target::OrderId() { return "orderId"; }

std::string Target::OrderTotal() { return "orderTotal"; }

std::string Target::ProductPurchasedId() { return "productPurchasedId"; }

TargetLocationRequest Target::CreateRequest(std::string_view name, std::string_view defaultContent,
                                            const std::map<std::string, std::string>& parameters) {
  return {std::string(name), std::string(defaultContent), parameters};
}

TargetLocationRequest Target::CreateOrderConfirmRequest(
    std::string_view name, std::string_view orderId, std::string_view orderTotal,
    std::string_view productPurchasedId, const std::map<std::string, std::string>& parameters) {
  TargetLocationRequest request = CreateRequest(name, "", parameters);
  const auto put = [&request](const std::string& key, std::string_view value) {
    if (!value.empty()) request.Parameters[key] = value;
  };
  put(OrderId(), orderId);
  put(OrderTotal(), orderTotal);
  put(ProductPurchasedId(), productPurchasedId);
  return request;
}

void Target::ClearStoredIds() { Enter(PostClearStoredIds); }

}  // namespace Veltro
