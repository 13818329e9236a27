#pragma once

#include <curl/curl.h>

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/cookie_line.h"
#include "platform/local_folder.h"

namespace Veltro::Internal {

/// The cookies of all requests: a libcurl store that the requests' handles share, loaded from
/// cookies.txt (Netscape format) by the first use, and saved there. Cookies without an expiry stay
/// in memory. It knows nothing of requests; whoever makes them tells it when an answer brought
/// cookies.
///
/// Safe to use from any thread. Saving is the work of a thread of its own, started with the first
/// change: changes that come while it writes, or within the second after, are written together, and
/// a text that is in the file already is not written again. Dropping the jar saves what is not.
///
/// The jar keeps 200 cookies; when servers set more, those that end soonest go with the next
/// saving.
class CookieJarCurl {
 public:
  /// `onProblem` gets one UTF-8 text when cookies cannot be loaded or saved, once for all such
  /// troubles, outside any lock. The jar then does without the file, and tries to save again with
  /// each change.
  CookieJarCurl(std::unique_ptr<LocalFolder> folder,
                std::function<void(const std::string&)> onProblem);
  ~CookieJarCurl();
  CookieJarCurl(const CookieJarCurl&) = delete;
  CookieJarCurl& operator=(const CookieJarCurl&) = delete;

  /// What handles take as CURLOPT_SHARE to have these cookies. They must go before the jar. The
  /// first call of all starts libcurl.
  CURLSH* Share();

  // Contracts as in HttpTransport.
  void Set(const std::string& url, const std::string& name, const std::string& value);
  void Clear(const std::string& url, const std::string& name);
  std::string Get(const std::string& url, const std::string& name);

  bool ForgetAll(std::chrono::milliseconds timeout);

  /// How often `ForgetAll` was called.
  std::uint32_t Generation() const { return generation_; }

  /// Has the cookies that an answer brought saved soon. When all were cleared since the request
  /// began, at `generation`, these are, too, with all others.
  void Keep(std::uint32_t generation);

  /// Has unsaved cookies saved at once. Whether that is done, or has been tried, within `timeout`.
  bool WaitUntilSaved(std::chrono::milliseconds timeout);

 private:
  struct ShareCleanup {
    void operator()(CURLSH* share) const { curl_share_cleanup(share); }
  };
  struct EasyCleanup {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  };
  using Mutexes = std::array<std::mutex, CURL_LOCK_DATA_LAST>;

  static void OnLock(CURL*, curl_lock_data data, curl_lock_access, void* mutexes);
  static void OnUnlock(CURL*, curl_lock_data data, void* mutexes);

  void RequireStore();
  void MakeStore();
  std::optional<std::string> Load();
  void Put(const CookieLine& cookie);
  std::vector<CookieLine> Cookies();
  std::vector<CookieLine> CookiesFor(const std::string& url, const std::string& name);
  void Trim(std::vector<CookieLine>& cookies);
  std::string Text(std::uint32_t& generation);
  void ClearMemory();
  void SaveSoon();
  void RunSaver();
  void Save();
  void Write(const std::string& text);
  void Report(const std::string& problem);

  const std::unique_ptr<LocalFolder> folder_;
  const std::function<void(const std::string&)> onProblem_;
  std::atomic<bool> hasReported_ = false;

  std::once_flag loaded_;
  Mutexes shareMutexes_;
  std::unique_ptr<CURLSH, ShareCleanup> share_;

  std::mutex mutex_;                         // never held during file access
  std::unique_ptr<CURL, EasyCleanup> easy_;  // reaches the store; of who holds the lock
  bool hasChanged_ = false;
  bool isUrgent_ = false;  // who waits for the saving does not wait for the pause between two
  bool isSaving_ = false;
  bool isEnding_ = false;
  std::condition_variable changed_;
  std::condition_variable saved_;
  std::thread saver_;

  std::atomic<std::uint32_t> generation_ = 0;       // grows under the lock
  std::atomic<std::uint32_t> savedGeneration_ = 0;  // that of what the file holds
  bool isLoaded_ = false;                           // the file has been read; of who saves, as is
  std::string savedText_;                           // what it holds
};

}  // namespace Veltro::Internal
