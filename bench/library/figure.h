#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace Veltro::Bench {

/// What a figure is held against: the same work done by the system alone, in the same run.
struct Floor {
  std::string name;
  double value = 0;
};

/// One measured figure.
struct Figure {
  std::string name;
  double value = 0;
  std::string unit;
  std::optional<Floor> floor;
  std::string goal;  ///< such as "<= 10" or ">= 0.85 x"; "x" compares with the floor; may be empty

  /// Value by floor; nothing without a floor.
  std::optional<double> Ratio() const;

  /// Whether the goal is met; nothing without one.
  std::optional<bool> IsReached() const;
};

/// The figure as one line, as a scenario hands it to the program that started it.
std::string ToLine(const Figure& figure);

/// The figure of such a line; nothing for any other text.
std::optional<Figure> FromLine(std::string_view line);

/// Of figures of the same name, the one with the median value stands for all; order is kept.
std::vector<Figure> Medians(const std::vector<Figure>& figures);

void PrintTableHead(std::ostream& out);
void PrintTableRow(std::ostream& out, const Figure& figure);
void WriteJson(std::ostream& out, const std::vector<Figure>& figures);

}  // namespace Veltro::Bench
