#include "config/configuration.h"

#include <exception>
#include <optional>
#include <string_view>

#include "base/number_text.h"
#include "base/url_host.h"
#include "base/utf.h"
#include "config/privacy.h"
#include "core/json.h"
#include "core/log.h"
#include "core/work_item.h"

namespace Veltro::Internal {
namespace {

using nlohmann::json;

/// The member of `object` under `key` when it is an object, else null.
const json* FindObject(const json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() && found->is_object() ? &*found : nullptr;
}

void Read(const json& object, const char* key, std::string& field) {
  const auto found = object.find(key);
  if (found != object.end() && found->is_string()) field = found->get<std::string>();
}

void Read(const json& object, const char* key, std::u16string& field) {
  const auto found = object.find(key);
  if (found != object.end() && found->is_string()) field = ToUtf16(found->get<std::string>());
}

void Read(const json& object, const char* key, std::int32_t& field) {
  const auto found = object.find(key);
  if (found != object.end() && found->is_number()) field = TruncateToInt32(found->get<double>());
}

void Read(const json& object, const char* key, bool& field) {
  const auto found = object.find(key);
  if (found != object.end() && found->is_boolean()) field = found->get<bool>();
}

std::optional<PointOfInterest> ReadPointOfInterest(const json& entry) {
  if (!entry.is_array() || entry.size() != 4 || !entry[0].is_string() || !entry[1].is_number() ||
      !entry[2].is_number() || !entry[3].is_number()) {
    return std::nullopt;
  }
  return PointOfInterest{ToUtf16(entry[0].get<std::string>()), entry[1].get<double>(),
                         entry[2].get<double>(), entry[3].get<double>()};
}

void ReadPointsOfInterest(const json& analytics, std::vector<PointOfInterest>& points) {
  const auto found = analytics.find("poi");
  if (found == analytics.end() || !found->is_array()) return;
  for (const json& entry : *found) {
    if (auto point = ReadPointOfInterest(entry)) points.push_back(*std::move(point));
  }
}

VeltroPrivacyStatus ParsePrivacyStatus(std::string_view text) {
  if (text == "optedout") return VeltroPrivacyStatus::OptOut;
  if (text == "optunknown") return VeltroPrivacyStatus::Unknown;
  return VeltroPrivacyStatus::OptIn;
}

/// What the user has decided holds whatever the file says of `analytics`, if it does.
void ReadPrivacyStatus(const json* analytics, SettingsStore& settings, Configuration& config) {
  const std::optional<std::int32_t> stored = settings.ReadInt32(kPrivacyStatusKey);
  if (stored) {
    config.privacyStatus = static_cast<VeltroPrivacyStatus>(*stored);
  } else if (analytics != nullptr) {
    std::string privacyDefault;
    Read(*analytics, "privacyDefault", privacyDefault);
    config.privacyStatus = ParsePrivacyStatus(privacyDefault);
  }
  if (config.privacyStatus == VeltroPrivacyStatus::Unknown && !config.offlineEnabled) {
    LogWarning(
        "Analytics - Default privacy status cannot be Unknown when offline tracking is disabled, "
        "overriding to OptIn");
    config.privacyStatus = VeltroPrivacyStatus::OptIn;
  }
}

void ReadAnalytics(const json& root, SettingsStore& settings, Configuration& config) {
  const json* analytics = FindObject(root, "analytics");
  if (analytics == nullptr) {
    ReadPrivacyStatus(nullptr, settings, config);
    return LogDebug("Config - Analytics not configured");
  }
  Read(*analytics, "rsids", config.rsids);
  Read(*analytics, "server", config.server);
  Read(*analytics, "batchLimit", config.batchLimit);
  Read(*analytics, "charset", config.charset);
  Read(*analytics, "lifecycleTimeout", config.lifecycleTimeout);
  Read(*analytics, "offlineEnabled", config.offlineEnabled);
  ReadPointsOfInterest(*analytics, config.pointsOfInterest);
  ReadPrivacyStatus(analytics, settings, config);
  Read(*analytics, "ssl", config.ssl);
}

void ReadTarget(const json& root, Configuration& config) {
  const json* target = FindObject(root, "target");
  if (target == nullptr) return LogDebug("Config - Target not configured");
  Read(*target, "clientCode", config.targetClientCode);
  Read(*target, "timeout", config.targetTimeout);
}

void ReadAudienceManager(const json& root, Configuration& config) {
  const json* audienceManager = FindObject(root, "audienceManager");
  if (audienceManager == nullptr) return LogDebug("Config - Skaipra not configured");
  Read(*audienceManager, "server", config.audienceManagerServer);
}

void LoadInto(Configuration& config, Package& package, SettingsStore& settings) {
  const std::optional<std::string> text = package.ReadFile("VeltroConfig.json");
  if (!text) {
    ReadPrivacyStatus(nullptr, settings, config);
    return LogDebug("Config - Unable to find local VeltroConfig.json file");
  }
  const json root = ParseJson(*text);
  if (!root.is_object()) {
    ReadPrivacyStatus(nullptr, settings, config);
    return LogDebug("Config - Unable to parse local config file (empty or malformed json)");
  }
  Read(root, "version", config.version);
  ReadAnalytics(root, settings, config);
  ReadTarget(root, config);
  ReadAudienceManager(root, config);
}

}  // namespace

bool CheckAnalyticsConfigured(const Configuration& config) {
  if (config.IsAnalyticsConfigured()) return true;
  LogWarning("Analytics - Your config file is not set up to use Analytics");
  return false;
}

Configuration LoadConfiguration(Package& package, SettingsStore& settings) {
  Configuration config;
  try {
    LoadInto(config, package, settings);
  } catch (const std::exception& error) {
    LogDebug("Config - Unable to load local config file (%s)", error.what());
    RunWorkItem([&] { ReadPrivacyStatus(nullptr, settings, config); });
  }
  return config;
}

void DirectToCollector(const std::string& collector, Configuration& config) {
  if (config.rsids.empty()) {
    config.rsids = "dry-run";
    config.offlineEnabled = true;
  }
  if (config.targetClientCode.empty()) config.targetClientCode = "dry-run";
  config.server = config.audienceManagerServer = collector;
  config.ssl = false;
  LogError("Config - Dry run: everything goes to %s", collector);  // it may be one by mistake
  if (!IsHostAndPort(collector)) LogError("Config - %s is no HOST:PORT for a dry run", collector);
}

}  // namespace Veltro::Internal
