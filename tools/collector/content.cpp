#include "collector/content.h"

#include <algorithm>

namespace Veltro::Collector {
namespace {

// How long the client is to keep the cookies: two weeks, half an hour. They have no path, so they
// go with content requests only.
constexpr const char* kPcAttributes = "; Max-Age=1209600";
constexpr const char* kSessionAttributes = "; Max-Age=1800";

Parameters ParseCookies(std::string_view header) {
  Parameters cookies;
  for (auto cookie : Split(header, ';')) {
    cookie.remove_prefix(std::min(cookie.find_first_not_of(' '), cookie.size()));
    const std::size_t equals = cookie.find('=');
    if (equals == std::string_view::npos) continue;
    cookies.emplace(cookie.substr(0, equals), cookie.substr(equals + 1));
  }
  return cookies;
}

// Why the parameter `name` cannot be; empty: it can.
std::string Contradiction(const std::string& name, const Parameters& parameters,
                          const Parameters& cookies) {
  const auto parameter = parameters.find(name);
  if (parameter == parameters.end()) return "";
  const auto cookie = cookies.find(name);
  const std::string claim = "the query has " + name + "=" + parameter->second;
  if (cookie == cookies.end()) return claim + ", but there is no such cookie\n";
  return cookie->second == parameter->second ? "" : claim + ", the cookie " + cookie->second + "\n";
}

}  // namespace

Answer AnswerContent(const ContentRules& rules, const Parameters& parameters,
                     std::string_view cookieHeader) {
  const Parameters cookies = ParseCookies(cookieHeader);
  const std::string complaint = Contradiction("mboxPC", parameters, cookies) +
                                Contradiction("mboxSession", parameters, cookies);
  if (!complaint.empty()) return {.status = 400, .body = complaint};
  Answer answer{.body = ValueOf(rules.locations, ValueOf(parameters, "mbox"))};
  if (!cookies.contains("mboxPC")) {
    answer.cookies.push_back("mboxPC=" + rules.pcId + kPcAttributes);
  }
  if (!cookies.contains("mboxSession")) {
    answer.cookies.push_back("mboxSession=" + rules.sessionId + kSessionAttributes);
  }
  return answer;
}

}  // namespace Veltro::Collector
