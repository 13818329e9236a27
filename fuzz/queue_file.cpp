// The queue file: whatever it holds, it is read, edited in place and read again without loss.

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "analytics/hit_document.h"
#include "analytics/hit_store.h"
#include "base/url_escape.h"
#include "core/json.h"
#include "fakes/fake_local_folder.h"
#include "support/check.h"

namespace Veltro::Internal::Fuzz {
namespace {

using nlohmann::json;
using Testing::FakeDisk;
using Testing::FakeLocalFolder;
using Hits = std::deque<QueuedHit>;

constexpr std::string_view kFileName = "VeltroDataCache.json";

/// The hits of a document of ours, as any JSON parser reads them.
Hits ParseHits(const std::string& text) {
  const json root = json::parse(text, nullptr, false);
  Require(root.is_object() && root.contains("Hits"), "the queue file is no JSON document");
  Hits hits;
  for (const json& element : root["Hits"]) {
    hits.push_back({element.at("H").get<std::string>(), element.at("T").get<std::int32_t>()});
  }
  return hits;
}

void CheckIndex(const std::string& text) {
  const auto elements = IndexHitDocument(text);
  if (!elements) return;
  Hits hits;
  for (const HitElement& element : *elements) {
    const auto hit = ReadHitElement(text.substr(element.offset, element.length));
    Require(hit && hit->timestamp == element.timestamp, "an indexed element is no hit");
    hits.push_back(*hit);
  }
  Require(hits == ParseHits(text), "the index and JSON differ");
}

/// The hits that a process finds in this file, one after the other.
Hits Drain(const std::string& text) {
  const auto disk = std::make_shared<FakeDisk>();
  disk->Put(kFileName, text);
  FakeLocalFolder folder(disk);
  HitStore store(folder);
  const std::size_t size = store.Size();
  Hits hits;
  while (auto first = store.First()) {
    hits.push_back(first->hit);
    store.RemoveFirst(first->id);
  }
  Require(size == hits.size(), "the queue counts other hits than it has");
  Require(ParseHits(*disk->Contents(kFileName)).empty(), "a drained queue is not empty");
  return hits;
}

void CheckStore(const std::string& text) {
  const auto disk = std::make_shared<FakeDisk>();
  disk->Put(kFileName, text);
  FakeLocalFolder folder(disk);
  HitStore store(folder);
  Hits hits = ParseHits(*disk->Contents(kFileName));
  Require(Drain(text) == hits, "the file is not what was read");

  const auto requireSaved = [&](const char* message) {
    const std::string saved = *disk->Contents(kFileName);
    Require(ParseHits(saved) == hits && store.Size() == hits.size(), message);
    Require(IndexHitDocument(saved).has_value(), "the queue file cannot be edited in place");
  };
  requireSaved("the queue counts other hits than it has");
  for (const auto& hit : {QueuedHit{EscapeUrlIllegal(text), -7}, QueuedHit{"s1?AQB=1", 1}}) {
    store.Append(hit);
    hits.push_back(hit);
    requireSaved("a hit was not appended");
  }
  hits.front() = {"s2?AQB=1&ts=1600000000&AQE=1", 1600000000};
  store.ReplaceFirst(store.First()->id, hits.front());
  requireSaved("a hit was not replaced");
  Require(Drain(Stored(*disk->Contents(kFileName))) == hits, "what was saved is not what is read");
  hits.pop_front();
  store.RemoveFirst(store.First()->id);
  requireSaved("a hit was not removed");
}

}  // namespace
}  // namespace Veltro::Internal::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Veltro::Internal::Fuzz;
  const std::string text(data, data + size);
  CheckIndex(text);
  CheckStore(text);
  return 0;
}
