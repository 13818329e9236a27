#pragma once

#include <string>

namespace Veltro::Bench {

/// Asks for `url` `count` times, one request after the other over one connection, with libcurl and
/// nothing else. Returns the seconds that took. Throws when a request fails.
double RunBareClient(const std::string& url, int count);

}  // namespace Veltro::Bench
