#include "analytics/hit_store.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "core/log.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::string_view kFileName = "VeltroDataCache.json";
constexpr std::uint64_t kWorthCompacting = 64 * 1024ULL;  // bytes of blanks
constexpr std::size_t kCopyChunk = 64 * 1024ULL;

}  // namespace

HitStore::Turn::Turn(HitStore& store) : store_(store), lock_(store.mutex_) { store_.CatchUp(); }

HitStore::Turn::~Turn() {
  store_.size_ = store_.Count();
  store_.queueLock_.Release();
}

HitStore::HitStore(LocalFolder& folder) : folder_(folder), queueLock_(folder) {
  const Turn turn(*this);
}

/// Loads the file unless what we hold is what it says.
void HitStore::CatchUp() {
  isOurs_ = false;
  try {
    if (const auto firstId = queueLock_.Acquire()) {
      ForgetFile();
      // A number that went down belongs to a new lock file: no hit under way may be taken for ours.
      firstId_ = *firstId < firstId_ ? firstId_ + Count() + 1 : *firstId;
    }
    isOurs_ = true;
    if (!isCaughtUp_) Load();
  } catch (const std::exception& error) {
    if (!troubleLogged_) LogError("Analytics - Unable to load queued hits (%s)", error.what());
    troubleLogged_ = true;
  }
}

/// Forgets what the file held, but not what it does not hold.
void HitStore::ForgetFile() {
  isCaughtUp_ = false;
  fileIsCurrent_ = false;
  unsaved_.erase(unsaved_.begin(), unsaved_.begin() + static_cast<std::ptrdiff_t>(alsoInFile_));
  alsoInFile_ = 0;
  elements_.clear();
  file_ = nullptr;
  end_ = shift_ = 0;
}

void HitStore::Load() {
  const std::optional<std::string> text = folder_.Read(kFileName);
  if (text) {
    const std::size_t known = Count();
    LoadText(*text);
    // Hits that were known come behind those of the file now: they cannot keep their numbers.
    if (known > 0 && Count() > known) ++firstId_;
  }
  isCaughtUp_ = true;
  if (!fileIsCurrent_) SaveWhole();
}

void HitStore::LoadText(std::string_view text) {
  const auto elements = IndexHitDocument(text);
  if (elements) file_ = OpenForEditing();
  if (!file_) return LoadForeign(text);
  elements_.assign(elements->begin(), elements->end());
  end_ = text.size() - kHitDocumentTail.size();
  fileIsCurrent_ = unsaved_.empty();
}

/// The file; null when it may only be read, so that its hits have to be kept in memory.
std::unique_ptr<LocalFile> HitStore::OpenForEditing() {
  try {
    return folder_.Open(kFileName);
  } catch (const PlatformError&) {
    return nullptr;
  }
}

void HitStore::LoadForeign(std::string_view text) {
  ForeignHitDocument document = ReadForeignHitDocument(text);
  if (!document.isWhole && !text.empty()) {
    LogError("Analytics - Unable to load queued hits (%s)",
             "the file is damaged; kept " + std::to_string(document.hits.size()) + " hits");
  }
  unsaved_.insert(unsaved_.begin(), std::make_move_iterator(document.hits.begin()),
                  std::make_move_iterator(document.hits.end()));
  alsoInFile_ = document.hits.size();
}

void HitStore::Append(QueuedHit hit) {
  const Turn turn(*this);
  unsaved_.push_back(std::move(hit));
  Save([this] { WriteUnsaved(); });
}

std::optional<HitStore::FirstHit> HitStore::First() {
  const Turn turn(*this);
  while (!elements_.empty()) {
    if (auto hit = ReadHitElement(ReadFirstElement())) return FirstHit{firstId_, *std::move(hit)};
    LogError("Analytics - Invalid hit (removed)");
    PopFirst();
  }
  if (unsaved_.empty()) return std::nullopt;
  return FirstHit{firstId_, unsaved_.front()};
}

void HitStore::ReplaceFirst(std::uint64_t id, const QueuedHit& hit) {
  const Turn turn(*this);
  if (id != firstId_ || Count() == 0) return;
  if (elements_.empty()) {
    unsaved_.front() = hit;
    SaveWhole();
  } else {
    Save([&] { WriteFirst(hit); });
  }
}

void HitStore::RemoveFirst(std::uint64_t id) {
  const Turn turn(*this);
  if (id == firstId_ && Count() > 0) PopFirst();
}

void HitStore::Clear() {
  const Turn turn(*this);
  firstId_ += Count();
  elements_.clear();
  unsaved_.clear();
  alsoInFile_ = 0;
  queueLock_.TryAnnounce(firstId_);
  try {
    folder_.Remove(kFileName);
  } catch (const PlatformError&) {
    // What cannot be removed can perhaps be replaced, now or later.
  }
  isCaughtUp_ = true;
  SaveWhole();
}

bool HitStore::IsStored() {
  const std::lock_guard lock(mutex_);
  return fileIsCurrent_;
}

bool HitStore::ClaimSending() {
  const std::lock_guard lock(mutex_);
  return queueLock_.ClaimSending();
}

void HitStore::YieldSending() {
  const std::lock_guard lock(mutex_);
  queueLock_.YieldSending();
}

