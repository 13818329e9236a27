// A foreign client of the binary interface, which links nothing of the library.

#include <dlfcn.h>
#include <stdlib.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <thread>

#include "support/activation_client.h"
#include "support/temporary_folder.h"

namespace Veltro::Abi::Testing {
namespace {

bool WaitUntil(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  for (; !condition(); std::this_thread::yield()) {
    if (std::chrono::steady_clock::now() > end) return false;
  }
  return true;
}

/// Calls a function by its place in the object's table.
template <class... Arguments>
HRESULT Call(IUnknown* object, int slot, Arguments... arguments) {
  void** const table = *reinterpret_cast<void***>(object);
  return reinterpret_cast<HRESULT (*)(void*, Arguments...)>(table[slot])(object, arguments...);
}

class ActivationTest : public testing::Test {
 protected:
  /// The library reads its folders once in a process.
  static void SetUpTestSuite() {
    if (folder_ != nullptr) return;
    folder_ = std::make_unique<Internal::Testing::TemporaryFolder>();
    std::ofstream(folder_->Path() / "VeltroConfig.json") << R"({"analytics":{"rsids":"suite",
        "server":"127.0.0.1:1","offlineEnabled":true,"privacyDefault":"optunknown"}})";
    setenv("VELTRO_PACKAGE_DIR", folder_->Path().c_str(), 1);
    setenv("VELTRO_DATA_DIR", folder_->Path().c_str(), 1);
    void* const library = dlopen(VELTRO_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    factory_ = reinterpret_cast<decltype(factory_)>(dlsym(library, "DllGetActivationFactory"));
    canUnload_ = reinterpret_cast<decltype(canUnload_)>(dlsym(library, "DllCanUnloadNow"));
  }

  void TearDown() override {
    EXPECT_EQ(canUnload_(), 1);
    EXPECT_EQ(config_->Release(), 0U);
    EXPECT_EQ(analytics_->Release(), 0U);
    EXPECT_TRUE(WaitUntil([] { return canUnload_() == 0; })) << "an object was never released";
  }

  template <class Statics>
  static Statics* Get(const char16_t* name) {
    IActivationFactory* factory = nullptr;
    void* statics = nullptr;
    HSTRING className = nullptr;
    EXPECT_EQ(factory_(Text{name}, &factory), kOk);
    EXPECT_EQ(factory->GetRuntimeClassName(&className), kOk);
    EXPECT_EQ(Take(className), name);
    EXPECT_EQ(factory->QueryInterface(kIid<Statics>, &statics), kOk);
    EXPECT_EQ(factory->Release(), 1U);
    return static_cast<Statics*>(statics);
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

  static inline std::unique_ptr<Internal::Testing::TemporaryFolder> folder_;
  static inline decltype(&DllGetActivationFactory) factory_ = nullptr;
  static inline decltype(&DllCanUnloadNow) canUnload_ = nullptr;
  IConfigStatics* const config_ = Get<IConfigStatics>(u"Veltro.Config");
  IAnalyticsStatics* const analytics_ = Get<IAnalyticsStatics>(u"Veltro.Analytics");
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

}  // namespace
}  // namespace Veltro::Abi::Testing
