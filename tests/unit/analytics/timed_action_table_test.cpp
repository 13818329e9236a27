#include "analytics/timed_action_table.h"

#include <future>

#include "base/number_text.h"
#include "support/tracker_fixture.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;

constexpr std::string_view kFile = "VeltroTimedActions.json";

class TimedActionTableTest : public Testing::TrackerFixture {
 protected:
  /// What a new process finds on the disk; the old one is not shut down first.
  std::unique_ptr<TimedActionTable> NewTable() {
    return std::make_unique<TimedActionTable>(fakes_.localFolder, tracker_, queue_, fakes_.clock);
  }

  static bool Exists(TimedActionTable& table, std::u16string action) {
    auto answer = std::make_shared<std::promise<bool>>();
    table.TrackingTimedActionExists(std::move(action),
                                    [answer](bool exists) { answer->set_value(exists); });
    return answer->get_future().get();
  }

  /// The context data of the hit that the end of `action` makes; "" when it makes none.
  std::string End(TimedActionTable& table, std::u16string action) {
    table.TrackTimedActionEnd(std::move(action));
    EXPECT_TRUE(table.WaitUntilSaved(5s));
    const std::string hit = LastHit();
    return hit.empty() ? "" : hit.substr(hit.find("&c."));
  }

  std::string File() { return fakes_.disk->Contents(kFile).value_or("none"); }

  std::unique_ptr<TimedActionTable> table_ = NewTable();
};

TEST_F(TimedActionTableTest, MeasuresAcrossPausesAndProcesses) {
  table_->TrackTimedActionStart(u"checkout", {{u"a", u"1"}, {u"a.action.time.total", u"9"}});
  ASSERT_TRUE(table_->WaitUntilSaved(5s));
  fakes_.clock.Advance(10s);
  table_->TrackTimedActionStart(u"\u00E4 \"b\"", {});
  table_->TrackTimedActionUpdate(u"checkout", {{u"a", u"2"}, {u"b", u"\u20AC"}});
  ASSERT_TRUE(table_->WaitUntilSaved(5s));
  EXPECT_NE(File().find(R"("a":"2")"), std::string::npos);
  table_->AdjustTimedActions(100);
  ASSERT_TRUE(table_->WaitUntilSaved(5s));
  EXPECT_EQ(File(), R"({"Actions":[)"
                    R"({"adjusted":1600000100,"data":{"a":"2","a.action.time.total":"9",)"
                    R"("b":"€"},"name":"checkout","start":1600000000},)"
                    R"({"adjusted":1600000110,"data":{},"name":"ä \"b\"","start":1600000010}]})");
  const auto next = NewTable();
  fakes_.clock.Advance(110s);
  EXPECT_TRUE(Exists(*next, u"checkout"));
  EXPECT_EQ(End(*next, u"checkout"),
            "&c.&a=2&a.&action=checkout&action.&time.&inapp=20&total=120&.time&.action&.a"
            "&b=%E2%82%AC&.c&AQE=1");
  EXPECT_EQ(timestamp_, 1600000120);
  EXPECT_FALSE(Exists(*next, u"checkout"));
  EXPECT_EQ(End(*NewTable(), u"\u00E4 \"b\""),
            "&c.&a.&action=%C3%A4%20%22b%22&action.&time.&inapp=10&total=110&.time&.action&.a&.c"
            "&AQE=1");
  EXPECT_EQ(File(), R"({"Actions":[]})");
  EXPECT_EQ(log_.Lines().size(), 0U);
}

TEST_F(TimedActionTableTest, ForgetsAnActionThatIsStartedAgain) {
  table_->TrackTimedActionStart(u"checkout", {{u"first", u"1"}});
  table_->AdjustTimedActions(50);
  fakes_.clock.Advance(60s);
  table_->TrackTimedActionStart(u"checkout", {{u"second", u"1"}});
  ASSERT_TRUE(table_->WaitUntilSaved(5s));
  fakes_.clock.Advance(5s);
  EXPECT_EQ(End(*table_, u"checkout"),
            "&c.&a.&action=checkout&action.&time.&inapp=5&total=5&.time&.action&.a&second=1&.c"
            "&AQE=1");
  EXPECT_EQ(End(*table_, u"checkout"), "");
}

TEST_F(TimedActionTableTest, RefusesWithALine) {
  table_->TrackTimedActionStart(u"runs", {});
  table_->TrackTimedActionStart(u"", {});
  table_->TrackTimedActionUpdate(u"", {{u"a", u"1"}});
  table_->TrackTimedActionUpdate(u"runs", {});
  table_->TrackTimedActionUpdate(u"other", {{u"a", u"1"}});
  table_->TrackTimedActionEnd(u"");
  EXPECT_EQ(End(*table_, u"other"), "");
  const std::string head = "Veltro Warning: Analytics - ";
  EXPECT_EQ(log_.Lines(),
            (std::vector<std::string>{
                head + "Cannot start timed action with a null or empty action name.\n",
                head + "Cannot update timed action with a null or empty action name.\n",
                head + "Cannot update timed action with blank context data, skipping.\n",
                head + "Cannot find timed action to update (other).\n",
                head + "Cannot end timed action with a null or empty action name.\n",
                head + "Ignoring attempt to end timed action that had not yet begun (other).\n"}));
  EXPECT_EQ(File(), R"({"Actions":[{"adjusted":1600000000,"data":{},"name":"runs",)"
                    R"("start":1600000000}]})");
}

