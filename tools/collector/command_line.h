#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Veltro::Collector {

/// What the program is asked to do.
struct CommandLine {
  enum class Task { Serve, ShowHelp, ShowVersion };

  Task task = Task::Serve;
  std::uint16_t port = 8900;
  std::string rules{};
  bool isQuiet = false;
  bool isJson = false;
  bool endsWithProgram = false;
  std::vector<std::string> program{};  ///< to start, and its arguments; empty: none
  std::string error{};                 ///< empty: the options are good
};

/// Reads the arguments behind the program's own name, and the file of rules if they name one.
CommandLine ParseCommandLine(const std::vector<std::string>& arguments);

/// What --help shows.
extern const char* const kUsage;

}  // namespace Veltro::Collector
