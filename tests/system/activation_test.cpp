// A foreign client of the binary interface, which links nothing of the library.

#include <fstream>
#include <iterator>
#include <memory>
#include <thread>
#include <vector>

#include "support/activation_fixture.h"

namespace Veltro::Abi::Testing {
namespace {

class ActivationTest : public ActivationFixture {
 protected:
  static void SetUpTestSuite() {
    Open(R"({"analytics":{"rsids":"suite","server":"127.0.0.1:1","offlineEnabled":true,
        "privacyDefault":"optunknown"},"target":{"clientCode":"client"}})");
  }

  /// Expects the context data of the only queued hit to end with this, and empties the queue.
  void ExpectHit(const std::string& contextData) { ExpectInHit(contextData + "&.c&"); }

  /// Looks for `part` in the only queued hit, once it is on disk, and empties the queue.
  void ExpectInHit(const std::string& part) {
    std::int32_t size = -1;
    EXPECT_TRUE(WaitUntil([&] { return Call(analytics_, 14, &size), size == 1; }));
    std::ifstream file(folder_->Path() / "VeltroDataCache.json");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_PRED_FORMAT2(testing::IsSubstring, part, text);
    EXPECT_EQ(Call(analytics_, 15), kOk);
    EXPECT_TRUE(WaitUntil([&] { return Call(analytics_, 14, &size), size == 0; }));
  }

  PrivacyOperation* GetPrivacyStatus() {
    PrivacyOperation* operation = nullptr;
    EXPECT_EQ(Call(config_, 7, &operation), kOk);
    return operation;
  }
};

TEST_F(ActivationTest, RefusesUnknownNamesAndInterfacesAndNullResults) {
  for (const char16_t* const name : {u"", u"veltro.Config", u"Veltro.Configs", u"Veltro.Confi"}) {
    auto* factory = reinterpret_cast<IActivationFactory*>(this);
    EXPECT_EQ(factory_(Text{name}, &factory), ErrorCode(0x80040154));
    EXPECT_EQ(factory, nullptr);
  }
  void *object = this, *own = nullptr, *identity = nullptr;
  EXPECT_EQ(config_->QueryInterface(kIid<IAnalyticsStatics>, &object), ErrorCode(0x80004002));
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(config_->QueryInterface(kIid<IUnknown>, &own), kOk);
  for (const GUID& iid : {kIid<IInspectable>, kIid<IActivationFactory>, kIid<IConfigStatics>}) {
    ASSERT_EQ(config_->QueryInterface(iid, &object), kOk);
    static_cast<IUnknown*>(object)->QueryInterface(kIid<IUnknown>, &identity);
    EXPECT_EQ(identity, own);
    for (const ULONG remaining : {3U, 2U}) EXPECT_EQ(config_->Release(), remaining);
  }
  EXPECT_EQ(config_->Release(), 1U);
  EXPECT_EQ(factory_(Text{u"Veltro.Config"}, nullptr), ErrorCode(0x80004003));
  for (const int slot : {6, 7, 9, 13, 15}) EXPECT_EQ(Call(config_, slot, nullptr), kNullPointer);
  for (const int slot : {14, 16}) EXPECT_EQ(Call(analytics_, slot, nullptr), kNullPointer);
  EXPECT_EQ(Call(analytics_, 11, nullptr, nullptr), kNullPointer);
  for (const int slot : {6, 7, 8}) EXPECT_EQ(Call(audience_, slot, nullptr), kNullPointer);
  for (const int slot : {7, 8, 9, 10, 11}) EXPECT_EQ(Call(target_, slot, nullptr), kNullPointer);
  EXPECT_EQ(Call(audience_, 10, nullptr, nullptr), kNullPointer);
  EXPECT_EQ(Call(target_, 6, nullptr, nullptr), kNullPointer);
}

