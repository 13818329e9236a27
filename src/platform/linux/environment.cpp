#include "platform/linux/environment.h"

#include <pwd.h>
#include <sys/auxv.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace Veltro::Internal {

std::optional<std::string> EnvironmentVariable(const char* name) {
  const char* value = secure_getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return value;
}

bool RunsWithRaisedRights() { return getauxval(AT_SECURE) != 0; }

std::filesystem::path HomeFolder() {
  if (const auto home = EnvironmentVariable("HOME")) return *home;
  std::array<char, 4096> buffer{};
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0) return {};
  return found != nullptr ? found->pw_dir : "";
}

}  // namespace Veltro::Internal
