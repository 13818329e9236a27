// A foreign client of the binary interface, which links nothing of the library.

#include <dlfcn.h>
#include <stdlib.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include "support/activation_client.h"
#include "support/temporary_folder.h"

namespace Veltro::Abi::Testing {
namespace {

using Internal::Testing::TemporaryFolder;
using PrivacyOperation = IAsyncOperation<VeltroPrivacyStatus>;

bool WaitUntil(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition() && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  return condition();
}

/// Calls a function by its place in the object's table.
template <class Object, class... Arguments>
HRESULT Call(const Owned<Object>& object, int slot, Arguments... arguments) {
  void** const table = *reinterpret_cast<void***>(object.get());
  return reinterpret_cast<HRESULT (*)(void*, Arguments...)>(table[slot])(object.get(),
                                                                         arguments...);
}

std::string Between(const std::string& text, const std::string& from, const std::string& to) {
  const std::size_t start = text.find(from);
  if (start == text.npos) return "";
  const std::size_t first = start + from.size();
  return text.substr(first, text.find(to, first) - first);
}

class ActivationTest : public testing::Test {
 protected:
  /// The library reads its folders once in a process.
  static void SetUpTestSuite() {
    folder_ = std::make_unique<TemporaryFolder>();
    std::ofstream(folder_->Path() / "VeltroConfig.json") << R"({"analytics":{"rsids":"suite",
        "server":"127.0.0.1:1","offlineEnabled":true,"privacyDefault":"optunknown"}})";
    setenv("VELTRO_PACKAGE_DIR", folder_->Path().c_str(), 1);
    setenv("VELTRO_DATA_DIR", folder_->Path().c_str(), 1);
    void* const library = dlopen(VELTRO_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    getFactory_ =
        reinterpret_cast<decltype(getFactory_)>(dlsym(library, "DllGetActivationFactory"));
    canUnload_ = reinterpret_cast<decltype(canUnload_)>(dlsym(library, "DllCanUnloadNow"));
    ASSERT_TRUE(getFactory_ != nullptr && canUnload_ != nullptr);
  }

  void TearDown() override {
    EXPECT_EQ(canUnload_(), 1);
    config_.reset();
    analytics_.reset();
    EXPECT_TRUE(WaitUntil([] { return canUnload_() == 0; })) << "an object was never released";
  }

  template <class Statics>
  static Owned<Statics> Get(const char16_t* name) {
    IActivationFactory* factory = nullptr;
    void* statics = nullptr;
    EXPECT_EQ(getFactory_(Text{name}, &factory), kOk);
    EXPECT_EQ(factory->QueryInterface(kIid<Statics>, &statics), kOk);
    EXPECT_EQ(factory->Release(), 1U);
    return Owned<Statics>(static_cast<Statics*>(statics));
  }

  bool WaitForQueueSize(std::int32_t expected) {
    std::int32_t size = -1;
    return WaitUntil([&] { return Call(analytics_, 14, &size) == kOk && size == expected; });
  }

  /// The context data of the only queued hit, once it is on disk. Empties the queue.
  std::string TakeContextData() {
    EXPECT_TRUE(WaitForQueueSize(1));
    std::ifstream file(folder_->Path() / "VeltroDataCache.json");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(Call(analytics_, 15), kOk);
    EXPECT_TRUE(WaitForQueueSize(0));
    return Between(text, "&c.", "&.c");
  }

  Owned<PrivacyOperation> GetPrivacyStatus() {
    PrivacyOperation* operation = nullptr;
    EXPECT_EQ(Call(config_, 7, &operation), kOk);
    return Owned<PrivacyOperation>(operation);
  }

  static inline std::unique_ptr<TemporaryFolder> folder_;
  static inline decltype(&DllGetActivationFactory) getFactory_ = nullptr;
  static inline decltype(&DllCanUnloadNow) canUnload_ = nullptr;
  Owned<IConfigStatics> config_ = Get<IConfigStatics>(u"Veltro.Config");
  Owned<IAnalyticsStatics> analytics_ = Get<IAnalyticsStatics>(u"Veltro.Analytics");
};

