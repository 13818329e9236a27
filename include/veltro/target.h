#pragma once

#include <map>
#include <string>
#include <string_view>

#include "veltro/async_operation.h"
#include "veltro/export.h"
#include "veltro/target_location_request.h"

namespace Veltro {

/// Content for named places of the application, chosen by the content server. It needs "target" in
/// the configuration file. Texts are UTF-8. Every function may be called from any thread, returns
/// without waiting for disk or network, and never throws.
class VELTRO_EXPORT Target {
 public:
  /// Asks for the content of a location, and yields it. The request tells the server of the last
  /// launch, of the point of interest the user is at and of the user's lifetime value, as earlier
  /// calls left them.
  ///
  /// Yields the default content when the server has none, does not answer within the "timeout" of
  /// the configuration (seconds, 2 by default) or fails, when the request has no name, and while
  /// the user has not opted in. Yields "" when there is no content server in the configuration.
  static AsyncOperation<std::string> LoadRequest(const TargetLocationRequest& request);

  /// The identifier of the user's profile that the content server has handed out, once this run has
  /// asked it for content; else empty.
  static std::string GetPcId();

  /// That of the user's session.
  static std::string GetSessionId();

  /// The names of the parameters that confirm an order.
  static std::string OrderId();             ///< "orderId"
  static std::string OrderTotal();          ///< "orderTotal"
  static std::string ProductPurchasedId();  ///< "productPurchasedId"

  /// A request of these three.
  static TargetLocationRequest CreateRequest(
      std::string_view name, std::string_view defaultContent,
      const std::map<std::string, std::string>& parameters = {});

  /// A request that confirms an order: empty default content, and the three values, as far as they
  /// are not empty, among the parameters, in place of those of the same name.
  static TargetLocationRequest CreateOrderConfirmRequest(
      std::string_view name, std::string_view orderId, std::string_view orderTotal,
      std::string_view productPurchasedId,
      const std::map<std::string, std::string>& parameters = {});

  /// Forgets the identifiers of profile and session, for later runs too, so that the content server
  /// meets a new user. Takes effect in the order of the calls.
  static void ClearStoredIds();
};

}  // namespace Veltro
