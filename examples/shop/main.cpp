// A shop that measures what its visitor does: launches, screens, actions with data of every kind,
// how long shopping takes, what is paid, where, how far a film is watched; and the visitor's
// privacy choice. It tells the audience server what the visitor likes, and shows the content that
// the content server chooses. Run it with a collector at the servers that its VeltroConfig.json
// names.

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include "veltro/veltro.h"

using Veltro::Analytics;
using Veltro::AudienceManager;
using Veltro::Config;
using Veltro::ContextData;
using Veltro::Host;
using Veltro::Media;
using Veltro::MediaSettings;
using Veltro::Target;
using Veltro::VeltroPrivacyStatus;

namespace {

/// Numbers the visitor's steps, so that a reader of the hits sees that none is missing.
class Visit {
 public:
  explicit Visit(int firstStep) : step_(firstStep - 1) {}

  void See(const std::string& screen, ContextData data = {}) {
    Analytics::TrackState(screen, Numbered(std::move(data)));
    std::cout << "  sees " << (screen.empty() ? "the start screen" : screen) << std::endl;
  }

  void Do(const std::string& action, ContextData data = {}) {
    Analytics::TrackAction(action, Numbered(std::move(data)));
    std::cout << "  does " << action << std::endl;
  }

  void Begin(const std::string& action) {
    Analytics::TrackTimedActionStart(action);
    const bool runs = Analytics::TrackingTimedActionExists(action).Get();
    std::cout << "  begins " << action << (runs ? "" : " (refused)") << std::endl;
  }

  void End(const std::string& action) {
    Analytics::TrackTimedActionUpdate(action, Numbered({}));
    Analytics::TrackTimedActionEnd(action);
    std::cout << "  ends " << action << std::endl;
  }

  void Pay(double amount) {
    Analytics::TrackLifetimeValueIncrease(amount, Numbered({}));
    std::cout << "  pays " << amount << std::endl;
  }

  void IsAt(double latitude, double longitude) {
    Analytics::TrackLocation(latitude, longitude, Numbered({}));
    std::cout << "  is at " << latitude << ", " << longitude << std::endl;
  }

  int Tracked() const { return tracked_; }

 private:
  ContextData Numbered(ContextData data) {
    ++tracked_;
    data["shop.step"] = ++step_;
    return data;
  }

