// SPDX-License-Identifier: Apache-2.0
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

/// Caches picture bytes by address, across runs. Despite its name it has no files: bytes and index are in the standard
/// user defaults. Suitable only for a few window pictures: every store and removal rewrites the whole index.
///
/// The key of stored bytes includes the address (which is the `key` of the functions) and the time of storage in
/// seconds. Storing the same address in a later second adds a second entry; look-ups return the oldest entry until it
/// expires.
///
/// Thread-safe. Look-ups never wait; stores and trims are serialized. The block of a look-up is called on the caller's
/// thread, without a lock. Empty keys are ignored and never found.
class OQImageDiskCache : public std::enable_shared_from_this<OQImageDiskCache> {
 public:
  using ContainsBlock = std::function<void(bool contains, const std::string& key, const std::optional<Data>& data)>;

  /// The cache of the process, created at the first call and never destroyed.
  static OQImageDiskCache& cache();
  /// A cache that reads its index from the user defaults. Until it is destroyed, it calls trimToAge(ageLimit()) every
  /// autoTrimInterval() seconds, unless consent is missing (OQConsent).
  static std::shared_ptr<OQImageDiskCache> create();

  /// Stores the bytes for the key. Without data, it removes the bytes that were stored for the key in the current
  /// second, but still adds the key to the index.
  void setImageData(const std::optional<Data>& data, const std::string& key);
  std::optional<Data> imageDataForKey(const std::string& key) const;
  /// Whether the index has the key; does not read the bytes.
  bool containsImageDataForKey(const std::string& key) const;
  /// Calls the block once, before it returns, unless the key or the block is empty. An entry whose bytes are missing
  /// counts as not contained.
  void containsImageDataForKey(const std::string& key, const ContainsBlock& block) const;

  void removeAllCaches();
  /// Removes entries stored before the time (seconds since 1970). Of two neighbouring entries that are both too old,
  /// the second stays until the next call; this is intentional.
  void removeCachesEalierThanTime(std::int64_t time);
  /// Removes entries that are older than `age` seconds, except as in removeCachesEalierThanTime(). An age of 0 or less
  /// removes everything.
  void trimToAge(double age);

  /// The age, in seconds, at which entries are removed by the next trim; default three days.
  double ageLimit() const { return _ageLimit; }
  void setAgeLimit(double seconds) { _ageLimit = seconds; }
  /// Seconds between trims; default 60. A change takes effect at the next trim.
  double autoTrimInterval() const { return _autoTrimInterval; }
  void setAutoTrimInterval(double seconds) { _autoTrimInterval = seconds; }

  /// The keys of all stored bytes, oldest first: base64 of the address and the time of storage.
  std::vector<std::string> keys() const { return _index.load()->keys; }

  void _trimRecursively();
  void _trimInBackground();

 private:
  /// The stored keys in order, and the oldest stored key of each address.
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
  /// Replaces the index and writes it; the caller holds _lock.
  void _install(Index index);

  std::atomic<double> _ageLimit{259200};
  std::atomic<double> _autoTrimInterval{60};
  const std::shared_ptr<DispatchQueue> _queue;
  /// Held during each store and each trim.
  std::mutex _lock;
  Snapshot<Index> _index;
};

}  // namespace oq
