#include "platform/linux/device_facts_linux.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <sys/utsname.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>

#include "base/utf.h"
#include "platform/linux/environment.h"
#include "platform/linux/posix_file.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::string_view kDefaultLanguage = "en-US";
constexpr std::size_t kLongestFirmwareText = 4096;

constexpr std::array<std::string_view, 8> kPlaceholders = {"to be filled by o.e.m.",
                                                           "system manufacturer",
                                                           "system product name",
                                                           "default string",
                                                           "not applicable",
                                                           "not specified",
                                                           "o.e.m.",
                                                           "none"};

char Lower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                              : character;
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return Lower(c); });
  return lower;
}

bool IsLetterOrDigit(char character) {
  const char lower = Lower(character);
  return (lower >= 'a' && lower <= 'z') || (character >= '0' && character <= '9');
}

std::string FirmwareText(const char* path) {
  try {
    const FileDescriptor file = OpenRegularFile(AT_FDCWD, path, O_RDONLY);
    return file ? CleanFirmwareText(ReadAt(file, path, 0, kLongestFirmwareText)) : "";
  } catch (const PlatformError&) {
    return {};  // containers hide the tables
  }
}

bool IsOutwardAddress(const ifaddrs& entry) {
  constexpr unsigned kNeeded = IFF_UP | IFF_RUNNING;
  if ((entry.ifa_flags & kNeeded) != kNeeded || (entry.ifa_flags & IFF_LOOPBACK) != 0) return false;
  return entry.ifa_addr != nullptr &&
         (entry.ifa_addr->sa_family == AF_INET || entry.ifa_addr->sa_family == AF_INET6);
}

bool HasOutwardAddress() {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) return true;  // nothing known against it
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, freeifaddrs);
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    if (IsOutwardAddress(*entry)) return true;
  }
  return false;
}

}  // namespace

std::u16string DeviceFactsLinux::Manufacturer() {
  if (!options_.manufacturer.empty()) return ToUtf16(options_.manufacturer);
  return ToUtf16(FirmwareText("/sys/class/dmi/id/sys_vendor"));
}

std::u16string DeviceFactsLinux::Model() {
  if (!options_.model.empty()) return ToUtf16(options_.model);
  return ToUtf16(FirmwareText("/sys/class/dmi/id/product_name"));
}

std::u16string DeviceFactsLinux::DeviceFamily() { return u"Linux.Desktop"; }

std::u16string DeviceFactsLinux::DeviceFamilyVersion() {
  utsname system{};
  if (uname(&system) != 0) return {};
  return ToUtf16(std::to_string(FamilyVersionOf(system.release)));
}

std::optional<WindowSize> DeviceFactsLinux::Window() {
  return options_.window ? options_.window() : std::nullopt;
}

std::u16string DeviceFactsLinux::LanguageTag() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (const auto locale = EnvironmentVariable(name)) return ToUtf16(LanguageTagOf(*locale));
  }
  return ToUtf16(kDefaultLanguage);
}

bool DeviceFactsLinux::IsNetworkReachable(std::string_view host) {
  return IsLoopbackHost(host) || HasOutwardAddress();
}

std::string CleanFirmwareText(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n\v\f";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  text = text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
  const bool isPlaceholder =
      std::find(kPlaceholders.begin(), kPlaceholders.end(), Lower(text)) != kPlaceholders.end();
  return isPlaceholder ? std::string() : std::string(text);
}

std::uint64_t FamilyVersionOf(std::string_view release) {
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  const char* const end = release.data() + release.size();
  const char* const dot = std::from_chars(release.data(), end, major).ptr;
  if (dot != end && *dot == '.') std::from_chars(dot + 1, end, minor);
  return std::uint64_t{major} << 48U | std::uint64_t{minor} << 32U;
}

std::string LanguageTagOf(std::string_view locale) {
  std::string tag(locale.substr(0, locale.find_first_of(".@")));
  std::replace(tag.begin(), tag.end(), '_', '-');
  const bool isTag =
      std::all_of(tag.begin(), tag.end(), [](char c) { return c == '-' || IsLetterOrDigit(c); });
  // A language has two or three letters; longer first parts are names of other kinds.
  const std::size_t languageLength = std::min(tag.find('-'), tag.size());
  if (!isTag || languageLength < 2 || languageLength > 3) return std::string(kDefaultLanguage);
  return tag;
}

bool IsLoopbackHost(std::string_view host) {
  std::string name = Lower(host);
  if (name.ends_with('.')) name.pop_back();
  if (name.starts_with('[') && name.ends_with(']')) name = name.substr(1, name.size() - 2);
  if (name == "localhost" || name.ends_with(".localhost")) return true;
  in_addr address4{};
  if (inet_pton(AF_INET, name.c_str(), &address4) == 1) return ntohl(address4.s_addr) >> 24U == 127;
  in6_addr address6{};
  return inet_pton(AF_INET6, name.c_str(), &address6) == 1 && IN6_IS_ADDR_LOOPBACK(&address6);
}

}  // namespace Veltro::Internal
