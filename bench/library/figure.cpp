#include "figure.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace Veltro::Bench {
namespace {

constexpr std::string_view kGoalByFloor = " x";

using nlohmann::ordered_json;

ordered_json ToJson(const Figure& figure) {
  ordered_json json = {{"name", figure.name}, {"value", figure.value}, {"unit", figure.unit}};
  if (figure.floor) {
    json["floor"] = {{"name", figure.floor->name}, {"value", figure.floor->value}};
    json["ratio"] = figure.Ratio().value_or(0);
  }
  if (!figure.goal.empty()) {
    json["goal"] = figure.goal;
    json["reached"] = *figure.IsReached();
  }
  return json;
}

/// Three digits that count, and none behind the point for what is large.
std::string NumberText(double value) {
  char text[32];
  const int digits = value >= 100 || value == 0 ? 0 : value >= 10 ? 1 : value >= 1 ? 2 : 3;
  std::snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

}  // namespace

std::optional<double> Figure::Ratio() const {
  if (!floor || floor->value == 0) return std::nullopt;
  return value / floor->value;
}

std::optional<bool> Figure::IsReached() const {
  if (goal.size() < 4) return std::nullopt;
  const bool byFloor = goal.ends_with(kGoalByFloor);
  const double limit = std::stod(goal.substr(3));
  const double measured = byFloor ? Ratio().value_or(0) : value;
  return goal.starts_with("<=") ? measured <= limit : measured >= limit;
}

std::string ToLine(const Figure& figure) { return ToJson(figure).dump(); }

std::optional<Figure> FromLine(std::string_view line) {
  const ordered_json json = ordered_json::parse(line, nullptr, false);
  if (!json.is_object() || !json.contains("name")) return std::nullopt;
  Figure figure{json["name"], json["value"], json["unit"], std::nullopt, json.value("goal", "")};
  if (json.contains("floor")) figure.floor = {json["floor"]["name"], json["floor"]["value"]};
  return figure;
}

std::vector<Figure> Medians(const std::vector<Figure>& figures) {
  std::vector<Figure> medians;
  for (const Figure& figure : figures) {
    const auto isSame = [&](const Figure& other) { return other.name == figure.name; };
    if (std::any_of(medians.begin(), medians.end(), isSame)) continue;
    std::vector<Figure> same;
    std::copy_if(figures.begin(), figures.end(), std::back_inserter(same), isSame);
    const auto middle = same.begin() + static_cast<std::ptrdiff_t>(same.size() / 2);
    std::nth_element(same.begin(), middle, same.end(), [](const Figure& a, const Figure& b) {
      const bool byFloor = a.goal.ends_with(kGoalByFloor);
      return byFloor ? a.Ratio() < b.Ratio() : a.value < b.value;
    });
    medians.push_back(*middle);
  }
  return medians;
}

void PrintTableHead(std::ostream& out) {
  char line[200];
  std::snprintf(line, sizeof line, "%-50s %14s %9s %4s  %s\n", "", "measured", "to reach", "",
                "floor in the same run");
  out << line;
}

void PrintTableRow(std::ostream& out, const Figure& figure) {
  const std::string measured = NumberText(figure.value) + " " + figure.unit;
  const auto reached = figure.IsReached();
  std::string floor;
  if (figure.floor) {
    floor = NumberText(figure.floor->value) + " " + figure.unit + ", " + figure.floor->name;
    if (const auto ratio = figure.Ratio()) floor = NumberText(*ratio) + " x " + floor;
  }
  char line[400];
  std::snprintf(line, sizeof line, "%-50s %14s %9s %4s  %s\n", figure.name.c_str(),
                measured.c_str(), figure.goal.c_str(),
                !reached   ? ""
                : *reached ? "yes"
                           : "NO",
                floor.c_str());
  out << line << std::flush;
}

void WriteJson(std::ostream& out, const std::vector<Figure>& figures) {
  ordered_json all = ordered_json::array();
  for (const Figure& figure : figures) all.push_back(ToJson(figure));
  out << all.dump(2) << "\n";
}

}  // namespace Veltro::Bench
