#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <iomanip>
#include <locale>
#include <sstream>

#include "base/utf.h"
#include "support/scoped_variable.h"
#include "support/temporary_folder.h"
#include "support/test_application.h"
#include "veltro/veltro.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;
using Collector::RequestKind;

constexpr const char* kConfig = R"({"rsids":"s","server":"SERVER","offlineEnabled":true,
    "privacyDefault":"optunknown","poi":[["I\u0131i\u0130",52.5,13.4,10000.5]]})";
constexpr const char* kOthers =
    R"(,"audienceManager":{"server":"SERVER"},"target":{"clientCode":"shop","timeout":60})";

struct GroupedNumbers : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

/// Locales of this machine's, made for one test.
class LocaleTest : public testing::Test {
 protected:
  ~LocaleTest() override { std::locale::global(std::locale::classic()); }

  /// Sets the locale of the process, and for C++ one that writes numbers as many of them do.
  static void Set(const std::string& name) {
    const std::locale& plain = std::locale::classic();
    std::locale::global(name == "C" ? plain : std::locale(plain, new GroupedNumbers));
    ASSERT_NE(setlocale(LC_ALL, name.c_str()), nullptr) << name;
  }

  void Make(const std::string& name) {
    const std::string path = folder_.Path() / (name + ".UTF-8");
    const std::string command = "localedef -i " + name + " -f UTF-8 " + path + " 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0) << "is the package \"locales\" installed?";
  }

  std::string Run(const std::string& before, const std::string& during);

  Testing::TemporaryFolder folder_;
  const Testing::ScopedVariable path_{"LOCPATH", folder_.Path().c_str()};
};

/// Numbers as C and C++ write them, and the code of a capital "i": they tell which locale is in
/// force.
std::string Sample() {
  char number[32];
  std::snprintf(number, sizeof number, "%.2f", 1.5);
  std::ostringstream text;
  text << number << ' ' << std::fixed << std::setprecision(2) << 1234.5 << ' '
       << std::to_string(std::towupper(L'i'));
  return text.str();
}

void TrackNumbers() {
  const ContextData data = {{"I", 1234567.891},
                            {"i", 0.1F},
                            {"TITLE", 1e21},
                            {"title", -5},
                            {"\u0130", "\u0131Ii\u0130"}};
  Analytics::TrackState("I\u0131i\u0130", data);
  Analytics::TrackTimedActionStart("INIT", data);
  Analytics::TrackTimedActionUpdate("INIT", {{"INIT", 2.5}});
  Analytics::TrackLifetimeValueIncrease(1234.567, data);
  Analytics::TrackLocation(52.501, -13.402, 65.5, data);
  Analytics::TrackLocation(52.5, 13.41);
}

void PlayFilm() {
  MediaSettings film;
  film.Name = "FILM";
  film.Length = 100.5;
  film.Milestones = "12.5,50";
  Media::Open(film);
  Media::Play("FILM", 0);
  Media::Stop("FILM", 12.75);
  Media::Play("FILM", 12.75);
  Media::Complete("FILM", 100.5);
  Media::Close("FILM");
}

/// All that a process sends and leaves behind, with a locale set before it starts and another while
/// it runs.
std::string LocaleTest::Run(const std::string& before, const std::string& during) {
  Testing::TestApplication app;
  std::string text;
  Set(before);
  app.Start(kConfig, kOthers);
  Runtime::Peek()->GetSettings().Write(u"VELTRO_STOREDDEFAULTS_AID", u"AID");  // else a random one
  Config::CollectLifecycleData();
  TrackNumbers();
  app.QueueSize();  // lets everything come to rest
  Set(during);
  TrackNumbers();
  app.QueueSize();
  PlayFilm();
  app.QueueSize();
  app.Time().Advance(1500ms);
  Analytics::TrackTimedActionEnd("INIT");
  Analytics::TrackTimedActionStart("INIT", {{"I", 0.5}});
  Config::PauseCollectingLifecycleData();
  text += std::to_string(app.QueueSize());
  text += '\n' + app.QueueFile() + '\n' + app.DataFile("VeltroTimedActions.json");
  app.Start(kConfig, kOthers);
  text += '\n' + ToUtf8(Runtime::Peek()->GetSettings().ReadString(u"VLT_LIFETIME_VALUE")) + '\n';
  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
  TrackNumbers();
  AudienceManager::SignalWithData({{"I", 1234.5}}).Get();
  Target::LoadRequest({"INIT", "", {}}).Get();
  EXPECT_EQ(Host::Flush(10s), Host::FlushResult::Done);
  for (const RequestKind kind : {RequestKind::Hit, RequestKind::Event, RequestKind::Content}) {
    for (const auto& request : app.Server().Requests(kind)) text += request.rawTarget + '\n';
  }
  return text;
}

/// Where `text` ceases to be as expected; "" when it never does.
std::string Difference(const std::string& text, const std::string& expected) {
  if (text == expected) return {};
  const auto [found, wanted] =
      std::mismatch(text.begin(), text.end(), expected.begin(), expected.end());
  const auto from =
      static_cast<std::size_t>(std::max<std::ptrdiff_t>(found - text.begin() - 40, 0));
  return text.substr(from, 80) + "\ninstead of\n" + expected.substr(from, 80);
}

TEST_F(LocaleTest, NothingSentOrStoredDependsOnIt) {
  const std::pair<std::string, const char*> rows[] = {
      {"de_DE", "1,50 1.234,50 73"}, {"tr_TR", "1,50 1.234,50 304"}, {"fa_IR", "1.50 1.234,50 73"}};
  const std::string expected = Run("C", "C");
  ASSERT_NE(expected.find("&loc.&acc=66&lat.&a=052.5&"), expected.npos);
  for (const auto& [name, sample] : rows) {
    SCOPED_TRACE(name);
    Make(name);
    const std::string locale = name + ".UTF-8";
    Set(locale);
    ASSERT_EQ(Sample(), sample) << "the locale is not in force";
    EXPECT_EQ(Difference(Run(locale, locale), expected), "");
    EXPECT_EQ(Difference(Run("C", locale), expected), "");
  }
}

}  // namespace
}  // namespace Veltro::Internal