TEST_F(TimedActionTableTest, LoadsWhatCanBeReadOfADamagedFile) {
  ASSERT_TRUE(table_->WaitUntilSaved(5s));
  EXPECT_EQ(File(), "");  // a missing one is created
  const std::string good = R"({"name":"good","start":1599999990,"adjusted":1599999995,"data":{}})";
  const std::string unreadable = "Veltro Error: Analytics - Unable to load timed actions (";
  const std::string bad = "Veltro Debug: Analytics - unable to parse timed action (\"";
  const struct {
    std::string text;
    bool loadsGood;
    std::string logged;  // the one line begins with this; "" for none
  } rows[] = {
      {"", false, ""},
      {"not JSON", false, unreadable},
      {"[]", false, unreadable},
      {R"({"Actions":{}})", false, unreadable},
      {R"({"Actions":[]})", false, ""},
      {R"({"Actions":[7,)" + good + "]}", true, bad + "\" - "},
      {R"({"Actions":[{"name":"b\u00e4d","start":"1"},)" + good + "]}", true,
       bad + "b\u00E4d\" - "},
      {R"({"Actions":[{"name":7},)" + good + "]}", true, bad + "\" - "},
      {R"({"Actions":[{"name":"bad","data":{"k":1}},)" + good + "]}", true, bad + "bad\" - "},
      {R"({"Actions":[{"name":"bad","data":[]},)" + good + "]}", true, bad + "bad\" - "},
      {R"({"Actions":[{"extra":1},)" + good + R"(,{"name":"good"}],"more":2})", true, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    log_.Clear();
    fakes_.disk->Put(kFile, row.text);
    const auto table = NewTable();
    EXPECT_FALSE(Exists(*table, u"bad"));
    table->TrackTimedActionStart(u"new", {});
    const std::vector<std::string> lines = log_.Lines();
    EXPECT_EQ(lines.size(), row.logged.empty() ? 0U : 1U);
    EXPECT_TRUE(lines.empty() || lines[0].starts_with(row.logged)) << lines[0];
    EXPECT_EQ(End(*table, u"good").find("inapp=5&total=10&") != std::string::npos, row.loadsGood);
    EXPECT_TRUE(Exists(*NewTable(), u"new"));
  }
}

TEST_F(TimedActionTableTest, TakesMissingMembersAsEmptyOrZero) {
  fakes_.disk->Put(kFile, R"({"Actions":[{"name":"old"},{"name":"far","start":-1e300}]})");
  const auto table = NewTable();
  EXPECT_NE(End(*table, u"old").find("&inapp=1600000000&total=1600000000&"), std::string::npos);
  EXPECT_NE(End(*table, u"far").find("&total=-547483648&"), std::string::npos);  // in 32 bits
}

TEST_F(TimedActionTableTest, IsOnDiskAsActionOrHitWhereverTheProcessDies) {
  using Repeat = Testing::FakeDisk::Repeat;
  int ended = 0;
  for (int operation = 1; operation <= 32; ++operation) {
    const Repeat repeat = operation % 2 == 0 ? Repeat::Once : Repeat::ForGood;
    table_->TrackTimedActionStart(u"pay", {});
    ASSERT_TRUE(table_->WaitUntilSaved(5s));
    fakes_.disk->FailAtOperation((operation + 1) / 2, repeat);
    table_->TrackTimedActionEnd(u"pay");
    ASSERT_TRUE(table_->WaitUntilSaved(5s));
    const bool isAction = File().find("pay") != std::string::npos;
    const auto hits = fakes_.disk->Contents("VeltroDataCache.json").value_or("");
    EXPECT_TRUE(isAction || hits.find("=pay&") != hits.npos) << operation;
    ended += !isAction;
    fakes_.disk->Heal();
    EXPECT_NE(LastHit(), "");
  }
  EXPECT_GT(ended, 0);
  EXPECT_LT(ended, 32);
}

TEST_F(TimedActionTableTest, SavesChangesTogetherThatComeWhileItIsBusy) {
  ASSERT_TRUE(table_->WaitUntilSaved(5s));
  fakes_.disk->ResetCounts();
  const auto gate = std::make_shared<std::promise<void>>();
  table_->TrackingTimedActionExists(u"", [gate](bool) { gate->get_future().wait(); });
  for (int i = 0; i < 1000; ++i) table_->TrackTimedActionStart(DecimalText(i), {});
  gate->set_value();
  ASSERT_TRUE(table_->WaitUntilSaved(5s));
  EXPECT_EQ(fakes_.disk->GetCounts().replaces, 1);
  EXPECT_TRUE(Exists(*NewTable(), u"999"));
}

}  // namespace
}  // namespace Veltro::Internal
