#include "support/queue_model.h"

#include <algorithm>
#include <iterator>
#include <random>

namespace Veltro::Internal::Testing {

using Status = VeltroPrivacyStatus;

namespace {

constexpr std::size_t kSteps = 50;

struct Choice {
  std::size_t weight;
  Step::Kind kind;
  std::vector<int> values;
  const char* name;
};

const Choice kChoices[] = {
    {32, Step::Kind::Track, {0}, "track"},
    {8, Step::Kind::Track, {1, 5, 6, 100}, "track"},
    {14, Step::Kind::TimePasses, {1, 10, 30}, "time passes"},
    {10, Step::Kind::ClockJumps, {1, -1, 10, -10, 3600, -3600, -31'536'000}, "clock jumps"},
    {7, Step::Kind::Network, {0, 1, 1}, "network"},
    {10, Step::Kind::Privacy, {1, 1, 1, 1, 2, 3, 3, 7}, "privacy"},
    {5, Step::Kind::Clear, {0}, "clear"},
    {18, Step::Kind::Fault, {1, 2, 3, 4, 5, 6, 7, 8, 8, 8, 9}, "fault"},
    {10, Step::Kind::Answer, {0, 1, 2, 3}, "answer"},
    {5, Step::Kind::Flush, {0}, "flush"},
    {4, Step::Kind::Kill, {0}, "kill"},
    {4, Step::Kind::Restart, {0}, "restart"},
};

}  // namespace

Steps RandomSteps(unsigned seed) {
  std::mt19937 random(seed);
  std::vector<const Choice*> byWeight;
  for (const Choice& choice : kChoices) byWeight.insert(byWeight.end(), choice.weight, &choice);
  Steps steps(kSteps);
  for (Step& step : steps) {
    const Choice& choice = *byWeight[random() % byWeight.size()];
    step = {choice.kind, choice.values[random() % choice.values.size()]};
  }
  return steps;
}

std::string ToText(const Steps& steps) {
  std::string text;
  for (const Step& step : steps) {
    const auto choice = std::find_if(std::begin(kChoices), std::end(kChoices),
                                     [&](const Choice& entry) { return entry.kind == step.kind; });
    const bool isFate = step.kind == Step::Kind::Fault || step.kind == Step::Kind::Answer;
    text += std::string(text.empty() ? "" : ", ") + choice->name + " " +
            (isFate ? kFates[step.value].name : std::to_string(step.value));
  }
  return text;
}

bool QueueModel::Allows(const Step& step) const {
  if (step.kind == Step::Kind::Answer) return sender == Sender::Waiting;
  if (step.kind != Step::Kind::Flush) return true;
  QueueModel after = *this;  // a flush would wait for the answer
  after.Apply(step);
  return after.sender != Sender::Waiting;
}

void QueueModel::Apply(const Step& step) {
  switch (step.kind) {
    case Step::Kind::Track:
      return Track(now - step.value);
    case Step::Kind::TimePasses:
      return TimePasses(step.value);
    case Step::Kind::ClockJumps:
      now += step.value;
      return;
    case Step::Kind::Network:
      isOnline = step.value != 0;
      return;
    case Step::Kind::Privacy:
      return SetPrivacy(static_cast<Status>(step.value));
    case Step::Kind::Clear:
      return Clear();
    case Step::Kind::Fault:
      faults.push_back(step.value);
      return;
    case Step::Kind::Answer:
      sender = Sender::Idle;
      if (Settle(kFates[step.value].outcome)) Drain();
      return;
    case Step::Kind::Flush:
      return Flush();
    case Step::Kind::Kill:
    case Step::Kind::Restart:
      return BeginProcess();
  }
}

void QueueModel::Track(std::int64_t timestamp) {
  ++lastId;
  if (status == Status::OptOut) return;
  queue.push_back({lastId, timestamp});
  StartSendingIfReady();
}

/// What is no status holds for this process only, and nothing is sent then.
void QueueModel::SetPrivacy(Status newStatus) {
  if (newStatus == Status::Unknown && !offlineEnabled) return;
  status = newStatus;
  if (newStatus >= Status::OptIn && newStatus <= Status::Unknown) storedStatus = newStatus;
  if (newStatus == Status::OptOut) Clear();
  StartSendingIfReady();
}

void QueueModel::Clear() {
  queue.clear();
  EndCooldown();
}

void QueueModel::Flush() {
  flushed = Host::FlushResult::NotAllowed;
  if (!MaySend()) return;
  if (sender == Sender::Idle) Drain();
  flushed = queue.empty() ? Host::FlushResult::Done : Host::FlushResult::Offline;
}

void QueueModel::TimePasses(int seconds) {
  if (sender != Sender::CoolingDown) {
    now += seconds;
    return;
  }
  seconds = std::min(seconds, cooldownLeft);
  now += seconds;
  cooldownLeft -= seconds;
  if (cooldownLeft == 0) Drain();
}

/// What comes while a hit is under way, or after a failure, finds its turn later.
void QueueModel::StartSendingIfReady() {
  if (!MaySend()) return EndCooldown();
  if (sender == Sender::Idle && (!offlineEnabled || queue.size() > batchLimit)) Drain();
}

void QueueModel::Drain() {
  sender = Sender::Idle;
  while (MaySend() && isOnline && !queue.empty()) {
    Hit& first = queue.front();
    if (offlineEnabled) {
      if (first.timestamp < lastSent) first.timestamp = lastSent + 1;
    } else if (first.timestamp < now - 5) {
      queue.pop_front();
      continue;
    }
    requests.push_back(first);
    underWay = first;
    skipsCooldown = false;
    Outcome outcome = Outcome::Taken;
    if (!faults.empty()) {
      outcome = kFates[faults.front()].outcome;
      faults.pop_front();
    }
    if (outcome == Outcome::Silent) {
      sender = Sender::Waiting;
      return;
    }
    if (!Settle(outcome)) return;
  }
}

/// Whether the next hit may follow at once.
bool QueueModel::Settle(Outcome outcome) {
  const bool isKept = outcome == Outcome::Broken || (outcome == Outcome::Refused && offlineEnabled);
  if (isKept) {
    ++cooldowns;
    if (skipsCooldown) return true;
    sender = Sender::CoolingDown;
    cooldownLeft = 30;
    return false;
  }
  if (outcome == Outcome::Taken) lastSent = underWay.timestamp;
  if (!queue.empty() && queue.front().id == underWay.id) queue.pop_front();
  return true;
}

/// Ends the present cooldown, or the one that the hit under way might bring.
void QueueModel::EndCooldown() {
  skipsCooldown = true;
  if (sender == Sender::CoolingDown) Drain();
}

/// The queue, the stored status and the world stay.
void QueueModel::BeginProcess() {
  requests.clear();
  sender = Sender::Idle;
  cooldowns = 0;
  status = storedStatus;
  lastSent = 0;
}

}  // namespace Veltro::Internal::Testing
