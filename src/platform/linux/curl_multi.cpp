#include "platform/linux/curl_multi.h"

#include <limits>

#include "platform/http_transport.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {

CurlMulti MakeCurlMulti() {
  CurlMulti multi(curl_multi_init());
  // Without file descriptors for waking it, its thread could never be reached again.
  if (!multi || curl_multi_wakeup(multi.get()) != CURLM_OK) {
    throw PlatformError(kHttpUnknownError, "libcurl cannot start");
  }
  return multi;
}

void WaitForCurlMulti(CURLM* multi) {
  constexpr int kUntilWoken = std::numeric_limits<int>::max();
  curl_multi_poll(multi, nullptr, 0, kUntilWoken, nullptr);
}

}  // namespace Veltro::Internal