TEST_F(ActivationTest, FindsClassesAndInterfaces) {
  for (const char16_t* const name : {u"", u"veltro.Config", u"Veltro.Configs", u"Veltro.Confi"}) {
    auto* factory = reinterpret_cast<IActivationFactory*>(this);
    EXPECT_EQ(getFactory_(Text{name}, &factory), ErrorCode(0x80040154));
    EXPECT_EQ(factory, nullptr);
  }
  struct {
    const char16_t* name;
    GUID statics, others;
  } const rows[] = {{u"Veltro.Config", kIid<IConfigStatics>, kIid<IAnalyticsStatics>},
                    {u"Veltro.Analytics", kIid<IAnalyticsStatics>, kIid<IConfigStatics>}};
  for (const auto& row : rows) {
    IActivationFactory* factory = nullptr;
    ASSERT_EQ(getFactory_(Text{row.name}, &factory), kOk);
    HSTRING name = nullptr;
    EXPECT_EQ(factory->GetRuntimeClassName(&name), kOk);
    EXPECT_EQ(Take(name), row.name);
    void *object = factory, *own = nullptr, *identity = nullptr;
    EXPECT_EQ(factory->QueryInterface(row.others, &object), ErrorCode(0x80004002));
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory->QueryInterface(kIid<IUnknown>, &own), kOk);
    for (const GUID& iid : {kIid<IInspectable>, kIid<IActivationFactory>, row.statics}) {
      ASSERT_EQ(factory->QueryInterface(iid, &object), kOk);
      static_cast<IUnknown*>(object)->QueryInterface(kIid<IUnknown>, &identity);
      EXPECT_EQ(identity, own);
      for (const ULONG remaining : {3U, 2U}) EXPECT_EQ(factory->Release(), remaining);
    }
    for (const ULONG remaining : {1U, 0U}) EXPECT_EQ(factory->Release(), remaining);
  }
}

TEST_F(ActivationTest, RefusesNullResults) {
  EXPECT_EQ(getFactory_(Text{u"Veltro.Config"}, nullptr), ErrorCode(0x80004003));
  for (const int slot : {6, 7, 9, 13}) EXPECT_EQ(Call(config_, slot, nullptr), kNullPointer);
  for (const int slot : {14, 16}) EXPECT_EQ(Call(analytics_, slot, nullptr), kNullPointer);
}

TEST_F(ActivationTest, DoesWhatTheSlotsOfItsTablesSay) {
  HSTRING string = nullptr;
  EXPECT_EQ(Call(config_, 6, &string), kOk);
  EXPECT_EQ(Take(string), u"4.0.0");
  for (const auto expected : {VeltroPrivacyStatus::OptOut, VeltroPrivacyStatus::Unknown}) {
    VeltroPrivacyStatus status{};
    EXPECT_EQ(Call(config_, 8, expected), kOk);
    const auto operation = GetPrivacyStatus();
    EXPECT_TRUE(WaitUntil([&] { return operation->GetResults(&status) == kOk; }));
    EXPECT_EQ(status, expected);
  }
  for (const BOOLEAN enabled : {BOOLEAN{1}, BOOLEAN{0}}) {
    BOOLEAN logging = 2;
    EXPECT_EQ(Call(config_, 10, enabled), kOk);
    EXPECT_TRUE(WaitUntil([&] { return Call(config_, 9, &logging), logging == enabled; }));
  }
  for (const char16_t* const identifier : {u"\xC4nn \xD83D\xDE00", u""}) {
    EXPECT_EQ(Call(config_, 14, HSTRING(Text{identifier})), kOk);
    EXPECT_TRUE(WaitUntil([&] { return Call(config_, 13, &string), Take(string) == identifier; }));
  }
  EXPECT_EQ(Call(analytics_, 7, HSTRING(Text{u"T\xFC\xD83D"}), nullptr), kOk);
  EXPECT_EQ(TakeContextData(), "&a.&action=T%C3%BC%EF%BF%BD&privacy.&mode=unknown&.privacy&.a");
  EXPECT_EQ(Call(analytics_, 6, nullptr, nullptr), kOk);
  EXPECT_EQ(TakeContextData(), "&a.&privacy.&mode=unknown&.privacy&.a");
}

