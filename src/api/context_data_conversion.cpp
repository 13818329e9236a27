#include "api/context_data_conversion.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "base/utf.h"
#include "core/context_data.h"

namespace Veltro::Internal {
namespace {

/// What a value is, as far as its text depends on it.
enum class Kind : std::uint32_t { Ignored, Text, Signed, Unsigned, Single, Double, Boolean };

/// What the head of a record can tell; no URL comes near it.
constexpr std::size_t kMaxTextSize = std::numeric_limits<std::uint32_t>::max();

struct RecordHead {
  std::uint32_t keySize;
  std::uint32_t valueSize;
  Kind kind;
};

template <class T>
constexpr Kind KindOf() {
  if (std::is_same_v<T, std::string>) return Kind::Text;
  if (std::is_same_v<T, bool>) return Kind::Boolean;
  if (std::is_same_v<T, float>) return Kind::Single;
  if (std::is_same_v<T, double>) return Kind::Double;
  if (!std::is_integral_v<T> || sizeof(T) == 1 || std::is_same_v<T, char16_t>) return Kind::Ignored;
  return std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned;
}

/// A value without its type: a text, or the bytes of a number of the widest type of its kind.
class Plain {
 public:
  explicit Plain(const Value& value) : type_(value.TypeName()) {
    std::visit([this](const auto& held) { Take(held); }, value.Get());
  }

  Kind GetKind() const { return kind_; }
  std::string_view Bytes() const {
    if (kind_ == Kind::Ignored) return type_;
    return text_ != nullptr ? std::string_view(*text_) : std::string_view(number_, numberSize_);
  }

 private:
  template <class T>
  void Take(const T& held) {
    kind_ = KindOf<T>();
    if constexpr (KindOf<T>() == Kind::Text) {
      text_ = &held;
    } else if constexpr (KindOf<T>() == Kind::Signed) {
      TakeNumber(static_cast<std::int64_t>(held));
    } else if constexpr (KindOf<T>() == Kind::Unsigned) {
      TakeNumber(static_cast<std::uint64_t>(held));
    } else if constexpr (KindOf<T>() != Kind::Ignored) {
      TakeNumber(held);
    }
  }

  template <class T>
  void TakeNumber(T number) {
    static_assert(sizeof number <= sizeof number_);
    std::memcpy(number_, &number, sizeof number);
    numberSize_ = sizeof number;
  }

  const char* type_;
  Kind kind_ = Kind::Ignored;
  const std::string* text_ = nullptr;
  std::size_t numberSize_ = 0;
  char number_[8] = {};
};

/// Room for the text of any number.
using Buffer = char[32];

template <class T>
std::string_view NumberText(std::string_view bytes, Buffer& buffer) {
  T number;
  std::memcpy(&number, bytes.data(), sizeof number);
  if (std::isnan(static_cast<double>(number))) return "nan";
  const auto end = std::to_chars(std::begin(buffer), std::end(buffer), number).ptr;
  return {buffer, static_cast<std::size_t>(end - buffer)};
}

/// The text of a value, in `buffer` or where it lies.
std::string_view TextOf(Kind kind, std::string_view bytes, Buffer& buffer) {
  switch (kind) {
    case Kind::Signed:
      return NumberText<std::int64_t>(bytes, buffer);
    case Kind::Unsigned:
      return NumberText<std::uint64_t>(bytes, buffer);
    case Kind::Single:
      return NumberText<float>(bytes, buffer);
    case Kind::Double:
      return NumberText<double>(bytes, buffer);
    case Kind::Boolean:
      return bytes[0] != 0 ? "true" : "false";
    default:
      return bytes;
  }
}

/// The key of a variable of the hit.
constexpr std::string_view kNotesKey = "&&veltroNotes";

/// Notes are to be read, and must not make a hit too long.
constexpr std::size_t kMostNotes = 4096;

void Note(std::initializer_list<std::string_view> parts, std::string& notes) {
  if (notes.size() > kMostNotes) return;
  if (!notes.empty()) notes += '\n';
  for (const std::string_view part : parts) notes += part;
}

void NoteLeftOut(std::string_view key, std::string_view type, std::string& notes) {
  Note({"value of \"", key, "\" was left out: ", type.empty() ? "null" : type}, notes);
}

void NoteCleaning(std::u16string_view key, std::string& notes) {
  const std::u16string clean = CleanContextDataKey(key);
  if (clean == key || key.starts_with(u"&&")) return;
  Note({"key \"", ToUtf8(key), "\" was cleaned to \"", ToUtf8(clean), "\""}, notes);
}

}  // namespace

ContextDataCopy::ContextDataCopy(const ContextData& data) {
  std::size_t size = 0;
  for (const auto& [key, value] : data) {
    size += sizeof(RecordHead) + key.size() + Plain(value).Bytes().size();
  }
  records_.reserve(size);
  for (const auto& [key, value] : data) {
    const Plain plain(value);
    const std::string_view bytes = plain.Bytes();
    if (std::max(key.size(), bytes.size()) > kMaxTextSize) continue;
    const RecordHead head{static_cast<std::uint32_t>(key.size()),
                          static_cast<std::uint32_t>(bytes.size()), plain.GetKind()};
    char headBytes[sizeof head];
    std::memcpy(headBytes, &head, sizeof head);
    records_.append(headBytes, sizeof head).append(key).append(bytes);
  }
}

struct ContextDataCopy::Record {
  Kind kind;
  std::string_view key;
  std::string_view value;
};

ContextDataCopy::Record ContextDataCopy::TakeRecord(std::string_view& rest) {
  RecordHead head;
  std::memcpy(&head, rest.data(), sizeof head);
  rest.remove_prefix(sizeof head);
  const Record record{head.kind, rest.substr(0, head.keySize),
                      rest.substr(head.keySize, head.valueSize)};
  rest.remove_prefix(record.key.size() + record.value.size());
  return record;
}

StringMap ContextDataCopy::Convert() const {
  StringMap converted = converted_;
  converted.Reserve(0, records_.size());  // enough for all but the longest numbers
  for (std::string_view rest = records_; !rest.empty();) {
    const Record record = TakeRecord(rest);
    Buffer buffer;
    if (record.kind == Kind::Ignored) continue;
    converted.SetUtf8(record.key, TextOf(record.kind, record.value, buffer));
  }
  return converted;
}

StringMap ContextDataCopy::ConvertWithNotes() const {
  StringMap converted = Convert();
  std::string notes;
  for (std::string_view rest = records_; !rest.empty();) {
    const Record record = TakeRecord(rest);
    if (record.kind == Kind::Ignored) NoteLeftOut(record.key, record.value, notes);
  }
  for (const auto [key, value] : converted) NoteCleaning(key, notes);
  if (!notes.empty()) converted.SetUtf8(kNotesKey, notes);
  return converted;
}

std::optional<std::u16string> ContextDataText(const Value& value) {
  const Plain plain(value);
  if (plain.GetKind() == Kind::Ignored) return std::nullopt;
  Buffer buffer;
  return ToUtf16(TextOf(plain.GetKind(), plain.Bytes(), buffer));
}

std::map<std::string, std::string> ToUtf8Map(const StringMap& map) {
  std::map<std::string, std::string> converted;
  for (const auto [key, value] : map) converted.emplace(ToUtf8(key), ToUtf8(value));
  return converted;
}

}  // namespace Veltro::Internal
