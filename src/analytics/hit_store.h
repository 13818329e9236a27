#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "analytics/hit_document.h"
#include "analytics/queue_lock.h"
#include "platform/local_folder.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {

/// The queued hits, in order, in the file "VeltroDataCache.json". Memory holds where each hit lies;
/// its text is read from the file when it is its turn. Safe to use from any thread: a lock is held
/// for each operation, reading and writing included.
///
/// Several processes may share the file. Each operation holds a lock on "veltro.lock", too, and
/// loads the file anew when the note in there tells that another process has changed it.
///
/// After each change the file parses to exactly the queue. A change costs one positional write of
/// one element, whatever the length of the queue: an appended element is written over the end of
/// the array together with a new end, a removed one is overwritten with blanks. The file is written
/// whole (beside the old one, synced, renamed) when the queue becomes empty, and when the blanks
/// outweigh the hits.
///
/// When the system refuses a write, the queue goes on in memory, one line is logged, and each
/// following change tries to write the file whole. A file that could not be read is never
/// overwritten: each change tries to read it again. Nothing here knows what a hit means or when it
/// may leave.
class HitStore {
 public:
  /// The oldest hit, with the number by which it is known: numbers rise and are never used again.
  struct FirstHit {
    std::uint64_t id;
    QueuedHit hit;
  };

  /// Loads the file. One that is missing is created; a torn or damaged one is read as far as its
  /// elements are complete, logged, and written anew; one that cannot be read is logged.
  explicit HitStore(LocalFolder& folder);

  /// The number of hits as of the last finished operation. Takes no lock.
  std::size_t Size() const { return size_; }

  void Append(QueuedHit hit);

  /// A copy of the oldest hit; nothing when there is none that is known. Throws `PlatformError`
  /// when a hit that is known cannot be read. A hit whose text in the file is damaged is logged,
  /// removed and passed over.
  std::optional<FirstHit> First();

  /// Replaces the oldest hit, if it is still the one numbered `id`.
  void ReplaceFirst(std::uint64_t id, const QueuedHit& hit);

  /// Removes the oldest hit, if it is still the one numbered `id`: a hit that was cleared while it
  /// was under way takes no other with it.
  void RemoveFirst(std::uint64_t id);

  /// Removes all hits, and the file with all that was left beside it, even if no new one can be
  /// written.
  void Clear();

  /// Whether the file holds what memory does, as far as that is known.
  bool IsStored();

  /// Of the processes that share the file one at a time sends. Whether it is this one now; it stays
  /// so until `YieldSending`.
  bool ClaimSending();
  void YieldSending();

  /// Returns when all changes so far would survive a loss of power, as far as the disk lets them;
  /// what it refused before is tried again. Free when they already would.
  void Sync();

  /// Whether `Sync` has anything to do.
  bool NeedsSync() const { return needsSync_; }

 private:
  /// One operation's turn, in this process and among those that share the file.
  class Turn {
   public:
    explicit Turn(HitStore& store);
    ~Turn();

   private:
    HitStore& store_;
    const std::lock_guard<std::mutex> lock_;
  };

  void CatchUp();
  void ForgetFile();
  void Load();
  void LoadText(std::string_view text);
  void LoadForeign(std::string_view text);
  std::unique_ptr<LocalFile> OpenForEditing();
  std::size_t Count() const { return elements_.size() + unsaved_.size(); }
  std::uint64_t FileOffset(const HitElement& element) const { return element.offset - shift_; }
  std::uint64_t LiveStart() const;
  std::string ReadFirstElement();
  void PopFirst();
  void Save(const std::function<void()>& editInPlace);
  void LogTrouble(const PlatformError& error);
  void SaveWhole();
  void WriteUnsaved();
  void WriteBlanks(std::uint64_t offset, std::size_t length);
  void WriteFirst(const QueuedHit& hit);
  void WriteWhole(std::string_view first = {});
  void CopyLive(FileReplacement& replacement, std::uint64_t offset);

  LocalFolder& folder_;
  std::mutex mutex_;
  QueueLock queueLock_;
  bool isOurs_ = false;              // the file, for the present turn
  bool isCaughtUp_ = false;          // what memory holds is based on the file as it is
  std::unique_ptr<LocalFile> file_;  // null when there is none to read or edit
  std::deque<HitElement> elements_;  // the hits that lie in the file
  std::deque<QueuedHit> unsaved_;    // the hits behind them, which are not read from there
  std::size_t alsoInFile_ = 0;       // how many of these, the first, it has all the same
  std::uint64_t firstId_ = 0;
  std::uint64_t end_ = 0;       // where the tail of the document lies
  std::uint64_t shift_ = 0;     // what to take from an element's offset: grows as blanks go
  bool fileIsCurrent_ = false;  // the file parses to the queue
  bool troubleLogged_ = false;  // the disk refuses, which is logged once
  std::atomic<std::size_t> size_{0};
  std::atomic<bool> needsSync_{false};
};

}  // namespace Veltro::Internal
