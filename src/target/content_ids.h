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

  /// One request's part in them. Others may be under way at the same time.
  class Exchange {
   public:
    /// Loads the identifiers that are not in memory.
    explicit Exchange(ContentIds& ids);
    ~Exchange();
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    /// What the request is to say.
    const Values& Sent() const { return sent_; }

    /// Puts the cookies for the request's URL in line with the identifiers. Not while another
    /// request is under way: it has done so, and its answer may just be bringing new ones. To be
    /// called once; from here on this request is under way.
    void SendCookies(RequestHandler& request);

    /// Takes over the identifiers that the answer has set as cookies, into memory and settings;
    /// unless they were cleared meanwhile.
    void TakeCookies(RequestHandler& request) const;

   private:
    ContentIds& ids_;
    Values sent_;
    std::uint64_t generation_ = 0;
    bool isUnderWay_ = false;
  };

  /// Forgets both, also among the cookies for the URL of `request`.
  void Clear(RequestHandler& request);

 private:
  void Load();
  void Set(Values values);

  SettingsStore& settings_;
  // Keeps settings, cookies and memory in line; guards what follows, and the setting of `values_`.
  std::mutex exchangeMutex_;
  std::uint64_t generation_ = 0;  // how often they were cleared
  int requestsUnderWay_ = 0;
  mutable std::mutex valuesMutex_;
  Values values_;
};

}  // namespace Veltro::Internal
