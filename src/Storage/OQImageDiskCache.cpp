// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQImageDiskCache.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

#include "Foundation/Stores/UserDefaults.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/Number.h"
#include "Utils/OQConsent.h"
#include "Utils/OQGuard.h"
#include "Utils/OQSDKBundleIdentifier.h"
#include "Utils/OQUtils.h"

namespace oq {

namespace {

constexpr std::string_view kSeparator = "__#OQ#__";
constexpr const char* kIndexKey = "OQImageDiskCacheKeys";

std::int64_t currentTime() {
  return static_cast<std::int64_t>(std::floor(secondsSince1970(currentDate())));
}

struct StoredKeyParts {
  std::string address;
  std::optional<std::string> time;
};

/// Splits a stored key into the address, which ends at the first separator, and the time, which ends at the second
/// separator or at the end of the key. An address that contains the separator is therefore never found again, and its
/// entry expires at the first trim.
std::optional<StoredKeyParts> splitStoredKey(const std::string& storedKey) {
  const std::optional<std::string> text = OQUtils::base64Decode(storedKey);
  if (!text) return std::nullopt;
  const std::size_t first = text->find(kSeparator);
  if (first == std::string::npos) return StoredKeyParts{*text, std::nullopt};
  const std::size_t begin = first + kSeparator.size();
  const std::size_t end = std::min(text->find(kSeparator, begin), text->size());
  return StoredKeyParts{text->substr(0, first), text->substr(begin, end - begin)};
}

bool isOlderThan(const std::string& storedKey, std::int64_t time) {
  const std::optional<StoredKeyParts> parts = splitStoredKey(storedKey);
  return parts && parts->time && integerValue(JSONValue(*parts->time)) < time;
}

void removeStored(const std::string& key) {
  auto defaults = UserDefaults::standardUserDefaults();
  defaults->removeObjectForKey(key);
  defaults->synchronize();
}

}  // namespace

void OQImageDiskCache::Index::append(std::string storedKey) {
  if (auto parts = splitStoredKey(storedKey)) oldestByAddress.try_emplace(std::move(parts->address), storedKey);
  keys.push_back(std::move(storedKey));
}

OQImageDiskCache& OQImageDiskCache::cache() {
  // Intentionally leaked: responses may arrive while the process exits.
  static auto* shared = new std::shared_ptr<OQImageDiskCache>(create());
  return **shared;
}

std::shared_ptr<OQImageDiskCache> OQImageDiskCache::create() {
  std::shared_ptr<OQImageDiskCache> cache(new OQImageDiskCache);
  cache->_trimRecursively();
  return cache;
}

OQImageDiskCache::OQImageDiskCache() : _queue(DispatchQueue::concurrent(OQSDK_BUNDLE_IDENTIFIER ".imageDiskCache")) {
  const PropertyValue stored = UserDefaults::standardUserDefaults()->objectForKey(kIndexKey);
  const auto* list = std::get_if<JSONValue>(&stored);
  if (!list || !list->is_array()) return;
  auto index = std::make_shared<Index>();
  for (const JSONValue& key : list->get_array()) {
    if (key.is_string()) index->append(std::string(key.get_string()));
  }
  _index.exchange(std::move(index));
}

void OQImageDiskCache::setImageData(const std::optional<Data>& data, const std::string& key) {
  if (key.empty()) return;
  const auto storedKey = OQUtils::base64Encode(stringWithFormat("%@%@%@", key, kSeparator, currentTime()));
  if (!storedKey) return;

  std::lock_guard lock(_lock);
  auto defaults = UserDefaults::standardUserDefaults();
  defaults->setObject(data ? PropertyValue(*data) : PropertyValue(JSONValue()), *storedKey);
  defaults->synchronize();
  Index index = *_index.load();
  if (std::ranges::find(index.keys, *storedKey) != index.keys.end()) return;
  index.append(*storedKey);
  _install(std::move(index));
}

std::optional<Data> OQImageDiskCache::imageDataForKey(const std::string& key) const {
  const auto storedKey = _storedKeyFor(key);
  return storedKey ? _imageDataForKey(*storedKey) : std::nullopt;
}

bool OQImageDiskCache::containsImageDataForKey(const std::string& key) const {
  return _storedKeyFor(key).has_value();
}

void OQImageDiskCache::containsImageDataForKey(const std::string& key, const ContainsBlock& block) const {
  if (key.empty() || !block) return;
  const std::optional<Data> data = imageDataForKey(key);
  block(data.has_value(), key, data);
}

void OQImageDiskCache::removeAllCaches() {
  std::lock_guard lock(_lock);
  _removeAll();
}

void OQImageDiskCache::removeCachesEalierThanTime(std::int64_t time) {
  std::lock_guard lock(_lock);
  _removeEarlierThan(time);
}

void OQImageDiskCache::trimToAge(double age) {
  std::lock_guard lock(_lock);
  _trimToAge(age);
}

void OQImageDiskCache::_trimRecursively() {
  // The shared cache is never destroyed, so this repeats as long as the process runs.
  DispatchQueue::background().after(_autoTrimInterval, [weak = weak_from_this()] {
    auto cache = weak.lock();
    if (!cache) return;
    cache->_trimInBackground();
    cache->_trimRecursively();
  });
}

void OQImageDiskCache::_trimInBackground() {
  _queue->async([weak = weak_from_this()] {
    if (auto cache = weak.lock())
      guarded([&] {
        // While consent is missing, nothing can be removed from the user defaults, so the keys must stay in the index.
        if (!OQConsent::isMissing()) cache->trimToAge(cache->ageLimit());
      });
  });
}

std::optional<std::string> OQImageDiskCache::_storedKeyFor(const std::string& key) const {
  if (key.empty()) return std::nullopt;
  const auto index = _index.load();
  const auto found = index->oldestByAddress.find(key);
  if (found == index->oldestByAddress.end()) return std::nullopt;
  return found->second;
}

std::optional<Data> OQImageDiskCache::_imageDataForKey(const std::string& storedKey) const {
  if (storedKey.empty()) return std::nullopt;
  PropertyValue value = UserDefaults::standardUserDefaults()->objectForKey(storedKey);
  auto* data = std::get_if<Data>(&value);
  return data ? std::optional(std::move(*data)) : std::nullopt;
}

void OQImageDiskCache::_trimToAge(double age) {
  if (age <= 0) {
    _removeAll();
    return;
  }
  const std::int64_t now = currentTime();
  // The negated condition is also true if the age is not a number.
  if (!(age < static_cast<double>(now))) return;
  const auto limit = static_cast<std::int64_t>(static_cast<double>(now) - age);
  if (limit >= std::numeric_limits<std::int32_t>::max()) return;
  _removeEarlierThan(limit);
}

void OQImageDiskCache::_removeAll() {
  const auto index = _index.load();
  auto defaults = UserDefaults::standardUserDefaults();
  for (const std::string& storedKey : index->keys) defaults->removeObjectForKey(storedKey);
  defaults->synchronize();
  removeStored(kIndexKey);
  _index.exchange(std::make_shared<Index>());
}

void OQImageDiskCache::_removeEarlierThan(std::int64_t time) {
  std::vector<std::string> keys = _index.load()->keys;
  if (keys.empty()) return;
  // Intentional: the loop continues with the next index after a removal, so the element that moved up is kept until the
  // next trim.
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (!isOlderThan(keys[i], time)) continue;
    removeStored(keys[i]);
    keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(i));
  }
  Index index;
  for (std::string& storedKey : keys) index.append(std::move(storedKey));
  _install(std::move(index));
}

void OQImageDiskCache::_install(Index index) {
  JSONArray list;
  for (const std::string& storedKey : index.keys) list.emplace_back(storedKey);
  _index.exchange(std::make_shared<Index>(std::move(index)));
  auto defaults = UserDefaults::standardUserDefaults();
  defaults->setObject(JSONValue(std::move(list)), kIndexKey);
  defaults->synchronize();
}

}  // namespace oq
