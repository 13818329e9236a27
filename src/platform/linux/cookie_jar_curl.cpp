#include "platform/linux/cookie_jar_curl.h"

#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

#include "platform/http_transport.h"
#include "platform/linux/environment.h"
#include "platform/linux/process_end.h"
#include "platform/linux/registrable_domain.h"
#include "platform/linux/thread_signals.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr const char* kFileName = "cookies.txt";
constexpr std::string_view kFileHead = "# Netscape HTTP Cookie File\n";
constexpr std::int64_t kNever = 253402300799;  // the end of the year 9999
constexpr std::int64_t kLongAgo = 1;           // 0 would make it a cookie without an expiry
constexpr std::chrono::seconds kPauseBetweenSaves(1);
constexpr std::size_t kMaxCookies = 200;

bool IsVisibleWithout(std::string_view text, std::string_view excluded) {
  return std::all_of(text.begin(), text.end(), [&](char character) {
    return character > ' ' && character < 0x7F && excluded.find(character) == excluded.npos;
  });
}

bool CanBeCookie(const std::string& name, const std::string& value) {
  return !name.empty() && IsVisibleWithout(name, ";=") && IsVisibleWithout(value, ";");
}

}  // namespace

CookieJarCurl::CookieJarCurl(std::unique_ptr<LocalFolder> folder,
                             std::function<void(const std::string&)> onProblem)
    : folder_(std::move(folder)), onProblem_(std::move(onProblem)) {}

CookieJarCurl::~CookieJarCurl() {
  {
    std::lock_guard lock(mutex_);
    isEnding_ = true;
    changed_.notify_one();
  }
  if (saver_.joinable()) saver_.join();
  if (easy_) Save();
}

CURLSH* CookieJarCurl::Share() {
  RequireStore();
  return share_.get();
}

void CookieJarCurl::Set(const std::string& url, const std::string& name, const std::string& value) {
  const auto target = CookieTargetOf(url);
  if (!target || !CanBeCookie(name, value)) return;
  RequireStore();
  const auto domain = RegistrableDomain(target->host);
  CookieLine cookie;
  cookie.domain = domain.value_or(target->host);
  cookie.isDomainWide = domain.has_value();
  cookie.expires = kNever;
  cookie.name = name;
  cookie.value = value;
  {
    std::lock_guard lock(mutex_);
    Put(cookie);
  }
  SaveSoon();
}

void CookieJarCurl::Clear(const std::string& url, const std::string& name) {
  RequireStore();
  {
    std::lock_guard lock(mutex_);
    std::vector<CookieLine> cookies = CookiesFor(url, name);
    if (cookies.empty()) return;
    for (CookieLine& cookie : cookies) {
      cookie.expires = kLongAgo;
      Put(cookie);
    }
  }
  SaveSoon();
}

std::string CookieJarCurl::Get(const std::string& url, const std::string& name) {
  RequireStore();
  std::lock_guard lock(mutex_);
  const std::vector<CookieLine> cookies = CookiesFor(url, name);
  const auto first = std::min_element(cookies.begin(), cookies.end(), IsMoreSpecific);
  return first == cookies.end() ? "" : first->value;
}

bool CookieJarCurl::ForgetAll(std::chrono::milliseconds timeout) {
  RequireStore();
  {
    const std::lock_guard lock(mutex_);
    ++generation_;
    ClearMemory();
  }
  SaveSoon();
  return WaitUntilSaved(timeout) && savedGeneration_ == generation_;
}

void CookieJarCurl::Keep(std::uint32_t generation) {
  if (generation != generation_) {
    const std::lock_guard lock(mutex_);
    ClearMemory();
  }
  SaveSoon();
}

/// With the lock held.
void CookieJarCurl::ClearMemory() { curl_easy_setopt(easy_.get(), CURLOPT_COOKIELIST, "ALL"); }

void CookieJarCurl::SaveSoon() {
  std::optional<std::string> problem;
  {
    std::lock_guard lock(mutex_);
    hasChanged_ = true;
    changed_.notify_one();
    if (saver_.joinable()) return;
    try {
      saver_ = std::thread([this] { RunSaver(); });
    } catch (const std::system_error& error) {
      problem = error.what();
    }
  }
  if (problem) Report(*problem);
}

bool CookieJarCurl::WaitUntilSaved(std::chrono::milliseconds timeout) {
  std::unique_lock lock(mutex_);
  isUrgent_ = hasChanged_;
  changed_.notify_one();
  return saved_.wait_for(lock, timeout, [this] { return !hasChanged_ && !isSaving_; });
}

void CookieJarCurl::OnLock(CURL*, curl_lock_data data, curl_lock_access, void* mutexes) {
  (*static_cast<Mutexes*>(mutexes))[data].lock();
}

void CookieJarCurl::OnUnlock(CURL*, curl_lock_data data, void* mutexes) {
  (*static_cast<Mutexes*>(mutexes))[data].unlock();
}

void CookieJarCurl::RequireStore() {
  std::optional<std::string> problem;
  std::call_once(loaded_, [&] {
    MakeStore();
    problem = Load();
  });
  if (problem) Report(*problem);
}