TEST_F(ActivationTest, DoesWhatTheSlotsOfItsTablesSay) {
  HSTRING text = nullptr;
  EXPECT_EQ(Call(config_, 6, &text), kOk);
  EXPECT_EQ(Take(text), u"4.0.0");
  for (const auto expected : {VeltroPrivacyStatus::OptOut, VeltroPrivacyStatus::Unknown}) {
    VeltroPrivacyStatus status{}, inHandler{};
    Handler handler([&](PrivacyOperation* sender) { sender->GetResults(&inHandler); });
    EXPECT_EQ(Call(config_, 8, expected), kOk);
    PrivacyOperation* const operation = GetPrivacyStatus();
    EXPECT_TRUE(WaitUntil([&] { return operation->GetResults(&status) == kOk; }));
    EXPECT_EQ(operation->put_Completed(&handler), kOk);
    EXPECT_EQ(status, expected);
    EXPECT_EQ(inHandler, expected) << "a handler that comes late is called at once";
    operation->Release();
  }
  for (const BOOLEAN enabled : {BOOLEAN{1}, BOOLEAN{0}}) {
    BOOLEAN logging = 2;
    EXPECT_EQ(Call(config_, 10, enabled), kOk);
    EXPECT_TRUE(WaitUntil([&] { return Call(config_, 9, &logging), logging == enabled; }));
  }
  for (const char16_t* const identifier : {u"\xC4nn \xD83D\xDE00", u""}) {
    EXPECT_EQ(Call(config_, 14, HSTRING(Text{identifier})), kOk);
    EXPECT_TRUE(WaitUntil([&] { return Call(config_, 13, &text), Take(text) == identifier; }));
  }
  EXPECT_EQ(Call(analytics_, 7, HSTRING(Text{u"T\xFC\xD83D"}), nullptr), kOk);
  ExpectHit("&action=T%C3%BC%EF%BF%BD&privacy.&mode=unknown&.privacy&.a");
  EXPECT_EQ(Call(analytics_, 6, nullptr, nullptr), kOk);
  ExpectHit("&privacy.&mode=unknown&.privacy&.a");
  IAsyncOperation<HSTRING>* id = nullptr;
  EXPECT_EQ(Call(analytics_, 16, &id), kOk);
  EXPECT_TRUE(WaitUntil([&] { return id->GetResults(&text) == kOk; }));
  EXPECT_FALSE(Take(text).empty());
  id->Release();
}

TEST_F(ActivationTest, ReadsContextDataAndReleasesAllOfIt) {
  const Entry kept{u"kept", 1}, lost{u"lost", 2}, bad{u"bad", 1, PropertyType::String};
  std::vector<Entry> every;
  for (const Held& held :
       {Held(), Held(std::uint8_t{1}), Held(std::int16_t{INT16_MIN}),
        Held(std::uint16_t{UINT16_MAX}), Held(INT32_MIN), Held(UINT32_MAX), Held(INT64_MIN),
        Held(UINT64_MAX), Held(0.1F), Held(0.1), Held(u'c'), Held(true), Held(u"a b")}) {
    every.push_back({std::u16string(1, static_cast<char16_t>(u'a' + held.index())), held});
  }
  for (const int type : {-1, 13, 14, 15, 16, 1036}) every.push_back({u"x", 1, PropertyType{type}});
  struct {
    const char* name;
    std::vector<Entry> entries;
    Fault fault;
    std::string expected, logged = "";
  } const rows[] = {
      {"every type", every, Fault::None,
       "&c=-32768&d=65535&e=-2147483648&f=4294967295&g=-9223372036854775808&h=18446744073709551615"
       "&i=0.1&j=0.1&l=true&m=a%20b"},
      {"lone surrogates", {{u"s\xD800", u"\xDC00y"}}, Fault::None, "&s=%EF%BF%BDy"},
      {"failing getter", {bad, kept}, Fault::None, "&kept=1", "context data key (bad)\n"},
      {"no iterator", {lost}, Fault::NoIterator, ""},
      {"fails at the second", {kept, lost}, Fault::CurrentFailsAtSecond, "&kept=1"},
      {"fails to move on", {kept, lost}, Fault::MoveNextFails, "&kept=1"},
      {"never ends", {kept}, Fault::NeverEnds, "&kept=1"}};
  BOOLEAN logging = 0;
  config_->put_DebugLogging(1);
  EXPECT_TRUE(WaitUntil([&] { return config_->get_DebugLogging(&logging), logging == 1; }));
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    testing::internal::CaptureStderr();
    auto map = std::make_unique<Map>(row.entries, row.fault);
    EXPECT_EQ(analytics_->TrackState(Text{u"Home"}, map.get()), kOk);
    map.reset();
    ExpectHit("&privacy.&mode=unknown&.privacy&.a" + row.expected);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_PRED_FORMAT2(testing::IsSubstring, row.logged, log);
    EXPECT_EQ(log.find("Unable to translate") == log.npos, row.logged.empty()) << log;
  }
  config_->put_DebugLogging(0);
}

