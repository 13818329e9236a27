#include "collector/hit_checks.h"

#include <functional>

#include "collector/query.h"

namespace Veltro::Collector {
namespace {

constexpr std::size_t kLongUrl = 8192;
constexpr std::size_t kMostApplications = 1'000;
constexpr std::size_t kMostTargets = 10'000;

void Add(Hit& hit, const char* check, std::string text) {
  hit.findings.push_back({check, std::move(text)});
}

void CheckName(Hit& hit) {
  const HitKind kind = KindOf(hit);
  const std::string name = NameOf(hit);
  if (kind == HitKind::Action && name.empty()) {
    Add(hit, "missing page name", "An action without a name: give TrackAction one.");
  }
  if (kind != HitKind::State) return;
  // The library calls a state without a name like the application.
  if (!name.empty() && name != ValueOf(hit.contextData, "a.AppID")) return;
  Add(hit, "missing page name", "A state without a name of its own: give TrackState one.");
}

void CheckNotes(Hit& hit) {
  if (hit.notes.empty()) return;
  for (const auto note : Split(hit.notes, '\n')) {
    const std::string what = std::string("The ").append(note);
    if (note.starts_with("key ")) {
      Add(hit, "key cleaned", what + ": use only a to z, A to Z, 0 to 9, _ and single dots.");
    } else if (note.starts_with("value of ")) {
      Add(hit, "value left out", what + " cannot be sent: use a text, a number or a Boolean.");
    }
  }
}

void CheckLength(Hit& hit) {
  const std::size_t length = hit.rawTarget.size();
  if (length <= kLongUrl) return;
  Add(hit, "very long URL",
      "The URL has " + std::to_string(length) + " bytes, and many servers refuse more than " +
          std::to_string(kLongUrl) + ": send less context data.");
}

void CheckPrivacy(Hit& hit) {
  if (ValueOf(hit.contextData, "a.privacy.mode") != "unknown") return;
  Add(hit, "privacy unknown",
      "It was tracked before the user chose: ask the user and call SetPrivacyStatus.");
}

void CheckForm(Hit& hit) {
  if (!hit.malformed) return;
  Add(hit, "malformed",
      "The request is not of the form that the library sends: look for another program, or a proxy "
      "in between.");
}

// One visitor of one application, as far as a hit tells.
std::string ApplicationOf(const Hit& hit) {
  std::string application = ValueOf(hit.variables, "aid");
  application.append(",").append(ValueOf(hit.variables, "vid"));
  for (const auto& suite : hit.reportSuites) application.append(",").append(suite);
  return application;
}

}  // namespace

void HitChecks::AddFindings(Hit& hit) {
  CheckName(hit);
  CheckNotes(hit);
  CheckLength(hit);
  CheckPrivacy(hit);
  CheckForm(hit);
  if (IsRepeated(hit)) {
    return Add(hit, "repeated hit",
               "The very same hit came before, because the answer to it was lost: see that reports "
               "do not count it twice.");
  }
  CheckTime(hit);
}

void HitChecks::Clear() { *this = {}; }

// Two equal calls have different random parts, and two runs different times. A hit without a time
// may be equal by chance.
bool HitChecks::IsRepeated(const Hit& hit) {
  if (!TimestampOf(hit)) return false;
  const std::size_t target = std::hash<std::string>()(hit.rawTarget);
  if (!knownTargets_.insert(target).second) return true;
  recentTargets_.push_back(target);
  if (recentTargets_.size() > kMostTargets) {
    knownTargets_.erase(recentTargets_.front());
    recentTargets_.pop_front();
  }
  return false;
}

void HitChecks::CheckTime(Hit& hit) {
  const auto time = TimestampOf(hit);
  if (!time) return;
  if (lastTimes_.size() >= kMostApplications) lastTimes_.clear();
  const auto [last, isNew] = lastTimes_.try_emplace(ApplicationOf(hit), *time);
  if (*time < last->second) {
    Add(hit, "timestamp out of order",
        "It is " + std::to_string(last->second - *time) +
            " s older than the hit before it: see whether the clock of the device was set back.");
  }
  last->second = *time;
}

}  // namespace Veltro::Collector