  int step_;
  int tracked_ = 0;
};

/// The visitor has not been asked yet: everything is collected, and nothing leaves the device.
void Browse(Visit& visit) {
  visit.Begin("shopping");
  visit.See("");  // the start screen goes by the application's own name
  visit.See("Catalogue", {{"catalogue.section", "Garden & Home"}});
  visit.See("Product", {{"product.name", "Gie\u00DFkanne \U0001F331"}, {"product.id", 4711}});
  visit.Do("product.rate", {{"rating.stars", std::int16_t{5}},
                            {"rating.count", std::uint16_t{1204}},
                            {"rating.average", 4.5F},
                            {"rating.sum", 5418.0},
                            {"rating.user", std::int64_t{9007199254740993}},
                            {"rating.total", std::uint64_t{18446744073709551615U}},
                            {"rating.page", 3U},
                            {"rating.verified", true}});
  visit.Do("cart.add", {{"&&products", ";watering can;1;19.90"},
                        {"&&events", "scAdd"},
                        {"cart", "open"},
                        {"cart.items", 1}});
  visit.Do("cart.note", {{"cart note!", "please wrap: \"100%\" = gift?"}});
  visit.See("Cart");
}

/// Learns which segments the visitor is in.
void Signal(const ContextData& traits) {
  const auto profile = AudienceManager::SignalWithData(traits).Get();
  std::cout << "  is in the segments:";
  if (profile) {
    for (const auto& [segment, value] : *profile) std::cout << " " << segment << "=" << value;
  }
  std::cout << std::endl;
}

/// Shows what the content server has for this place, or else `defaultContent`.
void Show(const std::string& place, const std::string& defaultContent) {
  const auto request = Target::CreateRequest(place, defaultContent, {{"shop.section", "garden"}});
  std::cout << "  is shown, as " << place << ": " << Target::LoadRequest(request).Get()
            << std::endl;
}

/// The shop is in the background for a while.
void Rest() {
  Config::PauseCollectingLifecycleData();
  std::this_thread::sleep_for(std::chrono::seconds(2));
  Config::CollectLifecycleData();
  std::cout << "  was away for 2 s, and goes on" << std::endl;
}

void Play(const std::string& name, double from, double to) {
  Media::Play(name, from);
  std::this_thread::sleep_for(std::chrono::duration<double>(to - from));
}

/// The visitor watches a short film, with an ad break in the middle.
void Watch() {
  MediaSettings film, ad;
  film.Name = "How to water";
  film.PlayerName = ad.PlayerName = "Shop window";
  film.Length = 4;
  film.Milestones = "25,50,75";
  film.SegmentByMilestones = true;
  ad.Name = "Half price";
  ad.Length = 1;
  ad.IsMediaAd = true;
  ad.ParentName = film.Name;
  ad.ParentPod = "first break";
  ad.ParentPodPosition = 1;
  ad.CPM = "4.20";

  Media::Open(film);
  Play(film.Name, 0, 2);
  Media::Stop(film.Name, 2);
  Media::Open(ad);
  Play(ad.Name, 0, 1);
  Media::Complete(ad.Name, 1);
  Media::Close(ad.Name);
  Play(film.Name, 2, 4);
  Media::Complete(film.Name, 4);
  Media::Track(film.Name, {{"film.rating", 5}});
  Media::Close(film.Name);
  std::cout << "  watches \"" << film.Name << "\", and an ad in it" << std::endl;
}

/// The visitor has been asked, and changes their mind once.
void Buy(Visit& visit) {
  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
  Config::SetUserIdentifier("visitor-17");
  Signal({{"likes.section", "garden"}, {"cart.items", 1}});
  Show("welcome", "Welcome!");
  visit.See("Checkout");
  Rest();
  visit.Do("purchase", {{"&&purchaseID", "2026-0017"}, {"order.total", 19.9}});
  visit.Pay(19.9);
  visit.IsAt(52.5206, 13.4099);
  Show("recommendation", "Our catalogue");
  Watch();
  visit.End("shopping");
  std::cout << "  the queue is "
            << (Host::Flush(std::chrono::seconds(10)) == Host::FlushResult::Done ? "sent"
                                                                                 : "not sent yet")
            << std::endl;

  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptOut);
  Analytics::TrackState("Secret wishes");  // refused: nothing of it is kept
  std::cout << "  opted out: " << Analytics::GetTrackingQueueSize() << " hits are kept"
            << std::endl;
  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
  visit.See("Goodbye");
}

int Usage() {
  std::cerr << "usage: shop browse | shop buy [first step]\n"
               "  browse  looks around before the visitor has been asked, then waits to be ended\n"
               "  buy     opts in, buys and leaves\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  if (command != "browse" && command != "buy") return Usage();
  Config::DebugLogging(std::getenv("SHOP_DEBUG") != nullptr);
  Host::SetWindowSize(1280, 720);
  Config::CollectLifecycleData();
  Visit visit(argc > 2 ? std::atoi(argv[2]) : 1);
  if (command == "browse") {
    Browse(visit);
    std::cout << Analytics::GetTrackingQueueSize() << " hits wait on disk" << std::endl;
    std::cout << visit.Tracked() << " hits tracked" << std::endl;
    std::this_thread::sleep_for(std::chrono::minutes(10));
  } else {
    Buy(visit);
    Config::PauseCollectingLifecycleData();
    Host::Flush(std::chrono::seconds(10));
    std::cout << visit.Tracked() << " hits tracked" << std::endl;
  }
  return 0;
}
