#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace Veltro::Internal {

/// The environment variable `name`; nothing when it is not set or empty, and always nothing in a
/// program that runs with more rights than its user.
std::optional<std::string> EnvironmentVariable(const char* name);

/// Whether this program runs with more rights than its user, who then must not steer it through the
/// environment.
bool RunsWithRaisedRights();

/// The user's home folder: HOME, else what the user database says; empty when neither tells.
std::filesystem::path HomeFolder();

}  // namespace Veltro::Internal