void CookieJarCurl::MakeStore() {
  static std::once_flag initialised;
  std::call_once(initialised, [] {
    // Where TLS keys would be written, with rights that whoever sets it does not have.
    if (RunsWithRaisedRights()) unsetenv("SSLKEYLOGFILE");
    curl_global_init(CURL_GLOBAL_DEFAULT);
    SaveAtProcessEndFirst();  // it may have started a TLS library, which tidies up
  });
  share_.reset(curl_share_init());
  easy_.reset(curl_easy_init());
  if (!share_ || !easy_) throw PlatformError(kHttpUnknownError, "libcurl cannot start");
  curl_share_setopt(share_.get(), CURLSHOPT_LOCKFUNC, &OnLock);
  curl_share_setopt(share_.get(), CURLSHOPT_UNLOCKFUNC, &OnUnlock);
  curl_share_setopt(share_.get(), CURLSHOPT_USERDATA, &shareMutexes_);
  curl_share_setopt(share_.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
  curl_easy_setopt(easy_.get(), CURLOPT_SHARE, share_.get());
}

/// Takes what the file holds, unless it is known to be newer; gives what is wrong with the file.
std::optional<std::string> CookieJarCurl::Load() {
  std::string text(kFileHead);  // nothing to keep needs no file
  try {
    if (auto stored = folder_->Read(kFileName)) text = *std::move(stored);
  } catch (const PlatformError& error) {
    return error.what();
  }
  std::lock_guard lock(mutex_);
  const std::vector<CookieLine> newer = Cookies();
  savedText_ = std::move(text);
  isLoaded_ = true;
  std::string_view rest = savedText_;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), line.size() + 1));
    const auto cookie = ParseCookieLine(line);
    if (cookie && cookie->expires != 0) Put(*cookie);
  }
  for (const CookieLine& cookie : newer) Put(cookie);
  return std::nullopt;
}

/// Replaces a cookie of that name, domain, reach and path. One that has expired is thereby removed.
void CookieJarCurl::Put(const CookieLine& cookie) {
  curl_easy_setopt(easy_.get(), CURLOPT_COOKIELIST, FormatCookieLine(cookie).c_str());
}

/// All that have not expired; libcurl lists some that have.
std::vector<CookieLine> CookieJarCurl::Cookies() {
  curl_slist* lines = nullptr;
  curl_easy_getinfo(easy_.get(), CURLINFO_COOKIELIST, &lines);
  const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> owner(lines,
                                                                          curl_slist_free_all);
  const std::int64_t now = time(nullptr);
  std::vector<CookieLine> cookies;
  for (; lines != nullptr; lines = lines->next) {
    auto cookie = ParseCookieLine(lines->data);
    const bool isAlive = cookie && (cookie->expires == 0 || cookie->expires > now);
    if (isAlive) cookies.push_back(std::move(*cookie));
  }
  return cookies;
}

std::vector<CookieLine> CookieJarCurl::CookiesFor(const std::string& url, const std::string& name) {
  const auto target = CookieTargetOf(url);
  if (!target) return {};
  std::vector<CookieLine> cookies = Cookies();
  std::erase_if(cookies, [&](const CookieLine& cookie) {
    return cookie.name != name || !IsSentTo(cookie, *target);
  });
  return cookies;
}

/// Ends the cookies that are too many, those first that would end soonest.
void CookieJarCurl::Trim(std::vector<CookieLine>& cookies) {
  while (cookies.size() > kMaxCookies) {
    const auto first = std::min_element(
        cookies.begin(), cookies.end(),
        [](const CookieLine& a, const CookieLine& b) { return a.expires < b.expires; });
    first->expires = kLongAgo;
    Put(*first);
    cookies.erase(first);
  }
}

/// What the file is to hold, and the generation that this belongs to.
std::string CookieJarCurl::Text(std::uint32_t& generation) {
  std::lock_guard lock(mutex_);
  generation = generation_;
  std::vector<CookieLine> cookies = Cookies();
  Trim(cookies);
  std::string text(kFileHead);
  for (const CookieLine& cookie : cookies) {
    if (cookie.expires > kLongAgo) text += FormatCookieLine(cookie) + '\n';
  }
  return text;
}

void CookieJarCurl::RunSaver() {
  BlockSignals();
  auto nextSave = std::chrono::steady_clock::now();
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [this] { return hasChanged_ || isEnding_; });
    changed_.wait_until(lock, nextSave, [this] { return isUrgent_ || isEnding_; });
    if (isEnding_) return;
    hasChanged_ = isUrgent_ = false;
    isSaving_ = true;
    lock.unlock();
    Save();
    nextSave = std::chrono::steady_clock::now() + kPauseBetweenSaves;
    lock.lock();
    isSaving_ = false;
    saved_.notify_all();
  }
}

/// A file that could not be read is not overwritten before it has been, unless all of it is to go.
void CookieJarCurl::Save() {
  const bool mayWrite = isLoaded_ || generation_ != 0;
  const std::optional<std::string> problem = mayWrite ? std::nullopt : Load();
  if (problem) return Report(*problem);
  std::uint32_t generation = 0;
  std::string text = Text(generation);
  if (text == savedText_ && generation == savedGeneration_) return;
  try {
    Write(text);
    savedText_ = std::move(text);
    savedGeneration_ = generation;
  } catch (const PlatformError& error) {
    Report(error.what());
  }
}

void CookieJarCurl::Write(const std::string& text) {
  if (text == kFileHead) return folder_->Remove(kFileName);
  const auto file = folder_->Replace(kFileName);
  file->Append(text);
  file->Commit();
}

void CookieJarCurl::Report(const std::string& problem) {
  if (hasReported_.exchange(true) || !onProblem_) return;
  onProblem_("Unable to store cookies (" + problem + "), keeping them in memory");
}

}  // namespace Veltro::Internal
