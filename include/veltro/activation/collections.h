#pragma once

#include <cstdint>

#include "veltro/activation/basics.h"
#include "veltro/activation/objects.h"
#include "veltro/activation/strings.h"

namespace Veltro::Abi {

template <class Key, class Mapped>
struct IKeyValuePair : IInspectable {
  virtual HRESULT get_Key(Key* key) noexcept = 0;
  virtual HRESULT get_Value(Mapped* value) noexcept = 0;
};

template <class T>
struct IIterator : IInspectable {
  virtual HRESULT get_Current(T* current) noexcept = 0;
  virtual HRESULT get_HasCurrent(BOOLEAN* hasCurrent) noexcept = 0;
  virtual HRESULT MoveNext(BOOLEAN* hasCurrent) noexcept = 0;
  virtual HRESULT GetMany(std::uint32_t capacity, T* items, std::uint32_t* count) noexcept = 0;
};

template <class T>
struct IIterable : IInspectable {
  virtual HRESULT First(IIterator<T>** first) noexcept = 0;
};

/// A map that does not change. `Lookup` of a missing key is kOutOfBounds. `Split` may yield two
/// nulls, as the library's views do: a small map is not worth splitting.
template <class Key, class Mapped>
struct IMapView : IInspectable {
  virtual HRESULT Lookup(Key key, Mapped* value) noexcept = 0;
  virtual HRESULT get_Size(std::uint32_t* size) noexcept = 0;
  virtual HRESULT HasKey(Key key, BOOLEAN* found) noexcept = 0;
  virtual HRESULT Split(IMapView** first, IMapView** second) noexcept = 0;
};

/// `Lookup` and `Remove` of a missing key are kOutOfBounds. `GetView` yields a copy as of now.
template <class Key, class Mapped>
struct IMap : IInspectable {
  virtual HRESULT Lookup(Key key, Mapped* value) noexcept = 0;
  virtual HRESULT get_Size(std::uint32_t* size) noexcept = 0;
  virtual HRESULT HasKey(Key key, BOOLEAN* found) noexcept = 0;
  virtual HRESULT GetView(IMapView<Key, Mapped>** view) noexcept = 0;
  virtual HRESULT Insert(Key key, Mapped value, BOOLEAN* replaced) noexcept = 0;
  virtual HRESULT Remove(Key key) noexcept = 0;
  virtual HRESULT Clear() noexcept = 0;
};

/// Context data: keys with boxed values. The object must also be an iterable of its pairs, as the
/// platform's maps are.
using ContextMap = IMap<HSTRING, IInspectable*>;
using ContextPair = IKeyValuePair<HSTRING, IInspectable*>;
using ContextIterator = IIterator<ContextPair*>;
using ContextIterable = IIterable<ContextPair*>;
template <>
inline constexpr GUID kIid<ContextMap>{
    0x1B0D3570, 0x0877, 0x5EC2, {0x8A, 0x2C, 0x3B, 0x95, 0x39, 0x50, 0x6A, 0xCA}};
template <>
inline constexpr GUID kIid<ContextPair>{
    0x09335560, 0x6C6B, 0x5A26, {0x93, 0x48, 0x97, 0xB7, 0x81, 0x13, 0x2B, 0x20}};
template <>
inline constexpr GUID kIid<ContextIterator>{
    0x5DB5FA32, 0x707C, 0x5849, {0xA0, 0x6B, 0x91, 0xC8, 0xEB, 0x9D, 0x10, 0xE8}};
template <>
inline constexpr GUID kIid<ContextIterable>{
    0xFE2F3D47, 0x5D47, 0x5499, {0x83, 0x74, 0x43, 0x0C, 0x7C, 0xDA, 0x02, 0x04}};

/// Maps from text to text. Each is also an iterable of its pairs; iterators of the library's walk
/// the pairs that the map had when they were made.
using StringMapInterface = IMap<HSTRING, HSTRING>;
using StringMapView = IMapView<HSTRING, HSTRING>;
using StringPair = IKeyValuePair<HSTRING, HSTRING>;
using StringIterator = IIterator<StringPair*>;
using StringIterable = IIterable<StringPair*>;
template <>
inline constexpr GUID kIid<StringMapInterface>{
    0xF6D1F700, 0x49C2, 0x52AE, {0x81, 0x54, 0x82, 0x6F, 0x99, 0x08, 0x77, 0x3C}};
template <>
inline constexpr GUID kIid<StringMapView>{
    0xAC7F26F2, 0xFEB7, 0x5B2A, {0x8A, 0xC4, 0x34, 0x5B, 0xC6, 0x2C, 0xAE, 0xDE}};
template <>
inline constexpr GUID kIid<StringPair>{
    0x60310303, 0x49C5, 0x52E6, {0xAB, 0xC6, 0xA9, 0xB3, 0x6E, 0xCC, 0xC7, 0x16}};
template <>
inline constexpr GUID kIid<StringIterator>{
    0x05EB86F1, 0x7140, 0x5517, {0xB8, 0x8D, 0xCB, 0xAE, 0xBE, 0x57, 0xE6, 0xB1}};
template <>
inline constexpr GUID kIid<StringIterable>{
    0xE9BDAAF0, 0xCBF6, 0x5C72, {0xBE, 0x90, 0x29, 0xCB, 0xF3, 0xA1, 0x31, 0x9B}};

}  // namespace Veltro::Abi
