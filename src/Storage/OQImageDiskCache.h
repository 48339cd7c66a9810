#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Values/Data.h"
#include "Foundation/Values/Snapshot.h"

namespace oq {

/// Picture bytes by address, kept between runs. Despite its name it has no files of its own: bytes and index
/// live in the standard user defaults. Meant for a handful of window pictures: every store and removal
/// rewrites the whole index.
///
/// The date of storage is part of the key under which bytes are stored. Storing an address again in a later
/// second adds a second entry, and lookups find the oldest, until it ages out.
///
/// Threads: any. Lookups wait for nobody; stores and trims run one at a time. The block of a lookup is called
/// on the caller's thread, without a lock. Keys that are empty do nothing, and are found nowhere.
class OQImageDiskCache : public std::enable_shared_from_this<OQImageDiskCache> {
 public:
  using ContainsBlock = std::function<void(bool contains, const std::string& key, const std::optional<Data>& data)>;

  /// The cache of the process, made at the first call and never destroyed.
  static OQImageDiskCache& cache();
  /// A cache with the index that the user defaults hold. Trims every autoTrimInterval() seconds while
  /// somebody owns it.
  static std::shared_ptr<OQImageDiskCache> create();

  /// No data removes what is stored for this second, and still records the key.
  void setImageData(const std::optional<Data>& data, const std::string& key);
  std::optional<Data> imageDataForKey(const std::string& key) const;
  /// Whether the index has the key; the bytes are not read.
  bool containsImageDataForKey(const std::string& key) const;
  /// Calls the block once, before it returns, unless the key or the block is empty. An entry whose bytes are
  /// gone is not contained.
  void containsImageDataForKey(const std::string& key, const ContainsBlock& block) const;

  void removeAllCaches();
  /// Removes what was stored before the time (seconds since 1970). Of two neighbouring entries that are both
  /// too old, the second stays until the next call; this is meant.
  void removeCachesEalierThanTime(std::int64_t time);
  /// An age of 0 or less removes everything.
  void trimToAge(double age);

  /// Seconds; three days.
  double ageLimit() const { return _ageLimit; }
  void setAgeLimit(double seconds) { _ageLimit = seconds; }
  /// Seconds between trims; 60. A change counts from the next trim on.
  double autoTrimInterval() const { return _autoTrimInterval; }
  void setAutoTrimInterval(double seconds) { _autoTrimInterval = seconds; }

  /// The stored keys, oldest first.
  std::vector<std::string> keys() const { return _index.load()->keys; }

  void _trimRecursively();
  void _trimInBackground();

 private:
  /// The stored keys in order, and for each address the oldest of its stored keys.
  struct Index {
    std::vector<std::string> keys;
    std::unordered_map<std::string, std::string> oldestByAddress;
    void append(std::string storedKey);
  };

  OQImageDiskCache();
  std::optional<std::string> _storedKeyFor(const std::string& key) const;
  std::optional<Data> _imageDataForKey(const std::string& storedKey) const;
  void _trimToAge(double age);
  void _removeAll();
  void _removeEarlierThan(std::int64_t time);
  /// Replaces the index and writes it; with _lock held.
  void _install(Index index);

  std::atomic<double> _ageLimit{259200};
  std::atomic<double> _autoTrimInterval{60};
  const std::shared_ptr<DispatchQueue> _queue;
  /// Held by each store and each trim from its first step to its last.
  std::mutex _lock;
  Snapshot<Index> _index;
};

}  // namespace oq
