#include "core/device_information.h"

#include <gtest/gtest.h>

#include "core/log.h"
#include "fakes/fake_clock.h"
#include "fakes/fake_device_facts.h"
#include "fakes/fake_package.h"
#include "fakes/recording_debug_output.h"

namespace Veltro::Internal {
namespace {

class DeviceInformationTest : public testing::Test {
 protected:
  Testing::FakeDeviceFacts facts_;
  Testing::FakePackage package_;
  Testing::FakeClock clock_;
  DeviceInformation device_{facts_, package_, clock_};
};

TEST_F(DeviceInformationTest, NamesTheDeviceInTheUserAgent) {
  struct Row {
    const char* name;
    const char16_t *family, *version, *manufacturer, *model, *agent;
  };
  const Row rows[] = {
      {"desktop", u"Windows.Desktop", u"2814749767106560", u"Acme", u"Box 7",
       u"Mozilla/5.0 (Windows NT 10.0; Win64; x64; Trident/7.0; Touch; rv:11.0; Acme; Box 7) like "
       u"Gecko"},
      {"phone of the renamed maker", u"Windows.Mobile", u"2814749767106560", u"Microsoft",
       u"Lumia 1",
       u"Mozilla/5.0 (Windows Phone 10.0; Android 4.2.1; Trident/7.0; Touch; rv:11.0; Microsoft "
       u"Corporation; Lumia 1) like Gecko"},
      {"nothing known", u"", u"0", u"", u"",
       u"Mozilla/5.0 (Windows NT 0.0; Win64; x64; Trident/7.0; Touch; rv:11.0) like Gecko"},
  };
  for (const Row& row : rows) {
    facts_.deviceFamily = row.family;
    facts_.deviceFamilyVersion = row.version;
    facts_.manufacturer = row.manufacturer;
    facts_.model = row.model;
    DeviceInformation device(facts_, package_, clock_);
    EXPECT_EQ(device.GetUserAgent(), row.agent) << row.name;
  }
}

TEST_F(DeviceInformationTest, DescribesApplicationAndDeviceInContextData) {
  package_.title = u"Demo";
  facts_.manufacturer = u"Microsoft";
  facts_.model = u"";
  facts_.window = WindowSize{1279.6, 720.4};
  EXPECT_EQ(device_.GetDefaultContextData(), (StringMap{{u"a.AppID", u"Demo 1.2.4 (3)"},
                                                        {u"a.CarrierName", u""},
                                                        {u"a.DeviceName", u"Microsoft Unknown"},
                                                        {u"a.OSVersion", u"Windows 6.1"},
                                                        {u"a.Resolution", u"1280x720"}}));
}

TEST_F(DeviceInformationTest, FixesTheResolutionAtItsFirstUse) {
  facts_.window.reset();
  EXPECT_EQ(device_.GetResolution(), u"Unknown");
  facts_.window = WindowSize{800, 600};
  EXPECT_EQ(device_.GetResolution(), u"Unknown");
}

TEST_F(DeviceInformationTest, GivesTheStandardBiasWithItsSign) {
  clock_.SetBias(-60);
  EXPECT_EQ(device_.GetTimeZoneField(), u"00/00/0000 00:00:00 0 -60");
}

TEST_F(DeviceInformationTest, LogsAMissingManifestOnceAndGoesOnWithoutTitle) {
  Testing::RecordingDebugOutput output;
  SetDebugOutput(&output);
  package_.titleFails = true;
  package_.version = {};
  EXPECT_EQ(device_.GetApplicationId(), u"Unknown 0.0.0 (0)");
  EXPECT_EQ(device_.GetApplicationName(), u"Unknown");
  SetDebugOutput(nullptr);
  EXPECT_EQ(output.Lines(),
            std::vector<std::string>{
                "Veltro Error: Analytics - Unable to read AppxManifest file to obtain Application "
                "name (open AppxManifest.xml: No such file or directory)\n"});
}

TEST_F(DeviceInformationTest, TriesAgainAfterAFactThatCouldNotBeRead) {
  facts_.deviceFamilyVersion = u"?";
  EXPECT_THROW(device_.GetOsVersion(), std::exception);
  facts_.deviceFamilyVersion = u"281474976710656";
  EXPECT_EQ(device_.GetOsVersion(), u"1.0");
}

}  // namespace
}  // namespace Veltro::Internal
