// The audience server's answer, and the profile in the settings: whatever they hold, what is taken
// of them is of the promised form and survives a restart.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "audience/skaipra_response.h"
#include "audience/visitor_profile.h"
#include "base/url_escape.h"
#include "base/utf.h"
#include "fakes/fake_settings.h"
#include "support/check.h"

namespace Veltro::Internal::Fuzz {
namespace {

constexpr std::u16string_view kProfileKey = u"KestrelUserProfile";
constexpr std::u16string_view kUserIdKey = u"KestrelUserId";

/// Whether nothing in `profile` needs escapes in JSON: what does, its stored form does not keep.
bool IsPlain(const StringMap& profile) {
  const auto isPlain = [](char16_t c) { return c >= 0x20 && c != u'"' && c != u'\\'; };
  for (const auto [key, value] : profile) {
    if (!std::all_of(key.begin(), key.end(), isPlain)) return false;
    if (!std::all_of(value.begin(), value.end(), isPlain)) return false;
  }
  return true;
}

/// What a process finds in settings with these values.
struct Visitor {
  Visitor(std::string_view profileText, std::u16string_view userIdText) {
    Testing::FakeSettings map;
    map.Insert(kProfileKey, ToUtf16(profileText));
    map.Insert(kUserIdKey, std::u16string(userIdText));
    SettingsStore settings(map);
    VisitorProfile visitor(settings);
    profile = visitor.GetProfile();
    userId = visitor.GetUserId();
  }

  StringMap profile;
  std::u16string userId;
};

void CheckVisitor(const StringMap& profile, const std::u16string& userId) {
  const auto isVisible = [](char16_t c) { return c > 0x20 && c < 0x7F; };
  Require(userId.size() <= 256 && std::all_of(userId.begin(), userId.end(), isVisible),
          "an identifier is of another form");
  Testing::FakeSettings map;
  SettingsStore settings(map);
  VisitorProfile visitor(settings);
  visitor.StoreProfile(profile, 0);
  visitor.StoreUserId(userId, 0);
  const Visitor again(Stored(ToUtf8(settings.ReadString(kProfileKey))),
                      settings.ReadString(kUserIdKey));
  Require(!IsPlain(profile) || again.profile == profile, "the profile was lost");
  Require(again.userId == userId, "the identifier was lost");
}

void CheckResponse(const std::string& body) {
  const auto response = ParseSkaipraResponse(body);
  if (!response) return;
  for (const std::string& url : response->destinations) {
    Require(IsUrlText(EscapeUrlIllegal(url)), "a destination is no URL text");
  }
  for (const auto [key, value] : response->segments) {
    Require(!key.empty() && !value.empty(), "a segment is empty");
  }
  Require(response->error.empty() || (response->segments.Empty() && response->userId.empty()),
          "a bad answer is taken in part");
  CheckVisitor(response->segments, response->userId);
}

}  // namespace
}  // namespace Veltro::Internal::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Veltro::Internal;
  const std::string text(data, data + size);
  Fuzz::CheckResponse(text);
  const Fuzz::Visitor stored(text, ToUtf16(text));
  Fuzz::CheckVisitor(stored.profile, stored.userId);
  return 0;
}
