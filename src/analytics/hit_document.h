#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Veltro::Internal {

/// One hit as it waits in the queue.
struct QueuedHit {
  std::string hit;             ///< what follows the base URL: path end and query, ASCII
  std::int32_t timestamp = 0;  ///< seconds since 1970-01-01 UTC at which it was made
  bool operator==(const QueuedHit&) const = default;
};

/// The text of the queue file. It is the JSON object {"Hits":[...]} whose elements are objects
/// {"H":"<hit>","T":<timestamp>}, oldest first.
///
/// We write it in one layout, which can be edited in place: the head below, any number of blanks,
/// the elements as `WriteHitElement` makes them with one comma and nothing else between two, and
/// the tail. All of it is ASCII.
inline constexpr std::string_view kHitDocumentHead = R"({"Hits":[)";
inline constexpr std::string_view kHitDocumentTail = "]}";

/// `hit` as an element of the file.
std::string WriteHitElement(const QueuedHit& hit);

/// The hit of an element; nothing when `element` is no JSON object with a string "H" and a number
/// "T", which is brought into 32 bits.
std::optional<QueuedHit> ReadHitElement(std::string_view element);

/// Where an element lies in the file.
struct HitElement {
  std::uint64_t offset = 0;
  std::uint32_t length = 0;
  std::int32_t timestamp = 0;
};

/// Every element of a text in our own layout; nothing when the text has another one.
std::optional<std::vector<HitElement>> IndexHitDocument(std::string_view text);

/// What could be read of a text in any other layout.
struct ForeignHitDocument {
  std::vector<QueuedHit> hits;
  bool isWhole = true;  ///< false when the text is no JSON object with an array "Hits"
};

/// Reads a text that `IndexHitDocument` did not take: all hits of a JSON document in another
/// layout, or the complete elements of a damaged document in ours.
ForeignHitDocument ReadForeignHitDocument(std::string_view text);

}  // namespace Veltro::Internal
