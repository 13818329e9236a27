#pragma once

#include <map>
#include <string>

namespace Veltro {

/// What to ask the content server for. Texts are UTF-8.
struct TargetLocationRequest {
  std::string Name;            ///< the place of the application that the content is for; required
  std::string DefaultContent;  ///< what to show when nothing better comes back

  /// Further parameters of the request. Those with an empty key or value are left out.
  std::map<std::string, std::string> Parameters;
};

/// Parameters that the content server knows by name, besides those that `Target` names.
inline constexpr char kTargetCategoryId[] = "categoryId";
inline constexpr char kTargetThirdPartyId[] = "mbox3rdPartyId";
inline constexpr char kTargetPageValue[] = "mboxPageValue";
inline constexpr char kTargetHost[] = "mboxHost";

}  // namespace Veltro
