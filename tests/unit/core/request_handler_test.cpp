#include "core/request_handler.h"

#include <gtest/gtest.h>

#include "fakes/fake_http_transport.h"
#include "platform/platform_error.h"
#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

class RequestHandlerTest : public testing::Test {
 protected:
  Testing::LogCapture output_;
  Testing::FakeHttpTransport transport_;
  RequestHandler request_{transport_, "http://c.example/", std::chrono::seconds(5)};
};

TEST_F(RequestHandlerTest, TurnsATimeOutInto408OrTheEmptyBody) {
  transport_.ScriptTimeout();
  EXPECT_EQ(request_.GetStatusAsync().Get(), 408);
  transport_.ScriptTimeout();
  EXPECT_EQ(request_.GetStringAsync().Get(), "");
  EXPECT_EQ(output_.Count("Veltro Debug: Request Handler - Request timed out\n"), 2);
}

TEST_F(RequestHandlerTest, LogsAFailureWithItsTextAndRaisesItAgain) {
  const std::pair<std::uint32_t, const char*> rows[] = {
      {0x80072EE7,
       "The server name or address specified in the uri parameter could not be resolved."},
      {0x0000007B, "The syntax used in the uri parameter is incorrect."},
      {0x8007007B, "Unknown COMException"},
      {0x800C0014, "A redirection problem occurred."},
  };
  for (const auto& [hresult, text] : rows) {
    output_.Clear();
    transport_.ScriptFailure(hresult);
    try {
      request_.GetStatusAsync().Get();
      ADD_FAILURE() << text;
    } catch (const PlatformError& error) {
      EXPECT_EQ(error.HResult(), hresult);
    }
    const std::string line = "Request Handler - Error processing request (" + std::string(text);
    EXPECT_TRUE(output_.Contains(line)) << line;
  }
}

TEST_F(RequestHandlerTest, RefusesABodyThatIsCutOff) {
  transport_.SetResponder([](const HttpRequest&) {
    HttpResult result;
    result.outcome = HttpResult::Outcome::Answered;
    result.status = 200;
    result.bodyIsWhole = false;
    return result;
  });
  EXPECT_THROW(request_.GetStringAsync().Get(), PlatformError);
}

}  // namespace
}  // namespace Veltro::Internal
