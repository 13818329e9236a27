// The binary interface: any sequence of calls leaves the library and the client's objects whole.
// Each line of the input is a call: its letter in the table below, and its arguments. The library
// runs on fakes, so nothing leaves the process.

#include "veltro/activation.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "api/runtime.h"
#include "collector/query.h"
#include "core/log.h"
#include "fakes/fake_platform.h"
#include "support/check.h"
#include "support/client.h"
#include "support/script.h"

namespace Veltro::Internal::Fuzz {
namespace {

using namespace Abi;
using namespace Internal::Testing;

constexpr std::chrono::seconds kPatience{15};

constexpr const char* kConfiguration =
    R"({"analytics":{"rsids":"suite","server":"c.example","offlineEnabled":true,
        "privacyDefault":"optunknown","poi":[["home",52.5,13.4,1000]]},
        "target":{"clientCode":"client"},"audienceManager":{"server":"a.example"}})";

HttpResult AnswerOf(const HttpRequest& request) {
  Require(IsUrlText(request.url), "a request has characters that may not stand in a URL");
  HttpResult result;
  result.outcome = HttpResult::Outcome::Answered;
  result.status = 200;
  result.body = R"({"uuid":"1234","stuff":[{"cn":"color","cv":"red"}]})";
  return result;
}

/// The library in a process of its own, as far as it can tell.
struct Process {
  Process() {
    Platform platform;
    auto package = std::make_unique<FakePackage>();
    package->files["VeltroConfig.json"] = kConfiguration;
    auto fakeClock = std::make_unique<FakeClock>();
    auto fakeTransport = std::make_unique<FakeHttpTransport>();
    clock = fakeClock.get();
    fakeTransport->SetResponder(AnswerOf);
    platform.clock = std::move(fakeClock);
    platform.debugOutput = std::make_unique<LogCheck>();
    platform.deviceFacts = std::make_unique<FakeDeviceFacts>();
    platform.httpTransport = std::move(fakeTransport);
    platform.localFolder = std::make_unique<FakeLocalFolder>();
    platform.package = std::move(package);
    platform.randomSource = std::make_unique<FakeRandom>();
    platform.settings = std::make_unique<FakeSettings>();
    platform.targetEdgeDomain = ".example";
    runtime = std::make_unique<Runtime>(std::move(platform));
    Runtime::ReplaceCurrent(runtime.get());
  }

  ~Process() {
    Runtime::ReplaceCurrent(nullptr);
    runtime.reset();
    SetDebugLoggingEnabled(true);
  }

  /// Time goes by once all calls so far are done.
  void Advance(std::int32_t seconds) {
    Require(runtime->WaitUntilSaved(kPatience), "a call is never done");
    clock->Advance(std::chrono::seconds(seconds & 0x7FFFFFFF));
  }

  FakeClock* clock;
  std::unique_ptr<Runtime> runtime;
};

template <auto kMethod>
void TrackWithData(Process&, Client& client, Arguments& arguments) {
  Handle name(arguments.Text());
  Done((client.analytics.get()->*kMethod)(name, Data(arguments)));
}

template <auto kMethod>
void ReportMedia(Process&, Client& client, Arguments& arguments) {
  Handle name(arguments.Text());
  Done((client.media.get()->*kMethod)(name, arguments.Number()));
}

struct Call {
  char letter;
  void (*make)(Process&, Client&, Arguments&);
};

