// The configuration file: whatever it holds, it is loaded, and loads again from its own values.

#include "config/configuration.h"

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/utf.h"
#include "config/privacy.h"
#include "core/json.h"
#include "fakes/fake_package.h"
#include "fakes/fake_settings.h"
#include "support/check.h"

namespace Veltro::Internal::Fuzz {
namespace {

using nlohmann::json;

Configuration Load(const std::string& text, std::optional<VeltroPrivacyStatus> stored = {}) {
  Testing::FakePackage package;
  package.files["VeltroConfig.json"] = text;
  Testing::FakeSettings map;
  if (stored) map.Insert(kPrivacyStatusKey, static_cast<std::int32_t>(*stored));
  SettingsStore settings(map);
  return LoadConfiguration(package, settings);
}

std::string StatusText(VeltroPrivacyStatus status) {
  if (status == VeltroPrivacyStatus::OptOut) return "optedout";
  return status == VeltroPrivacyStatus::Unknown ? "optunknown" : "optedin";
}

/// A file that says what `config` holds, every value named.
std::string Write(const Configuration& config) {
  json points = json::array();
  for (const PointOfInterest& point : config.pointsOfInterest) {
    points.push_back({ToUtf8(point.name), point.latitude, point.longitude, point.radius});
  }
  const json analytics = {{"rsids", config.rsids},
                          {"server", config.server},
                          {"batchLimit", config.batchLimit},
                          {"charset", ToUtf8(config.charset)},
                          {"lifecycleTimeout", config.lifecycleTimeout},
                          {"offlineEnabled", config.offlineEnabled},
                          {"poi", points},
                          {"privacyDefault", StatusText(config.privacyStatus)},
                          {"ssl", config.ssl}};
  return json{
      {"version", ToUtf8(config.version)},
      {"analytics", analytics},
      {"target", {{"clientCode", config.targetClientCode}, {"timeout", config.targetTimeout}}},
      {"audienceManager", {{"server", config.audienceManagerServer}}}}
      .dump();
}

/// Other values of every kind, so that none is the default.
Configuration Altered(Configuration config) {
  for (std::u16string* text : {&config.version, &config.charset}) *text += u"x";
  for (std::string* text :
       {&config.rsids, &config.server, &config.targetClientCode, &config.audienceManagerServer}) {
    *text += "x";
  }
  for (std::int32_t* number :
       {&config.batchLimit, &config.lifecycleTimeout, &config.targetTimeout}) {
    *number = ~*number;
  }
  config.ssl = !config.ssl;
  config.offlineEnabled = true;
  config.privacyStatus = VeltroPrivacyStatus::Unknown;
  config.pointsOfInterest.push_back({u"x", 1.5, -2.25, 1e-9});
  return config;
}

void CheckReload(const Configuration& config) {
  const std::string written = Write(config);
  Require(Write(Load(Stored(written))) == written, "what was written is not what is loaded");
}

void CheckConfiguration(const std::string& text) {
  const Configuration config = Load(text);
  CheckReload(config);
  CheckReload(Altered(config));
  Require(json::parse(text, nullptr, false).is_object() || Write(config) == Write({}),
          "a file that is no JSON object changes defaults");
  const Configuration stored = Load(text, VeltroPrivacyStatus::Unknown);
  for (const Configuration& each : {config, stored}) {
    Require(each.offlineEnabled || each.privacyStatus != VeltroPrivacyStatus::Unknown,
            "the status is unknown without offline tracking");
  }
}

}  // namespace
}  // namespace Veltro::Internal::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Veltro::Internal::Fuzz::CheckConfiguration(std::string(data, data + size));
  return 0;
}
