#include "support/client.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "base/utf.h"

namespace Veltro::Internal::Fuzz {
namespace {

using namespace Abi;
using Abi::Testing::As;
using Abi::Testing::Owned;
using Abi::Testing::Take;

Client::Pairs PairsOf(IUnknown* map) {
  StringIterator* iterator = nullptr;
  Done(As<StringIterable>(map)->First(&iterator));
  const Owned<StringIterator> owned(iterator);
  Client::Pairs pairs;
  BOOLEAN hasCurrent = 0;
  for (Done(iterator->get_HasCurrent(&hasCurrent)); hasCurrent != 0;) {
    StringPair* current = nullptr;
    HSTRING key = nullptr, value = nullptr;
    Done(iterator->get_Current(&current));
    Done(current->get_Key(&key));
    Done(current->get_Value(&value));
    current->Release();
    Require(pairs.emplace(ToUtf8(Take(key)), ToUtf8(Take(value))).second, "a key comes twice");
    Done(iterator->MoveNext(&hasCurrent));
  }
  return pairs;
}

struct TextProperty {
  HRESULT (IMediaSettings::*put)(HSTRING) noexcept;
  HRESULT (IMediaSettings::*get)(HSTRING*) noexcept;
};

constexpr TextProperty kTextProperties[] = {
    {&IMediaSettings::put_Name, &IMediaSettings::get_Name},
    {&IMediaSettings::put_PlayerName, &IMediaSettings::get_PlayerName},
    {&IMediaSettings::put_PlayerId, &IMediaSettings::get_PlayerId},
    {&IMediaSettings::put_Channel, &IMediaSettings::get_Channel},
    {&IMediaSettings::put_Milestones, &IMediaSettings::get_Milestones},
    {&IMediaSettings::put_OffsetMilestones, &IMediaSettings::get_OffsetMilestones},
    {&IMediaSettings::put_ParentName, &IMediaSettings::get_ParentName},
    {&IMediaSettings::put_ParentPod, &IMediaSettings::get_ParentPod},
    {&IMediaSettings::put_CPM, &IMediaSettings::get_CPM},
};

}  // namespace

void Client::Insert(const std::u16string& key, const std::u16string& value) {
  BOOLEAN replaced = 0;
  Done(Map()->Insert(Handle(key), Handle(ToUtf16(Stored(ToUtf8(value)))), &replaced));
  const bool isNew = pairs_.insert_or_assign(ToUtf8(key), ToUtf8(value)).second;
  Require(isNew == (replaced == 0), "a map takes a new pair for an old one");
}

void Client::Remove(const std::u16string& key) {
  const bool isThere = pairs_.erase(ToUtf8(key)) != 0;
  Require(Map()->Remove(Handle(key)) == (isThere ? kOk : kOutOfBounds), "a map removes otherwise");
}

void Client::Clear() {
  Done(request->put_Parameters(nullptr));
  pairs_.clear();
}

void Client::CheckPairs() {
  const auto map = Map();
  StringMapView* view = nullptr;
  Done(map->GetView(&view));
  const Owned<StringMapView> owned(view);
  for (IUnknown* const object : {static_cast<IUnknown*>(map.get()), static_cast<IUnknown*>(view)}) {
    Require(PairsOf(object) == pairs_, "a map holds other pairs");
  }
  for (const auto& [key, value] : pairs_) {
    HSTRING found = nullptr;
    Done(map->Lookup(Handle(ToUtf16(key)), &found));
    Require(ToUtf8(Take(found)) == value, "a map finds another value");
  }
}

void Client::LoadCreated(Arguments& arguments, bool isOrder) {
  Handle name(arguments.Text()), second(arguments.Text()), third(arguments.Text());
  ClientRequest other(arguments);
  ITargetLocationRequest* made = nullptr;
  Done(isOrder ? target->CreateOrderConfirmRequest(name, second, third, second, other.Parameters(),
                                                   &made)
               : target->CreateRequest(name, second, other.Parameters(), &made));
  Keep<HSTRING>([&](auto to) { return target->LoadRequest(made, to); });
  made->Release();
}

void Client::PutText(Arguments& arguments) {
  const auto index = static_cast<std::size_t>(arguments.Integer());
  const auto [put, get] = kTextProperties[index % std::size(kTextProperties)];
  const std::u16string text = arguments.Text();
  HSTRING found = nullptr;
  Done((settings.get()->*put)(Handle(text)));
  Done((settings.get()->*get)(&found));
  Require(ToUtf8(Take(found)) == ToUtf8(text), "a property holds another text");
}

void Client::PutNumbers(Arguments& arguments) {
  Done(settings->put_Length(arguments.Number()));
  Done(settings->put_TrackSeconds(arguments.Integer()));
  Done(settings->put_CompleteCloseOffsetThreshold(arguments.Integer()));
  const std::int32_t bits = arguments.Integer();
  Done(settings->put_SegmentByMilestones((bits & 1) != 0));
  Done(settings->put_SegmentByOffsetMilestones((bits & 2) != 0));
  Done(settings->put_IsMediaAd((bits & 4) != 0));
  Done(settings->put_ParentPodPosition(arguments.Number()));
}

void Client::ReadAnswers() {
  std::int32_t size = -1;
  double value = 0;
  StringMapView* profile = nullptr;
  Done(analytics->GetTrackingQueueSize(&size));
  Require(size >= 0, "the queue holds fewer hits than none");
  Done(config->GetLifetimeValue(&value));
  Done(audience->GetVisitorProfile(&profile));
  profile->Release();
  HSTRING texts[5] = {};
  Done(config->GetUserIdentifier(&texts[0]));
  Done(audience->GetDpid(&texts[1]));
  Done(audience->GetDpuuid(&texts[2]));
  Done(target->GetPcId(&texts[3]));
  Done(target->GetSessionId(&texts[4]));
  for (const HSTRING text : texts) DeleteString(text);
}

void Client::GetFactory(const std::u16string& name) {
  IActivationFactory* factory = nullptr;
  const HRESULT result = DllGetActivationFactory(Handle(name), &factory);
  Require(result == (factory != nullptr ? kOk : kClassNotRegistered), "a factory is half there");
  if (factory != nullptr) factory->Release();
}

void Client::CheckOperations() {
  for (const auto& operation : operations_) operation->CheckEnd();
}

Owned<StringMapInterface> Client::Map() {
  StringMapInterface* map = nullptr;
  Done(request->get_Parameters(&map));
  return Owned<StringMapInterface>(map);
}

}  // namespace Veltro::Internal::Fuzz
