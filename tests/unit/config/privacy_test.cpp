#include "config/privacy.h"

#include <gtest/gtest.h>

#include <vector>

#include "fakes/fake_settings.h"
#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

using Status = VeltroPrivacyStatus;

TEST(Privacy, SetsStoresAndTells) {
  struct Row {
    const char* name;
    bool offline;
    Status set;
    Status status;  // afterwards; OptIn before
    std::optional<std::int32_t> stored;
    bool told;
    SendPermission permission;
    const char* line;
  };
  const Row rows[] = {
      {"opt in", false, Status::OptIn, Status::OptIn, 1, true, SendPermission::Send, ""},
      {"opt out", false, Status::OptOut, Status::OptOut, 2, true, SendPermission::Refuse, ""},
      {"unknown, offline", true, Status::Unknown, Status::Unknown, 3, true, SendPermission::Hold,
       ""},
      {"unknown, online",
       false,
       Status::Unknown,
       Status::OptIn,
       {},
       false,
       SendPermission::Send,
       "Veltro Warning: Analytics - Cannot set privacy status to unknown when offline tracking is "
       "disabled.\n"},
      {"nonsense",
       false,
       Status{7},
       Status{7},
       {},
       true,
       SendPermission::Hold,
       "Veltro Warning: Analytics - Invalid privacy status was ignored (7)\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Testing::LogCapture log;
    Testing::FakeSettings settings;
    SettingsStore store(settings);
    Configuration config;
    config.offlineEnabled = row.offline;
    std::vector<Status> told;
    Privacy privacy(config, store, [&](Status status) { told.push_back(status); });

    privacy.Set(row.set);

    EXPECT_EQ(privacy.Status(), row.status);
    EXPECT_EQ(privacy.Permission(), row.permission);
    EXPECT_EQ(store.ReadInt32(u"PrivacyStatus"), row.stored);
    EXPECT_EQ(told, row.told ? std::vector{row.set} : std::vector<Status>{});
    EXPECT_EQ(log.Lines(),
              *row.line != '\0' ? std::vector<std::string>{row.line} : std::vector<std::string>{});
  }
}

}  // namespace
}  // namespace Veltro::Internal
