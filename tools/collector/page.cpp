#include "collector/page.h"

#include <string>

#include "collector/same_site.h"

namespace Veltro::Collector {
namespace {

const char* ContentType(std::string_view name) {
  if (name.ends_with(".html")) return "text/html; charset=utf-8";
  if (name.ends_with(".css")) return "text/css; charset=utf-8";
  if (name.ends_with(".js")) return "text/javascript; charset=utf-8";
  if (name.ends_with(".svg")) return "image/svg+xml";
  return "application/octet-stream";
}

// Nothing from elsewhere, and no page of another site around this one.
constexpr const char* kPolicy =
    "default-src 'self'; img-src 'self' data:; base-uri 'none'; form-action 'self'; "
    "frame-ancestors 'none'";

void AnswerFile(std::string_view name, httplib::Response& response) {
  const std::string_view content = PageFile(name);
  if (content.empty()) {
    response.status = 404;
    return;
  }
  response.set_header("Content-Security-Policy", kPolicy);
  response.set_header("Cache-Control", "no-cache");
  response.set_header("X-Content-Type-Options", "nosniff");
  response.set_content(content.data(), content.size(), ContentType(name));
}

}  // namespace

void AddPageRoutes(HttpServer& server) {
  server.Get("/", ForOwnPage([](const httplib::Request&, httplib::Response& response) {
               AnswerFile("index.html", response);
             }));
  server.Get("/page/([^/]+)",
             ForOwnPage([](const httplib::Request& request, httplib::Response& response) {
               AnswerFile(request.matches[1].str(), response);
             }));
}

}  // namespace Veltro::Collector
