#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Veltro::Collector {

/// Texts under names, in the order in which they were written.
using NamedTexts = std::vector<std::pair<std::string, std::string>>;

/// What the audience server gives to the events that have all the parameters in `when`.
struct AudienceRule {
  NamedTexts when;
  NamedTexts segments;
  std::vector<std::string> destinations;  ///< "SELF" in them stands for this server's host and port
};

struct AudienceRules {
  std::string uuid;
  std::vector<AudienceRule> rules;
};

/// The ids that the content server hands out, and the contents by location.
struct ContentRules {
  std::string pcId = "pc-1.local";
  std::string sessionId = "session-1";
  std::map<std::string, std::string> locations;
};

struct Rules {
  AudienceRules audience;
  ContentRules content;
};

/// Reads rules such as
///   {"audience": {"uuid": "U-1",
///                 "rules": [{"when": {"c_color": "red"}, "segments": {"likes": "red"},
///                            "destinations": ["http://SELF/destination/red"]}]},
///    "content": {"pcId": "pc-1.local", "sessionId": "session-1",
///                "locations": {"welcome": "Hello"}}}
/// All members may be left out; "" and {} stand for the defaults. Throws a std::exception that
/// tells why on bad JSON, unknown members, wrong types, and ids that fit into no cookie.
Rules ParseRules(std::string_view json);

}  // namespace Veltro::Collector
