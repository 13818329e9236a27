#include "target/content_loader.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "config/privacy.h"
#include "fakes/fake_platform.h"
#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

using Testing::FakePlatform;

class ContentLoaderTest : public testing::Test {
 protected:
  ContentLoaderTest() {
    config_.targetClientCode = "shop";
    Restart();
  }

  void Restart() {
    loader_ = std::make_unique<ContentLoader>(
        ContentLoader::Sources{config_, privacy_, settings_, persistentParameters_, lifecycleData_,
                               fakes_.clock},
        config_.targetClientCode + ".example", fakes_.httpTransport);
  }

  /// What the server answers from now on: a content, and cookies where they are not empty.
  void Answer(const std::string& content, const std::string& pcId, const std::string& sessionId) {
    fakes_.httpTransport.SetResponder([=, this](const HttpRequest& request) {
      if (!pcId.empty()) fakes_.httpTransport.SetCookie(request.url, "mboxPC", pcId);
      if (!sessionId.empty()) fakes_.httpTransport.SetCookie(request.url, "mboxSession", sessionId);
      HttpResult result;
      result.outcome = HttpResult::Outcome::Answered;
      result.status = 200;
      result.body = content;
      return result;
    });
  }

  std::string Load() { return loader_->LoadRequest({"home", "default", {}}); }
  std::string Ids() { return loader_->GetIds().pcId + "/" + loader_->GetIds().sessionId; }
  std::string Cookie(const std::string& name) {
    return fakes_.httpTransport.GetCookie("http://shop.example/", name);
  }
  bool LastUrlHas(const std::string& text) {
    const std::string url = fakes_.httpTransport.Requests().back().url;
    return url.find(text) != url.npos;
  }

  Testing::LogCapture log_;
  FakePlatform fakes_;
  Configuration config_;
  SettingsStore settings_{fakes_.settings};
  Privacy privacy_{config_, settings_, [](VeltroPrivacyStatus) {}};
  PersistentParameters persistentParameters_;
  LastLifecycleData lifecycleData_;
  std::unique_ptr<ContentLoader> loader_;
};

TEST_F(ContentLoaderTest, CarriesTheServersIdentifiersFromRequestToRequestAndOverARestart) {
  Answer("hello", "pc.1", "");
  EXPECT_EQ(Load(), "hello");
  EXPECT_EQ(Ids(), "pc.1/");
  Answer("", "", "s-1");
  EXPECT_EQ(Load(), "default");
  EXPECT_FALSE(LastUrlHas("mboxPC=")) << "one alone is not sent";
  EXPECT_EQ(Ids(), "pc.1/s-1");

  Restart();
  fakes_.httpTransport.SetCookie("http://shop.example/", "mboxPC", "stale");
  EXPECT_EQ(Ids(), "/");
  Answer("", "not an\tid", std::string(257, 's'));
  Load();
  EXPECT_TRUE(LastUrlHas("&mboxXDomain=disabled&mboxSession=s-1&mboxPC=pc.1&mboxDefault=none"));
  EXPECT_EQ(Ids(), "pc.1/s-1") << "what is no identifier counts as absent";

  loader_->ClearStoredIds();
  EXPECT_EQ(Ids() + Cookie("mboxPC") + Cookie("mboxSession"), "/");
  Restart();
  Answer("", "pc#1", "s#1");
  Load();
  Load();
  EXPECT_TRUE(LastUrlHas("&mboxSession=s%231&mboxPC=pc%231&mboxDefault=none"));
  loader_->ClearStoredIds();
  Answer("", "", "");
  Load();
  EXPECT_EQ(Ids(), "/");
}

TEST_F(ContentLoaderTest, LeavesTheCookiesToARequestThatIsUnderWay) {
  const auto onItsWay = [this](std::size_t count) {
    fakes_.httpTransport.ScriptPending();
    std::thread thread([this] { Load(); });
    EXPECT_TRUE(fakes_.httpTransport.WaitForRequests(count));
    fakes_.httpTransport.SetCookie("http://shop.example/", "mboxPC", "new");  // its answer begins
    return thread;
  };
  std::thread first = onItsWay(1);
  Answer("", "", "");
  Load();
  fakes_.httpTransport.AnswerPending(200);
  first.join();
  EXPECT_EQ(Ids(), "new/");

  std::thread second = onItsWay(3);
  loader_->ClearStoredIds();
  fakes_.httpTransport.SetCookie("http://shop.example/", "mboxPC", "late");
  Answer("", "mixed", "");
  Load();
  EXPECT_EQ(Ids(), "/") << "nobody knows whose cookie that is";
  fakes_.httpTransport.AnswerPending(200);
  second.join();
  EXPECT_EQ(Ids() + Cookie("mboxPC"), "/") << "cleared while the request was under way";
  Answer("", "newest", "");
  Load();
  EXPECT_EQ(Ids(), "newest/");
}

TEST_F(ContentLoaderTest, YieldsTheDefaultContentWhenAnythingFails) {
  struct Row {
    const char* name;
    std::function<void()> arrange;
    TargetLocationRequest request;
    const char* yields;
    const char* line;
  };
  const TargetLocationRequest kRequest{"home", "default", {}};
  const Row rows[] = {
      {"not configured", [this] { config_.targetClientCode = ""; }, kRequest, "",
       "Warning: Target - Your config file is not set up to use Target"},
      {"no host name", [this] { config_.targetClientCode = "a b"; }, kRequest, "default",
       "Warning: Target - Unable to create URI object ("},
      {"not opted in", [this] { privacy_.Set(VeltroPrivacyStatus::OptOut); }, kRequest, "default",
       "Warning: Target - Ignoring request due to privacy status not being opted in"},
      {"no name",
       [] {},
       {"", "default", {}},
       "default",
       "Warning: Target - TargetLocationRequest parameter must have a location name"},
      {"time-out", [this] { fakes_.httpTransport.ScriptTimeout(); }, kRequest, "default",
       "Debug: Target - LocationRequest (home) response was empty"},
      {"refused", [this] { fakes_.httpTransport.ScriptFailure(kHttpCannotConnect); }, kRequest,
       "default",
       "Warning: Target - Unexpected error getting response from server (A connection with"},
      {"error status", [this] { fakes_.httpTransport.ScriptAnswer(500, "oops"); }, kRequest,
       "default", "Warning: Target - Unexpected error getting response from server ("},
      {"URL refused", [this] { fakes_.httpTransport.ScriptFailure(kHttpBadUrl); }, kRequest,
       "default", "Warning: Target - Unable to create URI object ("},
      {"broken lifetime value",
       [this] {
         settings_.Write(u"VLT_LIFETIME_VALUE", std::u16string(u"x"));
         fakes_.httpTransport.ScriptAnswer(200, "content");
       },
       kRequest, "content", "Warning: Target - Unable to read the lifetime value ("},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    log_.Clear();
    config_.targetClientCode = "shop";
    privacy_.Set(VeltroPrivacyStatus::OptIn);
    row.arrange();
    Restart();
    EXPECT_EQ(loader_->LoadRequest(row.request), row.yields);
    EXPECT_TRUE(log_.Contains(row.line)) << row.line;
  }
}

}  // namespace
}  // namespace Veltro::Internal
