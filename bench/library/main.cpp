// Measures the library as it is shipped, through its public functions, and prints each figure with
// the figure to reach and with its floor: what the system alone needs for the same work.
//
// The library lives as long as its process, so each scenario runs in processes of its own, which
// this program starts from itself.

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "sandbox.h"
#include "scenario.h"
#include "support/progress.h"

namespace Veltro::Bench {
namespace {

struct Options {
  bool quick = false;
  std::string only;                 // scenarios whose names contain it
  std::string json;                 // where to write the figures
  std::string scenario;             // run this one here
  std::filesystem::path templates;  // for `scenario`
};

constexpr const char* kTemplates = "templates";
constexpr int kMostRuns = 20;

std::vector<std::vector<Scenario>> Sections() {
  return {CallScenarios(), QueueScenarios(), ResourceScenarios()};
}

int RunHere(const Options& options) {
  if (options.scenario == kTemplates) {
    MakeTemplates("127.0.0.1:9", options.templates);
    return 0;
  }
  for (const auto& section : Sections()) {
    for (const Scenario& scenario : section) {
      if (scenario.name != options.scenario) continue;
      for (const Figure& figure : scenario.run({options.templates, options.quick})) {
        std::cout << ToLine(figure) << "\n";
      }
      return 0;
    }
  }
  return 2;
}

/// Runs a scenario in a process of its own.
std::vector<Figure> RunApart(const std::string& scenario, const Options& options,
                             const std::filesystem::path& templates) {
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  const std::string command = "'" + self + "' --scenario '" + scenario + "' --templates '" +
                              templates.string() + "'" + (options.quick ? " --quick" : "");
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("no process for a scenario");
  std::vector<Figure> figures;
  char line[4096];
  while (std::fgets(line, sizeof line, pipe) != nullptr) {
    if (const auto figure = FromLine(line)) figures.push_back(*figure);
  }
  if (pclose(pipe) != 0) throw std::runtime_error("scenario \"" + scenario + "\" failed");
  return figures;
}

/// Runs the scenarios of a section in turn, and that as often as each wants, so that a machine that
/// grows slower for a while does so for all of them.
std::vector<Figure> RunSection(const std::vector<Scenario>& section, const Options& options,
                               const std::filesystem::path& templates) {
  const auto isDue = [&](const Scenario& scenario, int run) {
    const int runs = options.quick ? (scenario.runs + 4) / 5 : scenario.runs;
    return run < runs && scenario.name.find(options.only) != std::string::npos;
  };
  std::vector<const Scenario*> turns;
  for (int run = 0; run < kMostRuns; ++run) {
    for (const Scenario& scenario : section) {
      if (isDue(scenario, run)) turns.push_back(&scenario);
    }
  }
  Internal::Testing::Progress progress("runs of this section", turns.size());
  std::vector<Figure> figures;
  for (const Scenario* scenario : turns) {
    const std::vector<Figure> more = RunApart(scenario->name, options, templates);
    figures.insert(figures.end(), more.begin(), more.end());
    progress.Step();
  }
  return Medians(figures);
}

const Figure* Find(const std::vector<Figure>& figures, const std::string& name) {
  const auto found = std::find_if(figures.begin(), figures.end(),
                                  [&](const Figure& figure) { return figure.name == name; });
  return found == figures.end() ? nullptr : &*found;
}

/// How figures of a deep queue relate to those of a shallow one.
std::vector<Figure> Growth(const std::vector<Figure>& figures) {
  struct Pair {
    const char* name;
    const char* deep;
    const char* shallow;
    bool isRate;
    const char* goal;
  };
  constexpr Pair kPairs[] = {
      {"cost of a call in a tight loop, 100,000 queued by 10",
       "call, tight, 100,000 queued, median", "call, tight, 10 queued, median", false, ""},
      {"cost of a stored hit, 100,000 queued by 1,000", "tracked and stored, up to 100000 queued",
       "tracked and stored, up to 1000 queued", true, "<= 1.3"},
      {"cost of a sent hit, 10,000 queued by 1,000", "drain of 10000 hits", "drain of 1000 hits",
       true, ""},
      {"first call, 10,000 stored hits by none", "first call, 10000 stored hits",
       "first call, 0 stored hits", false, ""}};
  std::vector<Figure> growth;
  for (const Pair& pair : kPairs) {
    const Figure* const deep = Find(figures, pair.deep);
    const Figure* const shallow = Find(figures, pair.shallow);
    if (deep == nullptr || shallow == nullptr) continue;
    const double ratio = deep->value / shallow->value;
    growth.push_back({pair.name, pair.isRate ? 1 / ratio : ratio, "x", {}, pair.goal});
  }
  return growth;
}

int RunAll(const Options& options) {
  const Internal::Testing::TemporaryFolder templates;
  RunApart(kTemplates, options, templates.Path());
  PrintTableHead(std::cout);
  std::vector<Figure> all;
  const auto print = [&](const std::vector<Figure>& figures) {
    for (const Figure& figure : figures) PrintTableRow(std::cout, figure);
    all.insert(all.end(), figures.begin(), figures.end());
  };
  for (const auto& section : Sections()) print(RunSection(section, options, templates.Path()));
  print(Growth(all));
  if (!options.json.empty()) {
    std::ofstream file(options.json);
    WriteJson(file, all);
  }
  return 0;
}

int Main(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    const auto next = [&] { return i + 1 < argc ? argv[++i] : ""; };
    if (argument == "--quick") {
      options.quick = true;
    } else if (argument == "--only") {
      options.only = next();
    } else if (argument == "--json") {
      options.json = next();
    } else if (argument == "--scenario") {
      options.scenario = next();
    } else if (argument == "--templates") {
      options.templates = next();
    } else {
      std::cerr << "usage: veltro-bench [--quick] [--only PART_OF_A_NAME] [--json FILE]\n";
      return 2;
    }
  }
  return options.scenario.empty() ? RunAll(options) : RunHere(options);
}

}  // namespace
}  // namespace Veltro::Bench

int main(int argc, char** argv) {
  try {
    return Veltro::Bench::Main(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "veltro-bench: " << error.what() << "\n";
    return 1;
  }
}
