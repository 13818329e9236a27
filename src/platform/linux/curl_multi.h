#pragma once

#include <curl/curl.h>

#include <memory>

namespace Veltro::Internal {

struct CurlMultiCleanup {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};

/// A libcurl multi handle, which carries out transfers for one thread at a time.
using CurlMulti = std::unique_ptr<CURLM, CurlMultiCleanup>;

/// A multi handle, once libcurl has been started. Throws `PlatformError` when there is none to be
/// had, or none that can be woken from its wait.
CurlMulti MakeCurlMulti();

/// Sleeps until libcurl has something to do or `curl_multi_wakeup` is called, from any thread.
void WaitForCurlMulti(CURLM* multi);

}  // namespace Veltro::Internal
