#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "core/request_handler.h"
#include "core/settings_store.h"

namespace Veltro::Internal {

/// The identifiers of the user's profile ("mboxPC") and session ("mboxSession") that the content
/// server hands out. They live in memory, in the settings between runs, and travel as cookies. Safe
/// to use from any thread; what reads or writes the settings waits for them, and throws
/// `PlatformError` when they fail.
class ContentIds {
 public:
  struct Values {
    std::string pcId;
    std::string sessionId;
  };

  explicit ContentIds(SettingsStore& settings) : settings_(settings) {}

  /// What is in memory. Waits for nothing.
  Values InMemory() const;

  /// The identifiers that a request is to carry, and how often they had been cleared by then.
  struct Loaded {
    Values values;
    std::uint64_t generation = 0;
  };

  /// Loads the identifiers that are not in memory.
  Loaded Load();

  /// A request under way, for as long as it lives. Others may be, too.
  class Exchange {
   public:
    /// Puts the cookies for the request's URL in line with the identifiers. Not while another
    /// request is under way: it has done so, and its answer may just be bringing new ones.
    Exchange(ContentIds& ids, const Loaded& sent, RequestHandler& request);
    ~Exchange();
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    /// Takes over the identifiers that the answer has set as cookies, into memory and settings.
    /// Not those that may be from before a `Clear`.
    void TakeCookies() const;

   private:
    bool IsStale() const { return generation_ != ids_.generation_; }

    ContentIds& ids_;
    const std::uint64_t generation_;
    RequestHandler& request_;
    bool mayTakeCookies_ = false;
  };

  /// Forgets both, also among the cookies for the URL of `request`.
  void Clear(RequestHandler& request);

 private:
  void Set(Values values);
  void PutCookies(RequestHandler& request) const;

  SettingsStore& settings_;
  // Keeps settings, cookies and memory in line; guards what follows, and the setting of `values_`.
  std::mutex exchangeMutex_;
  std::uint64_t generation_ = 0;  // how often they were cleared
  int requestsUnderWay_ = 0;      // since the last time
  int staleRequests_ = 0;         // under way from before: they may bring back what was cleared
  mutable std::mutex valuesMutex_;
  Values values_;
};

}  // namespace Veltro::Internal