constexpr Call kCalls[] = {
    {'s', TrackWithData<&IAnalyticsStatics::TrackState>},
    {'a', TrackWithData<&IAnalyticsStatics::TrackAction>},
    {'b', TrackWithData<&IAnalyticsStatics::TrackTimedActionStart>},
    {'u', TrackWithData<&IAnalyticsStatics::TrackTimedActionUpdate>},
    {'e', [](Process&, Client& c,
             Arguments& a) { Done(c.analytics->TrackTimedActionEnd(Handle(a.Text()))); }},
    {'x',
     [](Process&, Client& c, Arguments& a) {
       Handle action(a.Text());
       c.Keep<bool>([&](auto to) { return c.analytics->TrackingTimedActionExists(action, to); });
     }},
    {'v',
     [](Process&, Client& c, Arguments& a) {
       const double amount = a.Number();
       Done(c.analytics->TrackLifetimeValueIncrease(amount, Data(a)));
     }},
    {'l',
     [](Process&, Client& c, Arguments& a) {
       const double latitude = a.Number(), longitude = a.Number(), accuracy = a.Number();
       Done(c.analytics->TrackLocation(latitude, longitude, nullptr));
       Done(c.analytics->TrackLocationWithAccuracy(latitude, longitude, accuracy, Data(a)));
     }},
    {'c', [](Process&, Client& c, Arguments&) { Done(c.analytics->ClearTrackingQueue()); }},
    {'i',
     [](Process&, Client& c, Arguments&) {
       c.Keep<HSTRING>([&](auto to) { return c.analytics->GetAnalyticsId(to); });
     }},
    {'p',
     [](Process&, Client& c, Arguments& a) {
       Done(c.config->SetPrivacyStatus(VeltroPrivacyStatus{a.Integer()}));
       c.Keep<VeltroPrivacyStatus>([&](auto to) { return c.config->GetPrivacyStatus(to); });
     }},
    {'d',
     [](Process&, Client& c, Arguments& a) {
       Done(c.config->put_DebugLogging(static_cast<BOOLEAN>(a.Integer())));
     }},
    {'(', [](Process&, Client& c, Arguments&) { Done(c.config->CollectLifecycleData()); }},
    {')', [](Process&, Client& c, Arguments&) { Done(c.config->PauseCollectingLifecycleData()); }},
    {'I', [](Process&, Client& c,
             Arguments& a) { Done(c.config->SetUserIdentifier(Handle(a.Text()))); }},
    {'D',
     [](Process&, Client& c, Arguments& a) {
       Handle dpid(a.Text());
       Done(c.audience->SetDpidAndDpuuid(dpid, Handle(a.Text())));
     }},
    {'S',
     [](Process&, Client& c, Arguments& a) {
       Data traits(a);
       c.Keep<StringMapView*>([&](auto to) { return c.audience->SignalWithData(traits, to); });
     }},
    {'L',
     [](Process&, Client& c, Arguments& a) {
       ClientRequest request(a);
       c.Keep<HSTRING>([&](auto to) { return c.target->LoadRequest(request, to); });
     }},
    {'R', [](Process&, Client& c, Arguments& a) { c.LoadCreated(a, false); }},
    {'O', [](Process&, Client& c, Arguments& a) { c.LoadCreated(a, true); }},
    {'C', [](Process&, Client& c, Arguments&) { Done(c.target->ClearStoredIds()); }},
    {'+',
     [](Process&, Client& c, Arguments& a) {
       const std::u16string key = a.Text();
       c.Insert(key, a.Text());
     }},
    {'-', [](Process&, Client& c, Arguments& a) { c.Remove(a.Text()); }},
    {'0', [](Process&, Client& c, Arguments&) { c.Clear(); }},
    {'=',
     [](Process&, Client& c, Arguments&) {
       c.Keep<HSTRING>([&](auto to) { return c.target->LoadRequest(c.request.get(), to); });
     }},
    {'F', [](Process&, Client& c, Arguments& a) { c.GetFactory(a.Text()); }},
    {'t', [](Process&, Client& c, Arguments& a) { c.PutText(a); }},
    {'n', [](Process&, Client& c, Arguments& a) { c.PutNumbers(a); }},
    {'<', [](Process&, Client& c, Arguments&) { Done(c.media->Open(c.settings.get())); }},
    {'>', [](Process&, Client& c, Arguments& a) { Done(c.media->Close(Handle(a.Text()))); }},
    {'P', ReportMedia<&IMediaStatics::Play>},
    {'H', ReportMedia<&IMediaStatics::Stop>},
    {'E', ReportMedia<&IMediaStatics::Complete>},
    {'K', ReportMedia<&IMediaStatics::Click>},
    {'T',
     [](Process&, Client& c, Arguments& a) {
       Handle name(a.Text());
       Done(c.media->Track(name, Data(a)));
     }},
    {'@', [](Process& process, Client&, Arguments& a) { process.Advance(a.Integer()); }},
    {'?', [](Process&, Client& c, Arguments&) { c.ReadAnswers(); }},
};

const Call& CallFor(char letter) {
  const auto* const found = std::find_if(std::begin(kCalls), std::end(kCalls),
                                         [&](const Call& call) { return call.letter == letter; });
  return found != std::end(kCalls) ? *found
                                   : kCalls[static_cast<unsigned char>(letter) % std::size(kCalls)];
}

void MakeCalls(Process& process, Client& client, std::string_view script) {
  for (const std::string_view line : Collector::Split(script, '\n')) {
    if (line.empty()) continue;
    Arguments arguments(line.substr(1));
    CallFor(line[0]).make(process, client, arguments);
    client.CheckPairs();
  }
}

void CheckCalls(std::string_view script) {
  {
    auto process = std::make_unique<Process>();
    Client client;
    MakeCalls(*process, client, script);
    process.reset();
    client.CheckOperations();
  }
  Require(DllCanUnloadNow() == kOk, "an object was never released");
}

}  // namespace
}  // namespace Veltro::Internal::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  GTEST_FLAG_SET(throw_on_failure, true);  // what the client's objects expect
  Veltro::Internal::Fuzz::CheckCalls({reinterpret_cast<const char*>(data), size});
  return 0;
}
