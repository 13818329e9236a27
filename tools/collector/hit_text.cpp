#include "collector/hit_text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

#include "collector/printable.h"

namespace Veltro::Collector {
namespace {

using Path = std::vector<std::string_view>;

// Levels below this are not indented further, so that deep trees stay readable, and short.
constexpr std::size_t kDeepestIndent = 40;

std::string TimeText(std::int64_t milliseconds) {
  const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
  std::tm fields{};
  gmtime_r(&seconds, &fields);
  std::array<char, 32> day{};
  std::strftime(day.data(), day.size(), "%Y-%m-%d %H:%M:%S", &fields);
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%s.%03d UTC", day.data(),
                static_cast<int>(milliseconds % 1000));
  return text.data();
}

std::string SuitesText(const Hit& hit) {
  std::string result;
  for (const auto& suite : hit.reportSuites) {
    if (!result.empty()) result += ',';
    result += Printable(suite);
  }
  return result.empty() ? "no report suite" : result;
}

std::string Summary(const Hit& hit) {
  return "#" + std::to_string(hit.sequence) + " " + KindName(KindOf(hit)) + " \"" +
         Printable(NameOf(hit)) + "\" to " + SuitesText(hit) + " at " + TimeText(hit.receivedTime) +
         (hit.malformed ? " (malformed)" : "") + "\n";
}

Path SplitKey(std::string_view key) {
  Path path;
  for (std::size_t end = 0; end != std::string_view::npos;) {
    end = key.find('.');
    path.push_back(key.substr(0, end));
    if (end != std::string_view::npos) key.remove_prefix(end + 1);
  }
  return path;
}

void AppendNode(std::string& text, std::size_t depth, std::string_view name) {
  text += '\n';
  text.append(4 + 2 * std::min(depth, kDeepestIndent), ' ');
  text += Printable(name);
}

// Appends `path` below what it shares with `previous`, which was appended before it.
void AppendPath(std::string& text, const Path& previous, const Path& path) {
  const auto shared =
      std::mismatch(path.begin(), path.end(), previous.begin(), previous.end()).first;
  for (auto name = shared; name != path.end(); ++name) {
    AppendNode(text, static_cast<std::size_t>(name - path.begin()), *name);
  }
}

// Sorting whole paths, not keys, keeps every node right above its children: as text, "a-b" would
// come between "a" and "a.b".
std::string ContextDataText(const Hit& hit) {
  if (hit.contextData.empty()) return "";
  std::vector<std::pair<Path, std::string_view>> entries;
  for (const auto& [key, value] : hit.contextData) entries.emplace_back(SplitKey(key), value);
  std::sort(entries.begin(), entries.end());
  std::string text = "  context data:";
  const Path root;
  const Path* previous = &root;
  for (const auto& [path, value] : entries) {
    AppendPath(text, *previous, path);
    text += " = " + Printable(value);
    previous = &path;
  }
  return text + "\n";
}

}  // namespace

std::string KindName(HitKind kind) {
  switch (kind) {
    case HitKind::State:
      return "state";
    case HitKind::Action:
      return "action";
    case HitKind::InternalAction:
      return "internal action";
    case HitKind::Other:
      break;
  }
  return "other";
}

std::string HitToText(const Hit& hit) {
  std::string text = Summary(hit);
  for (const auto& [check, advice] : hit.findings) {
    text += "  ! " + check + ": " + Printable(advice) + "\n";
  }
  for (const auto& [name, value] : hit.variables) {
    if (name == "AQB" || name == "AQE") continue;
    text += "  " + Printable(name) + " = " + Printable(value) + "\n";
  }
  return text + ContextDataText(hit);
}

}  // namespace Veltro::Collector
