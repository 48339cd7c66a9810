// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQImageDiskCache.h"

#include <limits>

#include "Foundation/Stores/UserDefaults.h"
#include "Utils/OQUtils.h"
#include "support/EngineTest.h"
#include "support/Threads.h"

namespace oq::test {
namespace {

constexpr double kThreeDays = 259200;

class OQImageDiskCacheTest : public WorldTest {
 protected:
  std::shared_ptr<OQImageDiskCache> cache = OQImageDiskCache::create();
  static Data bytes(const std::string& text) { return dataFromString(text); }
  static bool isStored(const std::string& storedKey) {
    return std::holds_alternative<Data>(UserDefaults::standardUserDefaults()->objectForKey(storedKey));
  }
  static std::size_t indexedOnDisk() {
    const PropertyValue index = UserDefaults::standardUserDefaults()->objectForKey("OQImageDiskCacheKeys");
    const JSONValue* list = std::get_if<JSONValue>(&index);
    return list && list->is_array() ? list->get_array().size() : 0;
  }
};

TEST_F(OQImageDiskCacheTest, OldestEntryOfAKeyIsFoundUntilItExpires) {
  cache->setImageData(bytes("old"), "u");
  const auto time = static_cast<long>(secondsSince1970(currentDate()));
  EXPECT_EQ(cache->keys(), std::vector<std::string>{*OQUtils::base64Encode("u__#OQ#__" + std::to_string(time))});
  EXPECT_TRUE(isStored(cache->keys()[0]));
  cache->setImageData(bytes("same second"), "u");
  EXPECT_EQ(cache->keys().size(), 1u);
  moveClock(1);
  cache->setImageData(bytes("new"), "u");
  EXPECT_EQ(cache->keys().size(), 2u);
  EXPECT_EQ(cache->imageDataForKey("u"), bytes("same second"));
  closeAllUserDefaults();
  cache = OQImageDiskCache::create();
  EXPECT_EQ(cache->imageDataForKey("u"), bytes("same second")) << "after a relaunch";
  // Until the oldest entry expires, reading finds only that entry, although it is unusable.
  UserDefaults::standardUserDefaults()->setObject(JSONValue("no bytes"), cache->keys()[0]);
  EXPECT_EQ(cache->imageDataForKey("u"), std::nullopt);
  moveClock(kThreeDays);
  cache->trimToAge(kThreeDays);
  EXPECT_EQ(cache->imageDataForKey("u"), bytes("new"));
}

TEST_F(OQImageDiskCacheTest, LookUpWithABlockCallsTheBlockOnceImmediately) {
  cache->setImageData(bytes("one"), "there");
  cache->setImageData(std::nullopt, "nothing");
  cache->setImageData(bytes("x"), "");
  EXPECT_EQ(cache->keys().size(), 2u);
  EXPECT_TRUE(cache->containsImageDataForKey("nothing")) << "the index has the key all the same";
  EXPECT_EQ(cache->imageDataForKey("nothing"), std::nullopt);
  for (const std::string key : {"there", "nothing", "absent", ""}) {
    int calls = 0;
    cache->containsImageDataForKey(key, [&](bool contains, const std::string& asked, const auto& data) {
      ++calls;
      EXPECT_EQ(contains, key == "there") << key;
      EXPECT_EQ(asked, key);
      EXPECT_EQ(data, contains ? std::optional(bytes("one")) : std::nullopt);
    });
    EXPECT_EQ(calls, key.empty() ? 0 : 1) << key;
  }
  cache->containsImageDataForKey("there", nullptr);
}

TEST_F(OQImageDiskCacheTest, TrimRemovesOldEntriesButSkipsTheNeighbourOfARemovedOne) {
  for (const char* key : {"a", "b", "c"}) cache->setImageData(bytes(key), key);
  const std::vector<std::string> stored = cache->keys();
  moveClock(kThreeDays);
  EXPECT_EQ(cache->ageLimit(), kThreeDays);
  cache->trimToAge(kThreeDays);
  EXPECT_EQ(cache->keys().size(), 3u) << "not older than the limit yet";
  moveClock(1);
  cache->setImageData(bytes("d"), "d");
  cache->trimToAge(kThreeDays);
  EXPECT_EQ(cache->keys().size(), 2u) << "a and c were removed; b moved up and was skipped";
  EXPECT_FALSE(isStored(stored[0]));
  EXPECT_TRUE(isStored(stored[1]));
  EXPECT_FALSE(isStored(stored[2]));
  EXPECT_EQ(indexedOnDisk(), 2u);
  cache->trimToAge(kThreeDays);
  EXPECT_TRUE(cache->containsImageDataForKey("d"));
  for (const double age : {1e300, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
    cache->trimToAge(age);
    EXPECT_EQ(cache->keys().size(), 1u) << age;
  }
  const std::string last = cache->keys()[0];
  cache->trimToAge(0);
  EXPECT_TRUE(cache->keys().empty());
  EXPECT_FALSE(isStored(last));
  EXPECT_EQ(indexedOnDisk(), 0u);
}

TEST_F(OQImageDiskCacheTest, ParallelStoresAndTrimsLoseNothing) {
  inThreads(4, [&](int t) {
    for (int i = 0; i < 25; ++i) {
      const std::string key = std::to_string(t) + "/" + std::to_string(i);
      cache->setImageData(bytes(key), key);
      EXPECT_EQ(cache->imageDataForKey(key), bytes(key));
      if (i % 10 == 0) cache->_trimInBackground();
    }
  });
  EXPECT_EQ(cache->keys().size(), 100u);
  EXPECT_EQ(indexedOnDisk(), 100u) << "the latest index is on the disk";
}

}  // namespace
}  // namespace oq::test
