// The inner pieces of the library, each by itself. A floor, where there is one, is the least that
// anybody would have to do for the same result; it is timed right behind its piece.

#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <memory>

#include "analytics/hit_query.h"
#include "analytics/hit_store.h"
#include "api/context_data_conversion.h"
#include "base/url_escape.h"
#include "core/context_data.h"
#include "platform/linux/data_folder.h"
#include "platform/linux/local_folder_linux.h"
#include "support/temporary_folder.h"
#include "support/ten_values.h"

namespace Veltro::Internal {
namespace {

using Testing::TenValues;

StringMap ActionData() {
  StringMap data = ContextDataCopy(TenValues()).Convert();
  data.Add(u"a.action", u"buy");
  return data;
}

StringMap ActionVariables() {
  return {{u"aid", u"2D7A4E1F05B3C690-1A52F08C7E6D4B93"},
          {u"ce", u"UTF-8"},
          {u"pageName", u"Shop 1.2.4 (3)"},
          {u"pe", u"lnk_o"},
          {u"pev2", u"QXACTION:buy"},
          {u"t", u"00/00/0000 00:00:00 0 -60"},
          {u"ts", u"1600000000"}};
}

/// A hit as long as those of an action with ten values.
QueuedHit Hit() {
  std::string hit = "s1234567?AQB=1&ndh=1";
  AppendHitParameters(ActionVariables(), ActionData(), hit);
  return {hit += "&AQE=1", 1'600'000'000};
}

/// Says beside the result what `floor` takes, in nanoseconds.
void ReportFloor(benchmark::State& state, int times, const std::function<void()>& floor) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < times; ++i) floor();
  const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - start;
  state.counters["floor_ns"] = time.count() / times;
}

/// A folder of its own, which goes with it.
class Folder {
 public:
  LocalFolder& Get() { return folder_; }

 private:
  Testing::TemporaryFolder temporary_;
  LocalFolderLinux folder_{
      std::make_shared<DataFolder>(temporary_.Path() / "data", [] { return std::string(); })};
};

void CopyTenValues(benchmark::State& state) {
  const ContextData data = TenValues();
  for (auto _ : state) benchmark::DoNotOptimize(ContextDataCopy(data));
  ReportFloor(state, 10'000, [&] { benchmark::DoNotOptimize(ContextData(data)); });
  state.SetLabel("floor: a copy of the map");
}
BENCHMARK(CopyTenValues);

void ConvertTenValues(benchmark::State& state) {
  const ContextDataCopy data(TenValues());
  for (auto _ : state) benchmark::DoNotOptimize(data.Convert());
}
BENCHMARK(ConvertTenValues);

void CleanTenKeys(benchmark::State& state) {
  const StringMap data = ActionData();
  for (auto _ : state) benchmark::DoNotOptimize(CleanContextDataKeys(data));
  ReportFloor(state, 10'000, [&] { benchmark::DoNotOptimize(StringMap(data)); });
  state.SetLabel("floor: a copy of the map");
}
BENCHMARK(CleanTenKeys);

void BuildHit(benchmark::State& state) {
  const StringMap variables = ActionVariables();
  const StringMap data = ActionData();
  for (auto _ : state) {
    std::string hit;
    AppendHitParameters(variables, data, hit);
    benchmark::DoNotOptimize(hit);
  }
  ReportFloor(state, 10'000, [&] {
    std::string escaped;
    for (const StringMap* map : {&variables, &data}) {
      for (const auto [key, value] : *map) {
        AppendUrlEscaped(key, escaped);
        AppendUrlEscaped(value, escaped);
      }
    }
    benchmark::DoNotOptimize(escaped);
  });
  state.SetLabel("floor: percent-encoding; to reach: 2000 ns");
}
BENCHMARK(BuildHit);

/// Fills an empty store with `count` hits.
void Fill(HitStore& store, std::int64_t count) {
  for (std::int64_t i = 0; i < count; ++i) store.Append(Hit());
}

void AppendHit(benchmark::State& state) {
  Folder folder;
  HitStore store(folder.Get());
  Fill(store, state.range(0));
  const QueuedHit hit = Hit();
  for (auto _ : state) store.Append(hit);
  const std::string element = WriteHitElement(hit);
  const auto file = folder.Get().Replace("floor")->Commit();
  std::uint64_t end = 0;
  ReportFloor(state, 10'000,
              [&] { file->Write(std::exchange(end, end + element.size()), element); });
  state.SetLabel("floor: one write of the same bytes");
}
BENCHMARK(AppendHit)->Arg(10)->Arg(100'000)->Iterations(200);

void RemoveHit(benchmark::State& state) {
  Folder folder;
  HitStore store(folder.Get());
  Fill(store, state.range(0));
  const QueuedHit hit = Hit();
  for (auto _ : state) {
    state.PauseTiming();
    store.Append(hit);
    state.ResumeTiming();
    store.RemoveFirst(store.First()->id);
  }
}
// So few that they would not have the file of the short queue compacted.
BENCHMARK(RemoveHit)->Arg(200)->Arg(100'000)->Iterations(100);

void LoadTenThousandHits(benchmark::State& state) {
  Folder folder;
  Fill(*std::make_unique<HitStore>(folder.Get()), 10'000);
  for (auto _ : state) HitStore store(folder.Get());
  ReportFloor(state, 10,
              [&] { benchmark::DoNotOptimize(folder.Get().Read("VeltroDataCache.json")); });
  state.SetLabel("floor: reading the file");
}
BENCHMARK(LoadTenThousandHits)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace Veltro::Internal
