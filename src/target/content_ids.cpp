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

void SendId(RequestHandler& request, const char* name, const std::string& id) {
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

ContentIds::Exchange::Exchange(ContentIds& ids) : ids_(ids) {
  const std::lock_guard lock(ids_.exchangeMutex_);
  ids_.Load();
  sent_ = ids_.InMemory();
  generation_ = ids_.generation_;
}

ContentIds::Exchange::~Exchange() {
  const std::lock_guard lock(ids_.exchangeMutex_);
  if (isUnderWay_) --ids_.requestsUnderWay_;
}

void ContentIds::Exchange::SendCookies(RequestHandler& request) {
  const std::lock_guard lock(ids_.exchangeMutex_);
  isUnderWay_ = true;
  if (ids_.requestsUnderWay_++ > 0) return;
  const Values values = ids_.InMemory();
  SendId(request, kPcId, values.pcId);
  SendId(request, kSessionId, values.sessionId);
}

void ContentIds::Exchange::TakeCookies(RequestHandler& request) const {
  const std::lock_guard lock(ids_.exchangeMutex_);
  if (generation_ != ids_.generation_) return;
  Values values = ids_.InMemory();
  TakeId(request, ids_.settings_, kPcId, values.pcId);
  TakeId(request, ids_.settings_, kSessionId, values.sessionId);
  ids_.Set(std::move(values));
}

void ContentIds::Clear(RequestHandler& request) {
  const std::lock_guard lock(exchangeMutex_);
  ++generation_;
  Set({});
  request.ClearCookie(kPcId);
  request.ClearCookie(kSessionId);
  settings_.Remove(ToUtf16(kPcId));
  settings_.Remove(ToUtf16(kSessionId));
}

void ContentIds::Load() {
  Values values = InMemory();
  LoadId(settings_, kPcId, values.pcId);
  LoadId(settings_, kSessionId, values.sessionId);
  Set(std::move(values));
}

void ContentIds::Set(Values values) {
  const std::lock_guard lock(valuesMutex_);
  values_ = std::move(values);
}

}  // namespace Veltro::Internal
