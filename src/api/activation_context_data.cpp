#include "api/activation_context_data.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "api/activation_pairs.h"
#include "api/activation_reference.h"
#include "core/context_data.h"
#include "core/log.h"

namespace Veltro::Internal {
namespace {

/// The runtime type name of a boxed value, as far as any rule asks for it.
std::u16string_view TypeName(Abi::PropertyType type) {
  constexpr std::array<std::u16string_view, 17> kNames = {
      u"",         u"UInt8",    u"Int16",  u"UInt16", u"Int32",   u"UInt32",          u"Int64",
      u"UInt64",   u"Single",   u"Double", u"Char16", u"Boolean", u"Platform.String", u"Object",
      u"DateTime", u"TimeSpan", u"Guid"};
  const auto index = static_cast<std::size_t>(type);
  return index < kNames.size() ? kNames[index] : u"Object";
}

Abi::PropertyType TypeOf(Abi::IPropertyValue& value) {
  auto type = Abi::PropertyType::Empty;
  return value.get_Type(&type) < 0 ? Abi::PropertyType::Empty : type;
}

template <class T>
using Getter = Abi::HRESULT (Abi::IPropertyValue::*)(T*) noexcept;

template <class Kind, class T = Kind>
std::optional<std::u16string> ReadAs(Abi::IPropertyValue& value, Getter<T> getter) {
  T result{};
  if ((value.*getter)(&result) < 0) return std::nullopt;
  return ContextDataText(static_cast<Kind>(result));
}

std::optional<std::u16string> ReadString(Abi::IPropertyValue& value) {
  ReceivedString text;
  if (value.GetString(text.Receive()) < 0) return std::nullopt;
  return std::u16string(text.View());
}

/// The text of a value of an accepted type; nothing when its object fails to give it.
std::optional<std::u16string> ReadText(Abi::IPropertyValue& value, Abi::PropertyType type) {
  using Abi::IPropertyValue;
  switch (type) {
    case Abi::PropertyType::Int16:
      return ReadAs<std::int16_t>(value, &IPropertyValue::GetInt16);
    case Abi::PropertyType::UInt16:
      return ReadAs<std::uint16_t>(value, &IPropertyValue::GetUInt16);
    case Abi::PropertyType::Int32:
      return ReadAs<std::int32_t>(value, &IPropertyValue::GetInt32);
    case Abi::PropertyType::UInt32:
      return ReadAs<std::uint32_t>(value, &IPropertyValue::GetUInt32);
    case Abi::PropertyType::Int64:
      return ReadAs<std::int64_t>(value, &IPropertyValue::GetInt64);
    case Abi::PropertyType::UInt64:
      return ReadAs<std::uint64_t>(value, &IPropertyValue::GetUInt64);
    case Abi::PropertyType::Single:
      return ReadAs<float>(value, &IPropertyValue::GetSingle);
    case Abi::PropertyType::Double:
      return ReadAs<double>(value, &IPropertyValue::GetDouble);
    case Abi::PropertyType::Boolean:
      return ReadAs<bool, Abi::BOOLEAN>(value, &IPropertyValue::GetBoolean);
    case Abi::PropertyType::String:
      return ReadString(value);
    default:
      return std::nullopt;
  }
}

void ReadPair(Abi::ContextPair& pair, StringMap& data) {
  ReceivedString key;
  Reference<Abi::IInspectable> object;
  if (pair.get_Key(key.Receive()) < 0 || pair.get_Value(object.Receive()) < 0) return;
  const auto value = Query<Abi::IPropertyValue>(object.Get());
  if (!value) return;
  const Abi::PropertyType type = TypeOf(*value.Get());
  if (!IsSupportedContextDataType(TypeName(type))) return;
  if (const auto text = ReadText(*value.Get(), type)) {
    data.Set(key.View(), *text);
  } else {
    LogDebug("Analytics - Unable to translate value for context data key (%s)", key.View());
  }
}

}  // namespace

ContextDataCopy ReadContextData(Abi::ContextMap* map) {
  StringMap data;
  ReadPairs(map, [&](Abi::ContextPair& pair) { ReadPair(pair, data); });
  return ContextDataCopy(std::move(data));
}

}  // namespace Veltro::Internal
