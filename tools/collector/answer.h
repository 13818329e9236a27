#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "collector/fault.h"

namespace httplib {
struct Response;
}

namespace Veltro::Collector {

/// What a request is answered with when nothing goes wrong.
struct Answer {
  std::int32_t status = 200;
  std::string body{};
  std::string contentType = "text/plain";
  std::vector<std::string> cookies{};  ///< to set, as in "name=value; Path=/"
};

/// The status that a request gets when `fault` happens to `answer`; 0: none.
std::int32_t StatusUnder(const std::optional<Fault>& fault, const Answer& answer);

/// Inside a handler of `HttpServer`: answers the present request with `answer`, or lets `fault`
/// happen to it, however long that takes. Whether the request is answered at all.
bool Send(const Answer& answer, const std::optional<Fault>& fault, httplib::Response& response);

}  // namespace Veltro::Collector
