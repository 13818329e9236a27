#include "target/content_ids.h"

#include <string_view>
#include <utility>

#include "base/utf.h"
#include "core/assigned_id.h"

namespace Veltro::Internal {
namespace {

/// The names of the cookies; the settings have the same.
constexpr const char* kPcId = "mboxPC";
constexpr const char* kSessionId = "mboxSession";

void LoadId(SettingsStore& settings, const char* name, std::string& id) {
  if (!id.empty()) return;
  std::string stored = ToUtf8(settings.ReadString(ToUtf16(name)));
  if (IsAssignedId<char>(stored)) id = std::move(stored);
}

void PutId(RequestHandler& request, const char* name, const std::string& id) {
  request.ClearCookie(name);
  if (!id.empty()) request.SetCookie(name, id);
}

void TakeId(RequestHandler& request, SettingsStore& settings, const char* name, std::string& id) {
  std::string received = request.GetCookie(name);
  if (!IsAssignedId<char>(received) || received == id) return;
  settings.Write(ToUtf16(name), ToUtf16(received));
  id = std::move(received);
}

}  // namespace

ContentIds::Values ContentIds::InMemory() const {
  const std::lock_guard lock(valuesMutex_);
  return values_;
}

ContentIds::Loaded ContentIds::Load() {
  const std::lock_guard lock(exchangeMutex_);
  Values values = InMemory();
  LoadId(settings_, kPcId, values.pcId);
  LoadId(settings_, kSessionId, values.sessionId);
  Set(values);
  return {std::move(values), generation_};
}

ContentIds::Exchange::Exchange(ContentIds& ids, const Loaded& sent, RequestHandler& request)
    : ids_(ids), generation_(sent.generation), request_(request) {
  const std::lock_guard lock(ids_.exchangeMutex_);
  if (IsStale()) {
    ++ids_.staleRequests_;
    return;
  }
  mayTakeCookies_ = ids_.staleRequests_ == 0;
  if (ids_.requestsUnderWay_++ == 0) ids_.PutCookies(request_);
}

ContentIds::Exchange::~Exchange() {
  const std::lock_guard lock(ids_.exchangeMutex_);
  if (!IsStale()) {
    --ids_.requestsUnderWay_;
  } else if (--ids_.staleRequests_ == 0) {
    ids_.PutCookies(request_);
  }
}

void ContentIds::Exchange::TakeCookies() const {
  const std::lock_guard lock(ids_.exchangeMutex_);
  if (!mayTakeCookies_ || IsStale()) return;
  Values values = ids_.InMemory();
  TakeId(request_, ids_.settings_, kPcId, values.pcId);
  TakeId(request_, ids_.settings_, kSessionId, values.sessionId);
  ids_.Set(std::move(values));
}

void ContentIds::Clear(RequestHandler& request) {
  const std::lock_guard lock(exchangeMutex_);
  ++generation_;
  staleRequests_ += std::exchange(requestsUnderWay_, 0);
  Set({});
  PutCookies(request);
  settings_.Remove(ToUtf16(kPcId));
  settings_.Remove(ToUtf16(kSessionId));
}

void ContentIds::PutCookies(RequestHandler& request) const {
  const Values values = InMemory();
  PutId(request, kPcId, values.pcId);
  PutId(request, kSessionId, values.sessionId);
}

void ContentIds::Set(Values values) {
  const std::lock_guard lock(valuesMutex_);
  values_ = std::move(values);
}

}  // namespace Veltro::Internal
