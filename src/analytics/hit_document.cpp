#include "analytics/hit_document.h"

#include <algorithm>
#include <charconv>

#include "base/number_text.h"
#include "core/json.h"

namespace Veltro::Internal {
namespace {

using nlohmann::json;

constexpr std::string_view kElementHead = R"({"H":")";
constexpr std::string_view kElementMiddle = R"(","T":)";

bool IsPlain(char c) { return c >= 0x20 && c < 0x7F && c != '"' && c != '\\'; }

bool IsPlainText(std::string_view text) { return std::all_of(text.begin(), text.end(), IsPlain); }

/// The text as the inside of an ASCII JSON string.
std::string EscapeJson(const std::string& text) {
  const std::string quoted = json(text).dump(-1, ' ', true, json::error_handler_t::replace);
  return quoted.substr(1, quoted.size() - 2);
}

/// Reads a text from front to back.
class Scanner {
 public:
  Scanner(std::string_view text, std::size_t position) : text_(text), position_(position) {}

  std::size_t Position() const { return position_; }
  bool AtEnd() const { return position_ == text_.size(); }

  bool Take(std::string_view expected) {
    if (text_.substr(position_, expected.size()) != expected) return false;
    position_ += expected.size();
    return true;
  }

  void SkipBlanks() { position_ = std::min(text_.find_first_not_of(' ', position_), text_.size()); }

  /// An element as we write it; nothing, with the position anywhere, when there is none.
  std::optional<HitElement> TakeElement() {
    const std::size_t start = position_;
    if (!Take(kElementHead) || !SkipString() || !Take(kElementMiddle)) return std::nullopt;
    HitElement element{start, 0, 0};
    const char* const end = text_.data() + text_.size();
    std::from_chars(text_.data() + position_, end, element.timestamp);
    if (!Take(std::to_string(element.timestamp)) || !Take("}")) return std::nullopt;
    element.length = static_cast<std::uint32_t>(position_ - start);
    return element;
  }

 private:
  /// Moves to the quote that ends the string; false when something stands before it that our
  /// strings never hold.
  bool SkipString() {
    while (position_ < text_.size() && text_[position_] != '"') {
      if (text_[position_] == '\\') {
        position_ += 2;
      } else if (IsPlain(text_[position_])) {
        ++position_;
      } else {
        return false;
      }
    }
    return position_ < text_.size();
  }

  std::string_view text_;
  std::size_t position_;
};

std::optional<QueuedHit> ReadJsonElement(const json& element) {
  if (!element.is_object() || !element.contains("H") || !element.contains("T")) return std::nullopt;
  const json& hit = element["H"];
  const json& timestamp = element["T"];
  if (!hit.is_string() || !timestamp.is_number()) return std::nullopt;
  return QueuedHit{hit.get<std::string>(), TruncateToInt32(timestamp.get<double>())};
}

/// Whether an element in our layout is JSON, which only its escapes may prevent.
bool IsReadable(std::string_view element) {
  return element.find('\\') == element.npos || ReadHitElement(element).has_value();
}

/// Every complete element of a text that may be torn or overwritten anywhere.
std::vector<QueuedHit> SalvageHits(std::string_view text) {
  std::vector<QueuedHit> hits;
  std::size_t start = text.find(kElementHead);
  while (start != text.npos) {
    Scanner scanner(text, start);
    const std::optional<HitElement> element = scanner.TakeElement();
    if (element) {
      auto hit = ReadHitElement(text.substr(start, element->length));
      if (hit) hits.push_back(*std::move(hit));
    }
    start = text.find(kElementHead, element ? scanner.Position() : start + 1);
  }
  return hits;
}

}  // namespace

std::string WriteHitElement(const QueuedHit& hit) {
  char number[16];
  const auto end = std::to_chars(std::begin(number), std::end(number), hit.timestamp).ptr;
  std::string element;
  element.reserve(kElementHead.size() + hit.hit.size() + kElementMiddle.size() + sizeof number);
  element += kElementHead;
  element += IsPlainText(hit.hit) ? hit.hit : EscapeJson(hit.hit);
  element += kElementMiddle;
  element.append(number, end);
  element += '}';
  return element;
}

std::optional<QueuedHit> ReadHitElement(std::string_view element) {
  Scanner scanner(element, 0);
  const std::optional<HitElement> own = scanner.TakeElement();
  if (own && scanner.AtEnd() && element.find('\\') == element.npos) {
    const std::size_t length = element.rfind(kElementMiddle) - kElementHead.size();
    return QueuedHit{std::string(element.substr(kElementHead.size(), length)), own->timestamp};
  }
  const json parsed = ParseJson(element);
  return ReadJsonElement(parsed);
}

std::optional<std::vector<HitElement>> IndexHitDocument(std::string_view text) {
  std::vector<HitElement> elements;
  Scanner scanner(text, 0);
  if (!scanner.Take(kHitDocumentHead)) return std::nullopt;
  scanner.SkipBlanks();
  if (scanner.Take(kHitDocumentTail) && scanner.AtEnd()) return elements;
  do {
    const std::optional<HitElement> element = scanner.TakeElement();
    if (!element || !IsReadable(text.substr(element->offset, element->length))) return std::nullopt;
    elements.push_back(*element);
  } while (scanner.Take(","));
  if (!scanner.Take(kHitDocumentTail) || !scanner.AtEnd()) return std::nullopt;
  return elements;
}

ForeignHitDocument ReadForeignHitDocument(std::string_view text) {
  const json root = ParseJson(text);
  if (!root.is_object() || !root.contains("Hits") || !root["Hits"].is_array()) {
    return {SalvageHits(text), false};
  }
  ForeignHitDocument document;
  for (const json& element : root["Hits"]) {
    if (auto hit = ReadJsonElement(element)) document.hits.push_back(*std::move(hit));
  }
  return document;
}

}  // namespace Veltro::Internal
