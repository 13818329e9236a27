#include "platform/linux/http_transfer_curl.h"

#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/linux/cookie_line.h"
#include "platform/linux/device_facts_linux.h"
#include "platform/linux/environment.h"
#include "platform/linux/public_address.h"

namespace Veltro::Internal {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kMaxHeaderBytes = 256 * 1024;

/// libcurl sends no request of more than 1 MiB, which the headers have their part of.
constexpr std::size_t kMaxUrlBytes = 992 * 1024ULL;

constexpr const char* kProtocols = "http,https";
constexpr milliseconds kLongestTimeout = std::chrono::hours(24);

bool StartsWith(std::string_view text, std::string_view lowerCasePrefix) {
  if (text.size() < lowerCasePrefix.size()) return false;
  return std::equal(lowerCasePrefix.begin(), lowerCasePrefix.end(), text.begin(),
                    [](char expected, char character) {
                      return expected == (character >= 'A' && character <= 'Z'
                                              ? static_cast<char>(character | 0x20)
                                              : character);
                    });
}

/// Keeps a value from ending its line and starting another header.
std::string WithoutControls(std::string_view text) {
  std::string clean;
  std::copy_if(text.begin(), text.end(), std::back_inserter(clean), [](char character) {
    const auto code = static_cast<unsigned char>(character);
    return code >= 0x20 && code != 0x7F;
  });
  return clean;
}

bool IsRedirectStatus(std::int32_t status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

/// Opens sockets for libcurl, to public addresses only.
curl_socket_t OpenSocket(void*, curlsocktype, curl_sockaddr* address) {
  if (!IsPublicAddress(address->addr)) return CURL_SOCKET_BAD;
  return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

bool MayUseProxy() {
  constexpr std::array kVariables = {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy",
                                     "ALL_PROXY"};
  return std::any_of(kVariables.begin(), kVariables.end(),
                     [](const char* name) { return EnvironmentVariable(name).has_value(); });
}

bool CanBeParsed(const std::string& url) {
  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parsed(curl_url(), curl_url_cleanup);
  return parsed && curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) == CURLUE_OK;
}

}  // namespace

HttpTransferCurl::HttpTransferCurl(const Options& options, CookieJarCurl& cookies)
    : cookies_(cookies) {
  CURLSH* const share = cookies.Share();  // starts libcurl
  easy_.reset(curl_easy_init());
  if (!easy_) throw PlatformError(kHttpUnknownError, "libcurl cannot start");
  curl_easy_setopt(easy_.get(), CURLOPT_SHARE, share);
  curl_easy_setopt(easy_.get(), CURLOPT_COOKIEFILE, "");  // names no file, but makes cookies count
  SetConstantOptions(options);
}

void HttpTransferCurl::SetConstantOptions(const Options& options) {
  CURL* const easy = easy_.get();
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, kProtocols);
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, kProtocols);
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_HTTP09_ALLOWED, 0L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
  if (!options.caFile.empty()) curl_easy_setopt(easy, CURLOPT_CAINFO, options.caFile.c_str());
  curl_easy_setopt(easy, CURLOPT_ACCEPT_ENCODING, "");  // all that libcurl can decode
  curl_easy_setopt(easy, CURLOPT_TCP_NODELAY, 1L);
  curl_easy_setopt(easy, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  const bool mayUseProxy = options.mayUseProxy && !RunsWithRaisedRights();
  if (!mayUseProxy) curl_easy_setopt(easy, CURLOPT_PROXY, "");
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorText_.data());
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &OnBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &OnHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy, CURLOPT_PRIVATE, this);
}

