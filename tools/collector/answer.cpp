#include "collector/answer.h"

#include "collector/http_server.h"

namespace Veltro::Collector {
namespace {

constexpr std::chrono::milliseconds kLongestSilence = std::chrono::seconds(60);

bool SendNow(const Answer& answer, httplib::Response& response) {
  response.status = answer.status;
  response.set_content(answer.body, answer.contentType);
  for (const auto& cookie : answer.cookies) response.headers.emplace("Set-Cookie", cookie);
  return true;
}

bool SendStatus(const Fault& fault, const Answer& answer, httplib::Response& response) {
  if (!fault.location.empty()) response.set_header("Location", fault.location);
  return SendNow({fault.status, fault.body, answer.contentType}, response);
}

}  // namespace

std::int32_t StatusUnder(const std::optional<Fault>& fault, const Answer& answer) {
  if (!fault || fault->kind == Fault::Kind::Delay) return answer.status;
  return fault->kind == Fault::Kind::Status ? fault->status : 0;
}

bool Send(const Answer& answer, const std::optional<Fault>& fault, httplib::Response& response) {
  if (!fault) return SendNow(answer, response);
  Connection& connection = HttpServer::CurrentConnection();
  switch (fault->kind) {
    case Fault::Kind::Status:
      return SendStatus(*fault, answer, response);
    case Fault::Kind::Delay:
      if (!connection.WaitUntilClientLeaves(fault->delay)) return SendNow(answer, response);
      break;
    case Fault::Kind::Silence:
      connection.WaitUntilClientLeaves(kLongestSilence);
      break;
    case Fault::Kind::Reset:
      connection.Abandon(Connection::Ending::Reset);
      return false;
    case Fault::Kind::Close:
      break;
  }
  connection.Abandon(Connection::Ending::Close);
  return false;
}

}  // namespace Veltro::Collector
