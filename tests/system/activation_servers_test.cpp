// A foreign client of the binary interface, in an application whose servers are all there.

#include <memory>
#include <string>
#include <vector>

#include "collector/collector.h"
#include "support/activation_fixture.h"

namespace Veltro::Abi::Testing {
namespace {

class ActivationServersTest : public ActivationFixture {
 protected:
  static void SetUpTestSuite() {
    const std::string server = "\"server\":\"" + collector_.Host() + "\"";
    setenv("VELTRO_TARGET_EDGE_DOMAIN", (".localhost:" + std::to_string(collector_.Port())).c_str(),
           1);
    Open((R"({"analytics":{"rsids":"suite",)" + server + R"(},"audienceManager":{)" + server +
          R"(},"target":{"clientCode":"client"}})")
             .c_str());
  }

  static inline Collector::Collector collector_{{.rules = R"({
      "audience":{"rules":[{"when":{"c_color":"red"},"segments":{"color":"red"}}]},
      "content":{"locations":{"welcome":"Hello"}}})"}};
};

TEST_F(ActivationServersTest, GetsProfilesAndContents) {
  EXPECT_EQ(Call(audience_, 9, HSTRING(Text{u"\xE4"}), HSTRING(Text{u"u\xD800"})), kOk);
  EXPECT_TRUE(WaitUntil([&] { return Take(Read<HSTRING>(audience_, 8)) == u"\xE4"; }));
  EXPECT_EQ(Take(Read<HSTRING>(audience_, 7)), u"u\xFFFD");

  Map traits({{u"color", u"red"}}, Fault::None);
  const Owned<IAsyncOperation<StringMapView*>> signal(
      Read<IAsyncOperation<StringMapView*>*>(audience_, 10, static_cast<ContextMap*>(&traits)));
  StringMapView* received = nullptr;
  EXPECT_TRUE(WaitUntil([&] { return signal->GetResults(&received) == kOk; }));
  const Owned<StringMapView> profile(received);
  ASSERT_NE(profile, nullptr);
  EXPECT_EQ(Take(Read<HSTRING>(profile.get(), 6, HSTRING(Text{u"color"}))), u"red");
  HSTRING missing = nullptr;
  EXPECT_EQ(profile->Lookup(Text{u"colour"}, &missing), kOutOfBounds);
  EXPECT_EQ(PairsIn(profile.get()), u"color=red ");

  auto request = std::make_unique<Request>(u"D", std::vector<Entry>{{u"k", u"v"}});
  const Owned<IAsyncOperation<HSTRING>> load(Read<IAsyncOperation<HSTRING>*>(
      target_, 6, static_cast<ITargetLocationRequest*>(request.get())));
  request.reset();
  HSTRING content = nullptr;
  EXPECT_TRUE(WaitUntil([&] { return load->GetResults(&content) == kOk; }));
  EXPECT_EQ(Take(content), u"Hello");
  const auto requests = collector_.Requests(Collector::RequestKind::Content);
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_NE(requests[0].rawTarget.find("&mbox=welcome&k=v&"), std::string::npos);
}

}  // namespace
}  // namespace Veltro::Abi::Testing