HttpTransferCurl::Next HttpTransferCurl::Start(const HttpRequest& request, TimePoint deadline) {
  deadline_ = deadline;
  publicHostsOnly_ = request.publicHostsOnly;
  redirects_ = 0;
  cookieGeneration_ = cookies_.Generation();
  result_ = {};
  if (TimeLeft() <= milliseconds(0)) return Next::Ended;
  if (!IsWebUrl(request.url)) return Failed(kHttpBadUrl, "The URL is not an http or https one");
  HeaderList headers = MakeHeaders(request.headers);
  curl_easy_setopt(Easy(), CURLOPT_HTTPHEADER, headers.get());
  headers_ = std::move(headers);
  return StartLeg(request.url.c_str());
}

HttpTransferCurl::Next HttpTransferCurl::FinishLeg(CURLcode code) {
  long status = 0;
  curl_easy_getinfo(Easy(), CURLINFO_RESPONSE_CODE, &status);
  result_.status = static_cast<std::int32_t>(status);
  if (redirects_ == 0) firstPeerIsPublic_ = IsPeerPublic();
  if (code == CURLE_WRITE_ERROR && !result_.bodyIsWhole) return Answered();
  if (code == CURLE_OPERATION_TIMEDOUT) {
    result_ = {};
    return Next::Ended;
  }
  if (code != CURLE_OK) {
    return Failed(HttpErrorOf(code),
                  errorText_[0] != '\0' ? errorText_.data() : curl_easy_strerror(code));
  }
  const std::string target = RedirectTarget();
  if (target.empty()) return Answered();
  if (redirects_ == kMaxHttpRedirects) return Failed(kHttpRedirectFailed, "Too many redirects");
  ++redirects_;
  return StartLeg(target.c_str());
}

std::size_t HttpTransferCurl::OnBody(char* bytes, std::size_t, std::size_t count, void* transfer) {
  HttpResult& result = static_cast<HttpTransferCurl*>(transfer)->result_;
  const std::size_t taken = std::min(count, kMaxHttpBodyBytes - result.body.size());
  result.body.append(bytes, taken);
  if (taken < count) result.bodyIsWhole = false;
  return taken;  // fewer than there are ends the transfer
}

std::size_t HttpTransferCurl::OnHeader(char* bytes, std::size_t, std::size_t count,
                                       void* transfer) {
  auto& self = *static_cast<HttpTransferCurl*>(transfer);
  if (StartsWith({bytes, count}, "set-cookie:")) self.broughtCookies_ = true;
  self.headerBytes_ += count;
  return self.headerBytes_ <= kMaxHeaderBytes ? count : 0;
}

HttpTransferCurl::HeaderList HttpTransferCurl::MakeHeaders(const std::vector<HttpHeader>& headers) {
  HeaderList list;
  for (const HttpHeader& header : headers) {
    const std::string name = WithoutControls(header.name);
    const std::string value = WithoutControls(header.value);
    if (name.empty()) continue;
    // To libcurl "name:" means to leave the header out, "name;" to send it empty.
    const std::string line = value.empty() ? name + ";" : name + ": " + value;
    curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    if (!list) list.reset(longer);
  }
  return list;
}

HttpTransferCurl::Next HttpTransferCurl::StartLeg(const char* url) {
  result_ = {};
  headerBytes_ = 0;
  errorText_[0] = '\0';
  const milliseconds left = TimeLeft();
  if (left <= milliseconds(0)) return Next::Ended;
  if (std::strlen(url) > kMaxUrlBytes) return Failed(kHttpBadUrl, "The URL is too long");
  curl_easy_setopt(Easy(), CURLOPT_TIMEOUT_MS, static_cast<long>(left.count()));
  SetAddressRule();
  const CURLcode code = curl_easy_setopt(Easy(), CURLOPT_URL, url);
  if (code != CURLE_OK) return Failed(HttpErrorOf(code), curl_easy_strerror(code));
  return Next::AnotherLeg;
}

