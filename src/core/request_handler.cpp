#include "core/request_handler.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "base/utf.h"
#include "core/log.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

std::int32_t ReadStatus(HttpResult& result) { return result.status; }

std::string ReadBody(HttpResult& result) {
  if (!result.bodyIsWhole) throw PlatformError("the answer is too long");
  if (result.status < 200 || result.status > 299) {
    throw PlatformError("the server answered with status " + std::to_string(result.status));
  }
  return ToUtf8(ToUtf16(result.body));
}

/// What `read` makes of an answer, or `onTimeOut`. Throws `PlatformError` when there is none.
template <class T>
T Judge(HttpResult& answer, T (*read)(HttpResult&), T onTimeOut) {
  if (answer.outcome == HttpResult::Outcome::Cancelled) {
    LogDebug("Request Handler - Request timed out");
    return onTimeOut;
  }
  if (answer.outcome == HttpResult::Outcome::Failed) {
    LogDebug("Request Handler - Error processing request (%s)", RequestErrorText(answer.error));
    throw PlatformError(answer.error, std::string(RequestErrorText(answer.error)));
  }
  try {
    return read(answer);
  } catch (const PlatformError& error) {
    LogDebug("Request Handler - Error processing request (%s)", error.what());
    throw;
  }
}

}  // namespace

template <class T>
T RequestTask<T>::Get() {
  HttpResult answer = answer_.get();
  peerIsPublic_ = answer.peerIsPublic;
  return Judge(answer, read_, std::move(onTimeOut_));
}

template class RequestTask<std::int32_t>;
template class RequestTask<std::string>;

RequestHandler::RequestHandler(HttpTransport& transport, std::string uri,
                               std::chrono::milliseconds timeout)
    : transport_(transport), request_{std::move(uri), {}, timeout} {}

void RequestHandler::AddHeader(std::string_view name, std::string_view value) {
  auto& headers = request_.headers;
  const auto same = std::find_if(headers.begin(), headers.end(),
                                 [&](const HttpHeader& header) { return header.name == name; });
  if (same != headers.end()) {
    same->value = value;
  } else {
    headers.push_back({std::string(name), std::string(value)});
  }
}

RequestTask<std::int32_t> RequestHandler::GetStatusAsync() {
  return {Start(), ReadStatus, kRequestTimeoutStatus};
}

RequestTask<std::string> RequestHandler::GetStringAsync() { return {Start(), ReadBody, ""}; }

std::int32_t RequestHandler::GetStatus(HttpConnection& connection) const {
  HttpResult answer = connection.Get(request_);
  return Judge(answer, ReadStatus, kRequestTimeoutStatus);
}

std::string RequestHandler::GetString(HttpConnection& connection) const {
  HttpResult answer = connection.Get(request_);
  return Judge(answer, ReadBody, std::string());
}

void RequestHandler::SetCookie(const std::string& name, const std::string& value) {
  transport_.SetCookie(request_.url, name, value);
}

void RequestHandler::ClearCookie(const std::string& name) {
  transport_.ClearCookie(request_.url, name);
}

std::string RequestHandler::GetCookie(const std::string& name) {
  return transport_.GetCookie(request_.url, name);
}

std::future<HttpResult> RequestHandler::Start() {
  const auto promise = std::make_shared<std::promise<HttpResult>>();
  transport_.Get(request_, [promise](HttpResult answer) { promise->set_value(std::move(answer)); });
  return promise->get_future();
}

std::string_view RequestErrorText(std::uint32_t hresult) {
  switch (hresult) {
    case 0x80070002:
      return "The system cannot find the file specified.";
    // The bare code, not its HRESULT form 0x8007007B: that one is unknown.
    case kHttpBadUrl:
      return "The syntax used in the uri parameter is incorrect.";
    case 0x8000000E:
      return "A method was called at an unexpected time.";
    case 0x80000013:
      return "The object has been closed.";
    case 0x80070057:
      return "The uri parameter was a null reference.";
    case kHttpNameNotResolved:
      return "The server name or address specified in the uri parameter could not be resolved.";
    case kHttpCannotConnect:
      return "A connection with the server specified in the uri parameter could not be "
             "established.";
    case kHttpConnectionClosed:
      return "The connection with the server was terminated abnormally.";
    case kHttpConnectionReset:
      return "The connection with the server was reset.";
    case 0x800C0005:
      return "The system cannot locate the resource specified in the uri parameter.";
    case kHttpRedirectFailed:
    case 0x800C0014:
      return "A redirection problem occurred.";
    case 0x80072EEE:
      return "An incorrect password was presented to the server.";
    case kHttpTlsFailed:
      return "There was a problem connecting to the server.";
    default:
      return "Unknown COMException";
  }
}

}  // namespace Veltro::Internal
