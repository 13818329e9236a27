#include "bare_client.h"

#include <curl/curl.h>

#include <chrono>
#include <memory>
#include <stdexcept>

namespace Veltro::Bench {

double RunBareClient(const std::string& url, int count) {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(),
                                                                 curl_easy_cleanup);
  const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
      curl_slist_append(curl_slist_append(nullptr, "Accept-Language: en-GB"),
                        "User-Agent: Mozilla/5.0 (Linux.Desktop 6.1; Acme Box 7; en-GB) Shop/1.0"),
      curl_slist_free_all);
  curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(easy.get(), CURLOPT_TIMEOUT_MS, 5000L);
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < count; ++i) {
    curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
    if (curl_easy_perform(easy.get()) != CURLE_OK) throw std::runtime_error("no answer");
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace Veltro::Bench