/// A connection that is open already has got around the rule: such a leg shares none.
void HttpTransferCurl::SetAddressRule() {
  const long isRestricted = publicHostsOnly_ ? 1 : 0;
  curl_easy_setopt(Easy(), CURLOPT_OPENSOCKETFUNCTION, publicHostsOnly_ ? &OpenSocket : nullptr);
  curl_easy_setopt(Easy(), CURLOPT_FRESH_CONNECT, isRestricted);
  curl_easy_setopt(Easy(), CURLOPT_FORBID_REUSE, isRestricted);
}

/// The address may be that of a proxy, which says nothing of the server: then only a host whose
/// name alone tells that it is near by is taken for such.
bool HttpTransferCurl::IsPeerPublic() const {
  const char* address = nullptr;
  const char* url = nullptr;
  curl_easy_getinfo(Easy(), CURLINFO_PRIMARY_IP, &address);
  curl_easy_getinfo(Easy(), CURLINFO_EFFECTIVE_URL, &url);
  if (address == nullptr || url == nullptr || IsPublicAddress(address)) return true;
  if (!MayUseProxy()) return false;
  const auto target = CookieTargetOf(url);
  return !target || (target->host != address && !IsLoopbackHost(target->host));
}

milliseconds HttpTransferCurl::TimeLeft() const {
  return std::chrono::duration_cast<milliseconds>(deadline_ - std::chrono::steady_clock::now());
}

/// Where the present answer sends us; empty when it is itself the result.
std::string HttpTransferCurl::RedirectTarget() const {
  if (!IsRedirectStatus(result_.status)) return {};
  const char* origin = nullptr;
  const char* target = nullptr;
  curl_easy_getinfo(Easy(), CURLINFO_EFFECTIVE_URL, &origin);
  curl_easy_getinfo(Easy(), CURLINFO_REDIRECT_URL, &target);
  if (origin == nullptr || target == nullptr || !MayRedirect(origin, target)) return {};
  return target;
}

HttpTransferCurl::Next HttpTransferCurl::Answered() {
  result_.outcome = HttpResult::Outcome::Answered;
  result_.peerIsPublic = firstPeerIsPublic_;
  return Next::Ended;
}

HttpTransferCurl::Next HttpTransferCurl::Failed(std::uint32_t error, std::string message) {
  // Behind a redirect it is the server's URL that is bad, not the request's.
  if (error == kHttpBadUrl && redirects_ > 0) error = kHttpRedirectFailed;
  result_ = {};
  result_.outcome = HttpResult::Outcome::Failed;
  result_.error = error;
  result_.errorMessage = std::move(message);
  return Next::Ended;
}

HttpTransferCurl::TimePoint HttpDeadlineAfter(milliseconds timeout) {
  return std::chrono::steady_clock::now() + std::clamp(timeout, milliseconds(0), kLongestTimeout);
}

HttpResult HttpFailure(const PlatformError& error) {
  HttpResult result;
  result.outcome = HttpResult::Outcome::Failed;
  result.error = error.HResult().value_or(kHttpUnknownError);
  result.errorMessage = error.what();
  return result;
}

std::uint32_t HttpErrorOf(CURLcode code) {
  switch (code) {
    case CURLE_URL_MALFORMAT:
      return kHttpBadUrl;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return kHttpNameNotResolved;
    case CURLE_COULDNT_CONNECT:
      return kHttpCannotConnect;
    case CURLE_GOT_NOTHING:
      return kHttpConnectionClosed;
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_PARTIAL_FILE:
      return kHttpConnectionReset;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_USE_SSL_FAILED:
      return kHttpTlsFailed;
    default:
      // Among them CURLE_UNSUPPORTED_PROTOCOL: behind an http URL that is an answer not in HTTP.
      return kHttpUnknownError;
  }
}

bool IsWebUrl(std::string_view url) {
  return StartsWith(url, "http://") || StartsWith(url, "https://");
}

bool MayRedirect(const std::string& origin, const std::string& target) {
  if (StartsWith(origin, "https:") && !StartsWith(target, "https:")) return false;
  return IsWebUrl(target) && CanBeParsed(target);
}

}  // namespace Veltro::Internal
