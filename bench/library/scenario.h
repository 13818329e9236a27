#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "figure.h"

namespace Veltro::Bench {

/// What a scenario may draw on.
struct Setting {
  std::filesystem::path templates;  ///< queue files of earlier runs
  bool quick = false;               ///< whether a rough answer will do
};

/// A piece of the benchmark that runs in a process of its own, as the library lives as long as its
/// process.
struct Scenario {
  std::string name;
  std::function<std::vector<Figure>(const Setting&)> run;
  int runs = 3;  ///< processes over which the median is taken
};

std::vector<Scenario> CallScenarios();
std::vector<Scenario> QueueScenarios();
std::vector<Scenario> ResourceScenarios();

}  // namespace Veltro::Bench