TEST_F(ActivationTest, CallsTheOneHandlerOfAnOperationThatNobodyHolds) {
  std::atomic<bool> isCalled = false, isEarly = false;
  Handler handler([&, own = std::this_thread::get_id()](PrivacyOperation* operation) {
    VeltroPrivacyStatus status{};
    PrivacyHandler* kept = &handler;
    EXPECT_EQ(operation->GetResults(&status), kOk);
    EXPECT_EQ(status, VeltroPrivacyStatus::Unknown);
    EXPECT_EQ(operation->get_Completed(&kept), kOk);
    EXPECT_EQ(kept, nullptr) << "a handler may hold its operation";
    isEarly = std::this_thread::get_id() != own;
    isCalled = true;
  });
  // The result may well have arrived before the handler was set; not every time, though.
  for (int i = 0; i < 1000 && !isEarly; ++i) {
    isCalled = false;
    VeltroPrivacyStatus status{};
    PrivacyOperation* const operation = GetPrivacyStatus();
    const HRESULT result = operation->GetResults(&status);
    EXPECT_EQ(operation->put_Completed(&handler), kOk);
    EXPECT_EQ(operation->put_Completed(&handler), ErrorCode(0x80000018));
    operation->Release();
    ASSERT_TRUE(WaitUntil([&] { return isCalled && handler.References() == 0; }));
    EXPECT_TRUE(!isEarly || result == ErrorCode(0x8000000E)) << result;
  }
  EXPECT_TRUE(isEarly);
}

TEST_F(ActivationTest, MeasuresTimesValuesPlacesAndLaunches) {
  const char16_t* const pay = u"pay";
  Map data({{u"kept", 1}}, Fault::None);
  EXPECT_EQ(Call(analytics_, 8, HSTRING(Text{pay}), nullptr), kOk);
  EXPECT_EQ(Call(analytics_, 9, HSTRING(Text{pay}), static_cast<ContextMap*>(&data)), kOk);
  for (const BOOLEAN expected : {BOOLEAN{1}, BOOLEAN{0}}) {
    IAsyncOperation<bool>* operation = nullptr;
    BOOLEAN exists = 2;
    EXPECT_EQ(Call(analytics_, 11, HSTRING(Text{pay}), &operation), kOk);
    EXPECT_TRUE(WaitUntil([&] { return operation->GetResults(&exists) == kOk; }));
    EXPECT_EQ(exists, expected);
    operation->Release();
    EXPECT_EQ(Call(analytics_, 10, HSTRING(Text{pay})), kOk);
  }
  ExpectInHit("&action=pay&action.&time.&inapp=");

  double before = -1, after = -1;
  EXPECT_EQ(Call(config_, 15, &before), kOk);
  EXPECT_EQ(Call(analytics_, 12, 19.5, nullptr), kOk);
  ExpectInHit("&internalaction=LifetimeValueIncrease&ltv.&amount=");
  EXPECT_EQ(Call(config_, 15, &after), kOk);
  EXPECT_EQ(after - before, 19.5);
  EXPECT_EQ(Call(analytics_, 13, 12.5, -3.25, static_cast<ContextMap*>(&data)), kOk);
  ExpectInHit("&loc.&lat.&a=012.5&b=00&c=00&.lat&lon.&a=-003.2&b=50&c=00&.lon&.loc&");
  EXPECT_EQ(Call(analytics_, 17, 12.5, -3.25, 7.0, nullptr), kOk);
  ExpectInHit("&loc.&acc=7&lat.&a=012.5&");

  EXPECT_EQ(Call(config_, 11), kOk);
  ExpectInHit("&internalaction=Lifecycle&");
  EXPECT_EQ(Call(config_, 12), kOk);
  EXPECT_EQ(Call(config_, 11), kOk);  // comes back at once, which is no launch
  EXPECT_EQ(Call(analytics_, 6, nullptr, nullptr), kOk);
  ExpectInHit("&LaunchEvent=LaunchEvent&");
}