void HitStore::Sync() {
  const Turn turn(*this);
  if (!fileIsCurrent_) return SaveWhole();
  if (!needsSync_.exchange(false)) return;
  try {
    file_->Sync();
  } catch (const PlatformError& error) {
    fileIsCurrent_ = false;  // nobody knows what of it is on the device
    LogTrouble(error);
  }
}

std::uint64_t HitStore::LiveStart() const {
  return elements_.empty() ? end_ : FileOffset(elements_.front());
}

std::string HitStore::ReadFirstElement() {
  if (!file_) throw PlatformError("the queue file is closed");
  return file_->Read(FileOffset(elements_.front()), elements_.front().length);
}

void HitStore::PopFirst() {
  ++firstId_;
  if (elements_.empty()) {
    unsaved_.pop_front();
    alsoInFile_ -= std::min<std::size_t>(alsoInFile_, 1);
    return SaveWhole();
  }
  const std::uint64_t start = LiveStart();
  elements_.pop_front();
  Save([this, start] {
    const std::uint64_t blanks = LiveStart() - kHitDocumentHead.size();
    const bool compact = blanks > kWorthCompacting && blanks > end_ - LiveStart();
    if (elements_.empty() || compact) {
      WriteWhole();
    } else {
      WriteBlanks(start, LiveStart() - start);
    }
  });
}

/// Brings the file up to date: by `editInPlace` when it was before the present change, else whole.
void HitStore::Save(const std::function<void()>& editInPlace) {
  try {
    const bool canEdit = std::exchange(fileIsCurrent_, false);
    if (!isOurs_ || !isCaughtUp_) throw PlatformError("the file cannot be read");
    queueLock_.Announce(firstId_);
    if (canEdit) {
      editInPlace();
    } else {
      WriteWhole();
    }
    fileIsCurrent_ = true;
    troubleLogged_ = false;
  } catch (const PlatformError& error) {
    LogTrouble(error);
  }
}

void HitStore::LogTrouble(const PlatformError& error) {
  if (!troubleLogged_) LogError("Analytics - Unable to save hit queue (%s)", error.what());
  troubleLogged_ = true;
}

void HitStore::SaveWhole() {
  fileIsCurrent_ = false;
  Save([] {});
}

/// Appends the one hit that is not in the file.
void HitStore::WriteUnsaved() {
  const std::string element = WriteHitElement(unsaved_.front());
  const std::string_view comma = elements_.empty() ? "" : ",";
  std::string bytes;
  bytes.reserve(comma.size() + element.size() + kHitDocumentTail.size());
  bytes.append(comma).append(element).append(kHitDocumentTail);
  file_->Write(end_, bytes);
  elements_.push_back({end_ + comma.size() + shift_, static_cast<std::uint32_t>(element.size()),
                       unsaved_.front().timestamp});
  unsaved_.pop_front();
  end_ += comma.size() + element.size();
  needsSync_ = true;
}

void HitStore::WriteBlanks(std::uint64_t offset, std::size_t length) {
  file_->Write(offset, std::string(length, ' '));
  needsSync_ = true;
}

/// Writes the oldest hit anew: over the old one if it is as long, so that it can be read even if
/// the write is cut.
void HitStore::WriteFirst(const QueuedHit& hit) {
  const std::string element = WriteHitElement(hit);
  if (element.size() == elements_.front().length) {
    file_->Write(LiveStart(), element);
    needsSync_ = true;
  } else {
    WriteWhole(element);
  }
  elements_.front().timestamp = hit.timestamp;
}

/// Writes the file anew from the hits of the old one, the oldest with the text `first` unless that
/// is empty, and those in memory only, in the same order and without the blanks.
void HitStore::WriteWhole(std::string_view first) {
  const auto replacement = folder_.Replace(kFileName);
  const std::uint64_t replaced = first.empty() ? 0 : elements_.front().length;
  const std::uint64_t liveStart = kHitDocumentHead.size();
  replacement->Append(kHitDocumentHead);
  replacement->Append(first);
  CopyLive(*replacement, LiveStart() + replaced);
  std::uint64_t end = liveStart + first.size() + (end_ - LiveStart() - replaced);
  std::deque<HitElement> added;
  for (const QueuedHit& hit : unsaved_) {
    const std::string element = WriteHitElement(hit);
    const std::string_view comma = end == liveStart ? "" : ",";
    replacement->Append(comma);
    replacement->Append(element);
    added.push_back(
        {end + comma.size(), static_cast<std::uint32_t>(element.size()), hit.timestamp});
    end += comma.size() + element.size();
  }
  replacement->Append(kHitDocumentTail);
  file_ = replacement->Commit();
  shift_ += LiveStart() + replaced - liveStart - first.size();
  if (!first.empty()) {
    elements_.front().offset = liveStart + shift_;
    elements_.front().length = static_cast<std::uint32_t>(first.size());
  }
  for (HitElement element : added) {
    element.offset += shift_;
    elements_.push_back(element);
  }
  unsaved_.clear();
  alsoInFile_ = 0;
  end_ = end;
  needsSync_ = false;
}

/// Copies the hits of the old file from `offset` on.
void HitStore::CopyLive(FileReplacement& replacement, std::uint64_t offset) {
  while (offset < end_) {
    const std::string chunk =
        file_->Read(offset, std::min<std::uint64_t>(kCopyChunk, end_ - offset));
    if (chunk.empty()) throw PlatformError("the queue file became shorter");
    replacement.Append(chunk);
    offset += chunk.size();
  }
}

}  // namespace Veltro::Internal
