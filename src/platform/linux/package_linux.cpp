#include "platform/linux/package_linux.h"

#include <fcntl.h>

#include <charconv>
#include <pugixml.hpp>
#include <utility>

#include "base/utf.h"
#include "platform/linux/environment.h"
#include "platform/linux/posix_file.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr const char* kManifest = "AppxManifest.xml";

std::filesystem::path ProgramFolder() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) ThrowSystemError("readlink", "/proc/self/exe", error.value());
  return program.parent_path();
}

std::filesystem::path PackageFolder(const std::filesystem::path& configured) {
  if (!configured.empty()) return configured;
  if (const auto folder = EnvironmentVariable("VELTRO_PACKAGE_DIR")) return *folder;
  return ProgramFolder();
}

/// The first element of that name, whatever its namespace prefix.
pugi::xml_node FindElement(const pugi::xml_document& document, std::string_view name) {
  return document.find_node([&](const pugi::xml_node& node) {
    const std::string_view qualified = node.name();
    return qualified.substr(qualified.find(':') + 1) == name;
  });
}

}  // namespace

PackageLinux::PackageLinux(std::filesystem::path folder, std::string title, std::string version)
    : folder_(std::move(folder)), title_(std::move(title)), version_(std::move(version)) {}

std::optional<std::string> PackageLinux::ReadFile(std::string_view name) {
  const std::string path = PackageFolder(folder_) / name;
  const FileDescriptor file = OpenRegularFile(AT_FDCWD, path, O_RDONLY);
  if (!file) return std::nullopt;
  return ReadWhole(file, path);
}

std::u16string PackageLinux::Title() {
  if (!title_.empty()) return ToUtf16(title_);
  const Facts& facts = ReadFacts();
  if (facts.title.empty()) throw PlatformError(facts.problem);
  return ToUtf16(facts.title);
}

std::array<std::uint16_t, 4> PackageLinux::Version() {
  return ParseVersion(version_.empty() ? ReadFacts().version : version_);
}

const PackageLinux::Facts& PackageLinux::ReadFacts() {
  std::lock_guard lock(mutex_);
  if (facts_) return *facts_;
  try {
    facts_ = ParseManifest();
  } catch (const PlatformError& error) {
    facts_ = Facts{{}, {}, error.what()};
  }
  return *facts_;
}

PackageLinux::Facts PackageLinux::ParseManifest() {
  const auto text = ReadFile(kManifest);
  if (!text) ThrowSystemError("open", kManifest, ENOENT);
  pugi::xml_document document;
  const pugi::xml_parse_result parsed = document.load_buffer(text->data(), text->size());
  if (!parsed) throw PlatformError(std::string("parse ") + kManifest + ": " + parsed.description());
  return {FindElement(document, "DisplayName").text().get(),
          FindElement(document, "Identity").attribute("Version").value(),
          std::string(kManifest) + " names no DisplayName"};
}

std::array<std::uint16_t, 4> ParseVersion(std::string_view text) {
  std::array<std::uint16_t, 4> version{};
  const char* position = text.data();
  const char* const end = position + text.size();
  for (std::size_t part = 0; part < version.size(); ++part) {
    if (part > 0 && (position == end || *position++ != '.')) return {};
    const auto [next, error] = std::from_chars(position, end, version[part]);
    if (error != std::errc()) return {};
    position = next;
  }
  if (position != end) return {};
  return version;
}

}  // namespace Veltro::Internal