TEST_F(ActivationTest, MakesRequestsWithLiveMaps) {
  const Owned<IActivationFactory> factory(Get<IActivationFactory>(u"Veltro.TargetLocationRequest"));
  const Owned<IInspectable> instance(Read<IInspectable*>(factory.get(), 6));
  const auto request = As<ITargetLocationRequest>(instance.get());
  for (const int slot : {6, 8}) {
    EXPECT_EQ(Take(Read<HSTRING>(request.get(), slot)), u"");
    EXPECT_EQ(Call(request.get(), slot + 1, HSTRING(Text{slot == 6 ? u"N" : u"D\xD800"})), kOk);
  }
  EXPECT_EQ(Take(Read<HSTRING>(request.get(), 6)), u"N");
  EXPECT_EQ(Take(Read<HSTRING>(request.get(), 8)), u"D\xFFFD");

  const Owned<StringMapInterface> map(Read<StringMapInterface*>(request.get(), 10));
  const Owned<StringMapInterface> same(Read<StringMapInterface*>(request.get(), 10));
  const auto insert = [&](const char16_t* key, const char16_t* value) {
    return Read<BOOLEAN>(map.get(), 10, HSTRING(Text{key}), HSTRING(Text{value}));
  };
  EXPECT_EQ(insert(u"b", u"old"), 0);
  EXPECT_EQ(insert(u"b\xD800", u"\xDC00"), 0);
  EXPECT_EQ(insert(u"b", u"\xE4"), 1);
  EXPECT_EQ(insert(u"", u""), 0);
  const Owned<StringMapView> view(Read<StringMapView*>(same.get(), 9));
  EXPECT_EQ(Call(map.get(), 11, HSTRING(Text{u"b"})), kOk);
  EXPECT_EQ(Call(map.get(), 11, HSTRING(Text{u"b"})), ErrorCode(0x8000000B));
  EXPECT_EQ(PairsIn(same.get()), u"= b\xFFFD=\xFFFD ");
  EXPECT_EQ(Call(map.get(), 12), kOk);

  // A view and the map have the first slots in common; the view is as the map was.
  const struct {
    IUnknown* object;
    std::uint32_t size;
    BOOLEAN has;
    HRESULT lookup;
    std::u16string value, pairs;
  } rows[] = {{map.get(), 0, 0, kOutOfBounds, u"", u""},
              {view.get(), 3, 1, kOk, u"\xE4", u"= b=\xE4 b\xFFFD=\xFFFD "}};
  for (const auto& row : rows) {
    auto value = reinterpret_cast<HSTRING>(this);
    EXPECT_EQ(Call(row.object, 6, HSTRING(Text{u"b"}), &value), row.lookup);
    EXPECT_EQ(Take(value), row.value);
    EXPECT_EQ(Read<std::uint32_t>(row.object, 7), row.size);
    EXPECT_EQ(Read<BOOLEAN>(row.object, 8, HSTRING(Text{u"b"})), row.has);
    EXPECT_EQ(PairsIn(row.object), row.pairs);
  }
  StringMapView *first = view.get(), *second = view.get();
  EXPECT_EQ(Call(view.get(), 9, &first, &second), kOk);
  EXPECT_EQ(first, nullptr);
  EXPECT_EQ(second, nullptr);
  const auto iterable = As<StringIterable>(view.get());
  const Owned<StringIterator> iterator(Read<StringIterator*>(iterable.get(), 6));
  for (const std::uint32_t expected : {2U, 1U, 0U}) {
    StringPair* pairs[2] = {};
    EXPECT_EQ(Read<std::uint32_t>(iterator.get(), 9, 2U, &pairs[0]), expected);
    for (StringPair* const pair : pairs) {
      if (pair != nullptr) pair->Release();
    }
  }

  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 200; ++n) {
        insert(n % 2 == 0 ? u"even" : u"odd", u"1");
        PairsIn(map.get());
        Call(map.get(), 12);
        Call(request.get(), 7, HSTRING(Text{n % 2 == 0 ? u"long enough to be elsewhere" : u""}));
        Take(Read<HSTRING>(request.get(), 6));
        Call(request.get(), 11, nullptr);
        Owned<StringMapInterface>(Read<StringMapInterface*>(request.get(), 10));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(ActivationTest, ReadsRequestsOfAnyMakeAndGivesThemBack) {
  // The content is the default one: the user has not opted in.
  const auto expectContent = [](IAsyncOperation<HSTRING>* operation, std::u16string expected) {
    const Owned<IAsyncOperation<HSTRING>> owned(operation);
    HSTRING content = nullptr;
    EXPECT_TRUE(WaitUntil([&] { return operation->GetResults(&content) == kOk; }));
    EXPECT_EQ(Take(content), expected);
  };
  const auto load = [&](ITargetLocationRequest* request) {
    return Read<IAsyncOperation<HSTRING>*>(target_, 6, request);
  };
  const Entry kept{u"k\xD800", u"v\xDC00"}, other{u"b", u"2"}, bad{u"bad", 1};
  struct {
    const char* name;
    const char16_t* content;
    std::u16string read;
    std::vector<Entry> entries;
    Fault fault;
    std::u16string pairs;
  } const rows[] = {
      {"texts", u"D\xD800", u"D\xFFFD", {kept, other}, Fault::None, u"b=2 k\xFFFD=v\xFFFD "},
      {"no content", nullptr, u"", {kept}, Fault::NoIterator, u""},
      {"a pair without a value", u"D", u"D", {bad, other}, Fault::None, u"b=2 "},
      {"never ends", u"D", u"D", {other}, Fault::NeverEnds, u"b=2 "}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    auto request = std::make_unique<Request>(row.content, row.entries, row.fault);
    auto* const operation = load(request.get());
    request = std::make_unique<Request>(row.content, row.entries, row.fault);
    const Owned<ITargetLocationRequest> created(Read<ITargetLocationRequest*>(
        target_, 12, HSTRING(Text{u"N"}), HSTRING(Text{u"own"}), request->Parameters()));
    request.reset();
    expectContent(operation, row.read);
    expectContent(load(created.get()), u"own");
    EXPECT_EQ(Take(Read<HSTRING>(created.get(), 6)), u"N");
    const Owned<StringMapInterface> map(Read<StringMapInterface*>(created.get(), 10));
    EXPECT_EQ(PairsIn(map.get()), row.pairs);
  }
  expectContent(load(nullptr), u"");

  Request order(u"", {{u"orderId", u"0"}, other});
  const Owned<ITargetLocationRequest> created(
      Read<ITargetLocationRequest*>(target_, 13, HSTRING(Text{u"N"}), HSTRING(Text{u"1"}),
                                    HSTRING(Text{u"2"}), HSTRING(Text{u"3"}), order.Parameters()));
  Owned<StringMapInterface> map(Read<StringMapInterface*>(created.get(), 10));
  std::u16string names;
  for (const int slot : {9, 10, 11}) names += Take(Read<HSTRING>(target_, slot)) + u" ";
  EXPECT_EQ(names, u"orderId orderTotal productPurchasedId ");
  EXPECT_EQ(PairsIn(map.get()), u"b=2 orderId=1 orderTotal=2 productPurchasedId=3 ");

  // A client's map is kept as it is, until another takes its place.
  EXPECT_EQ(Call(created.get(), 11, order.Parameters()), kOk);
  map.reset(Read<StringMapInterface*>(created.get(), 10));
  EXPECT_EQ(map.get(), order.Parameters());
  map.reset();
  EXPECT_EQ(order.References(), 1U);
  EXPECT_EQ(Call(created.get(), 11, nullptr), kOk);
  EXPECT_EQ(order.References(), 0U);
  map.reset(Read<StringMapInterface*>(created.get(), 10));
  EXPECT_EQ(PairsIn(map.get()), u"");
}

TEST_F(ActivationTest, PlaysMediaBySettingsOfEveryKind) {
  const Owned<IActivationFactory> factory(Get<IActivationFactory>(u"Veltro.MediaSettings"));
  const Owned<IInspectable> instance(Read<IInspectable*>(factory.get(), 6));
  const auto settings = As<IMediaSettings>(instance.get());
  IMediaSettings* const object = settings.get();
  // Name, PlayerName, PlayerId, Channel, Milestones, OffsetMilestones, ParentName, ParentPod, CPM
  for (const int slot : {6, 8, 10, 14, 16, 18, 28, 30, 32}) {
    EXPECT_EQ(Take(Read<HSTRING>(object, slot)), u"");
    EXPECT_EQ(Call(object, slot + 1, HSTRING(Text{std::u16string(1, char16_t(u'A' + slot))})), kOk);
  }
  for (const int slot : {12, 34}) {  // Length, ParentPodPosition
    EXPECT_EQ(Read<double>(object, slot), 0);
    EXPECT_EQ(Call(object, slot + 1, 100.5 + slot), kOk);
  }
  for (const int slot :
       {20, 22, 36}) {  // SegmentByMilestones, SegmentByOffsetMilestones, IsMediaAd
    EXPECT_EQ(Read<BOOLEAN>(object, slot), 0);
    EXPECT_EQ(Call(object, slot + 1, BOOLEAN{1}), kOk);
  }
  for (const int slot : {24, 26}) {  // TrackSeconds, CompleteCloseOffsetThreshold
    EXPECT_EQ(Read<std::int32_t>(object, slot), slot == 24 ? 0 : 1);
    EXPECT_EQ(Call(object, slot + 1, slot), kOk);
  }
  for (const int slot : {6, 8, 10, 14, 28, 30, 32}) {
    EXPECT_EQ(Take(Read<HSTRING>(object, slot)), std::u16string(1, char16_t(u'A' + slot)));
    EXPECT_EQ(Call(object, slot, nullptr), kNullPointer);
  }
  EXPECT_EQ(Call(object, 17, HSTRING(Text{u"50"})), kOk);
  EXPECT_EQ(Call(object, 19, HSTRING(Text{u"10"})), kOk);
  EXPECT_EQ(Read<double>(object, 12), 112.5);
  EXPECT_EQ(Read<double>(object, 34), 134.5);
  EXPECT_EQ(Read<std::int32_t>(object, 24), 24);
  EXPECT_EQ(Read<std::int32_t>(object, 26), 26);
  EXPECT_EQ(Read<BOOLEAN>(object, 36), 1);

  Map data({{u"kept", 1}}, Fault::None);
  const auto report = [&](int slot, double offset) {
    EXPECT_EQ(Call(media_, slot, HSTRING(Text{u"G"}), offset), kOk);
  };
  EXPECT_EQ(Call(media_, 6, nullptr), kOk);
  EXPECT_EQ(Call(media_, 6, object), kOk);
  report(8, 0);
  ExpectInHit(
      "&contentType=videoAd&internalaction=Media&media.&ad.&CPM=a&length=112&name=G"
      "&playerName=I&pod=_&podPosition=134&segment=M%3A0-50&segmentNum=1&view=true&.ad"
      "&channel=O&name=%5D&.media");
  report(11, 1);
  ExpectInHit("&clicked=true&");
  EXPECT_EQ(Call(media_, 12, HSTRING(Text{u"G"}), static_cast<ContextMap*>(&data)), kOk);
  ExpectInHit("&kept=1&");
  report(10, 9);
  report(8, 12);
  ExpectInHit("&offsetMilestone=10&");
  report(10, 36);
  ExpectInHit("&timePlayed=24&");
  report(8, 60);
  ExpectInHit("&milestone=50&");
  report(9, 90);
  ExpectInHit("&complete=true&");
  EXPECT_EQ(Call(object, 7, HSTRING(Text{u"H"})), kOk);
  EXPECT_EQ(Call(object, 21, BOOLEAN{0}), kOk);
  EXPECT_EQ(Call(media_, 6, object), kOk);  // which closes "G", of the same player
  EXPECT_EQ(Call(media_, 12, HSTRING(Text{u"G"}), nullptr), kOk);
  EXPECT_EQ(Call(media_, 8, HSTRING(Text{u"H"}), 0.0), kOk);
  ExpectInHit("&segment=O%3A0-10&");
  EXPECT_EQ(Call(media_, 7, HSTRING(Text{u"H"})), kOk);
  EXPECT_EQ(Call(media_, 12, HSTRING(Text{u"H"}), nullptr), kOk);
  EXPECT_EQ(Call(analytics_, 7, HSTRING(Text{u"end"}), nullptr), kOk);
  ExpectInHit("&action=end&");
}

TEST_F(ActivationTest, AnswersWithoutServers) {
  const Owned<StringMapView> profile(Read<StringMapView*>(audience_, 6));
  EXPECT_EQ(PairsIn(profile.get()), u"");
  EXPECT_EQ(Call(target_, 14), kOk);
  for (const int slot : {7, 8}) EXPECT_EQ(Take(Read<HSTRING>(target_, slot)), u"");

  Map traits({{u"color", u"red"}}, Fault::None);
  const Owned<IAsyncOperation<StringMapView*>> operation(
      Read<IAsyncOperation<StringMapView*>*>(audience_, 10, static_cast<ContextMap*>(&traits)));
  StringMapView* answer = profile.get();
  EXPECT_TRUE(WaitUntil([&] { return operation->GetResults(&answer) == kOk; }));
  EXPECT_EQ(answer, nullptr);
}

}  // namespace
}  // namespace Veltro::Abi::Testing