TEST_F(ActivationTest, ReadsContextDataAndReleasesAllOfIt) {
  const Entry kept{u"kept", 1}, lost{u"lost", 2}, bad{u"bad", 1, PropertyType::String};
  std::vector<Entry> everyType;
  for (const Held& held :
       {Held(), Held(std::uint8_t{1}), Held(std::int16_t{INT16_MIN}),
        Held(std::uint16_t{UINT16_MAX}), Held(INT32_MIN), Held(UINT32_MAX), Held(INT64_MIN),
        Held(UINT64_MAX), Held(0.1F), Held(0.1), Held(u'c'), Held(true), Held(u"a b")}) {
    everyType.push_back({std::u16string(1, static_cast<char16_t>(u'a' + held.index())), held});
  }
  for (const int type : {-1, 13, 14, 15, 16, 1036}) {
    everyType.push_back({u"other", 1, PropertyType{type}});
  }
  struct {
    const char* name;
    std::vector<Entry> entries;
    Fault fault;
    std::string expected, logged;
  } const rows[] = {
      {"every type", everyType, Fault::None,
       "&c=-32768&d=65535&e=-2147483648&f=4294967295&g=-9223372036854775808&h=18446744073709551615"
       "&i=0.1&j=0.1&l=true&m=a%20b",
       ""},
      {"lone surrogates", {{u"s\xD800", u"\xDC00y"}}, Fault::None, "&s=%EF%BF%BDy", ""},
      {"failing getter", {bad, kept}, Fault::None, "&kept=1", "(bad)"},
      {"no iterator", {lost}, Fault::NoIterator, "", ""},
      {"fails at the second", {kept, lost}, Fault::CurrentFailsAtSecond, "&kept=1", ""},
      {"fails to move on", {kept, lost}, Fault::MoveNextFails, "&kept=1", ""},
      {"never ends", {kept}, Fault::NeverEnds, "&kept=1", ""}};
  BOOLEAN logging = 0;
  config_->put_DebugLogging(1);
  EXPECT_TRUE(WaitUntil([&] { return config_->get_DebugLogging(&logging), logging == 1; }));
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    testing::internal::CaptureStderr();
    {
      Map map(row.entries, row.fault);
      EXPECT_EQ(analytics_->TrackState(Text{u"Home"}, &map), kOk);
    }
    EXPECT_EQ(TakeContextData(), "&a.&privacy.&mode=unknown&.privacy&.a" + row.expected);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(Between(log, "Unable to translate value for context data key ", "\n"), row.logged);
  }
  config_->put_DebugLogging(0);
}

TEST_F(ActivationTest, CompletesOperationsThatNobodyHolds) {
  std::atomic<bool> isBlocked = false, mayGoOn = false, isCompleted = false;
  Handler<VeltroPrivacyStatus> blocker([&, own = std::this_thread::get_id()](auto*) {
    if (std::this_thread::get_id() == own) return;
    isBlocked = true;
    WaitUntil([&] { return mayGoOn.load(); });
  });
  // Handlers run where results are made: one that waits keeps all later ones under way.
  for (int i = 0; i < 1000 && !isBlocked; ++i) {
    ASSERT_EQ(GetPrivacyStatus()->put_Completed(&blocker), kOk);
    ASSERT_TRUE(WaitUntil([&] { return isBlocked || blocker.References() == 0; }));
  }
  VeltroPrivacyStatus status{};
  Handler<VeltroPrivacyStatus> handler([&](PrivacyOperation* operation) {
    IAsyncOperationCompletedHandler<VeltroPrivacyStatus>* kept = &blocker;
    EXPECT_EQ(operation->GetResults(&status), kOk);
    EXPECT_EQ(operation->get_Completed(&kept), kOk);
    EXPECT_EQ(kept, nullptr) << "a handler may hold its operation";
    isCompleted = true;
  });
  auto operation = GetPrivacyStatus();
  void* info = nullptr;
  EXPECT_EQ(operation->GetResults(&status), ErrorCode(0x8000000E));
  EXPECT_EQ(operation->put_Completed(&handler), kOk);
  EXPECT_EQ(operation->put_Completed(&handler), ErrorCode(0x80000018));
  ASSERT_EQ(operation->QueryInterface(kIid<IAsyncInfo>, &info), kOk);
  EXPECT_EQ(Owned<IAsyncInfo>(static_cast<IAsyncInfo*>(info))->Close(), ErrorCode(0x8000000D));
  operation.reset();
  EXPECT_FALSE(isCompleted);
  mayGoOn = true;

  ASSERT_TRUE(WaitUntil([&] { return isCompleted.load(); }));
  EXPECT_EQ(status, VeltroPrivacyStatus::Unknown);
  EXPECT_TRUE(WaitUntil([&] { return handler.References() + blocker.References() == 0; }));
}

TEST_F(ActivationTest, CallsAHandlerThatComesLateAtOnce) {
  IAsyncOperation<HSTRING>* operation = nullptr;
  HSTRING id = nullptr, idInHandler = nullptr;
  ASSERT_EQ(Call(analytics_, 16, &operation), kOk);
  ASSERT_TRUE(WaitUntil([&] { return operation->GetResults(&id) == kOk; }));
  Handler<HSTRING> handler([&](auto* sender) { sender->GetResults(&idInHandler); });

  EXPECT_EQ(operation->put_Completed(&handler), kOk);

  EXPECT_FALSE(ViewString(id).empty());
  EXPECT_EQ(Take(idInHandler), Take(id));
  EXPECT_TRUE(WaitUntil([&] { return handler.References() == 0; }));
  operation->Release();
}

}  // namespace
}  // namespace Veltro::Abi::Testing
