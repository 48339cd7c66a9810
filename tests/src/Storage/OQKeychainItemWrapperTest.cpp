// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQKeychainItemWrapper.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "Foundation/Values/Format.h"
#include "Security/FileKeychainStore.h"
#include "Utils/OQUtils.h"
#include "oqsdk/OQSDKConstants.h"
#include "src/TemporaryFolder.h"

namespace oq::test {
namespace {

/// The store under test: the Secret Service that secret_service_test.sh has started, otherwise the file.
std::shared_ptr<KeychainStore> storeToTest() {
  if (!std::getenv("OQSDK_TEST_SECRET_SERVICE")) return std::make_shared<FileKeychainStore>();
  auto chosen = chooseKeychainStore();
  EXPECT_STRNE(chosen->name(), "file");
  return chosen;
}

/// A store that can be made to fail, and that counts writes.
class ObservedStore : public KeychainStore {
 public:
  const char* name() const override { return _store->name(); }
  OSStatus copyMatching(const KeychainAttributes& query, bool wantsData, KeychainItem& found) override {
    if (wantsData && refusesData) return errSecInteractionNotAllowed;
    return _store->copyMatching(query, wantsData, found);
  }
  OSStatus add(const KeychainItem& item) override {
    ++writes;
    return refusesWrites ? errSecIO : _store->add(item);
  }
  OSStatus update(const KeychainAttributes& query, const KeychainChange& change) override {
    ++writes;
    return refusesWrites ? errSecIO : _store->update(query, change);
  }
  OSStatus remove(const KeychainAttributes& query) override { return _store->remove(query); }

  bool refusesData = false;
  bool refusesWrites = false;
  int writes = 0;

 private:
  const std::shared_ptr<KeychainStore> _store = storeToTest();
};

class KeychainItemTest : public testing::Test {
 protected:
  KeychainItemTest() {
    setKeychainStore(store);
    store->remove({});
    setPlatformLogHandler([this](std::string_view line) { log.emplace_back(line); });
  }
  ~KeychainItemTest() override {
    setKeychainStore(nullptr);
    setPlatformLogHandler({});
  }

  static OQKeychainItemWrapper wrapper(const std::string& identifier = "UUID") {
    return OQKeychainItemWrapper(identifier, OQSDKBundleId);
  }
  /// The bytes of the item "UUID" as another program would read them.
  static std::string storedBytes() {
    SecItemResult result;
    SecItemCopyMatching({{std::string(kSecClass), JSONValue(kSecClassGenericPassword)},
                         {std::string(kSecAttrGeneric), JSONValue("UUID")},
                         {std::string(kSecReturnData), JSONValue(true)}},
                        result);
    auto* data = std::get_if<Data>(&result);
    return data ? stringFromData(*data) : "none";
  }

  TemporaryFolder folder;
  std::shared_ptr<ObservedStore> store = std::make_shared<ObservedStore>();
  std::vector<std::string> log;
};

TEST_F(KeychainItemTest, IsEmptyWithoutAnItemAndAfterAReset) {
  auto item = wrapper();
  for (bool wasReset : {false, true}) {
    for (std::string_view key : {kSecAttrAccount, kSecAttrService, kSecAttrLabel, kSecAttrDescription}) {
      EXPECT_TRUE(item.objectForKey(key) == PropertyValue("")) << key;
    }
    EXPECT_TRUE(item.objectForKey(kSecValueData) == PropertyValue(JSONDictionary{}));
    EXPECT_TRUE(item.objectForKey(kSecAttrGeneric) == PropertyValue("UUID"));
    EXPECT_TRUE(item.objectForKey(kSecAttrAccessGroup) == PropertyValue(JSONValue(OQSDKBundleId)));
    EXPECT_TRUE(item.objectForKey("unknown") == PropertyValue(JSONValue()));
    EXPECT_EQ(storedBytes(), "none");
    item.setObject("Anna", kSecAttrAccount);
    item.setObject(wasReset ? "again" : "x", kSecValueData);
    EXPECT_TRUE(wrapper().objectForKey(kSecAttrAccount) == PropertyValue("Anna"));
    if (!wasReset) item.resetKeychainItem();
  }
  EXPECT_TRUE(wrapper().objectForKey(kSecValueData) == PropertyValue("again"));
  EXPECT_EQ(log, std::vector<std::string>{});
}

TEST_F(KeychainItemTest, StoresPlainObjectsAsXMLAndReadsThem) {
  const PropertyValue values[] = {JSONValue("text <&>"), JSONValue(JSONDictionary{{"a", JSONArray{1, 0.5, true}}}),
                                  JSONValue(7), Data{0, 1, 255}, dateFromSecondsSince1970(1794614400)};
  for (const auto& value : values) {
    wrapper().setObject(value, kSecValueData);
    EXPECT_TRUE(wrapper().objectForKey(kSecValueData) == value);
    EXPECT_EQ(storedBytes().substr(0, 5), "<?xml");
  }
  // Items with another identifier or access group do not change this item.
  wrapper("two").setObject("2", kSecValueData);
  OQKeychainItemWrapper("UUID", "another.group").setObject("3", kSecValueData);
  EXPECT_TRUE(wrapper().objectForKey(kSecValueData) == values[4]);
  EXPECT_EQ(OQKeychainItemWrapper("three", std::nullopt).genericPasswordQuery().count(kSecAttrAccessGroup), 0u);
}

TEST_F(KeychainItemTest, WritesOnlyChangedNonNilValues) {
  auto item = wrapper();
  for (const PropertyValue& value : {PropertyValue("x"), PropertyValue("x"), PropertyValue(JSONValue())}) {
    item.setObject(value, kSecValueData);
    EXPECT_EQ(store->writes, 1);
  }
  EXPECT_TRUE(item.objectForKey(kSecValueData) == PropertyValue("x"));

  // The value in memory survives a failure of the keychain.
  store->refusesWrites = true;
  item.setObject("y", kSecValueData);
  EXPECT_EQ(store->writes, 2);
  EXPECT_TRUE(item.objectForKey(kSecValueData) == PropertyValue("y"));
  EXPECT_TRUE(wrapper().objectForKey(kSecValueData) == PropertyValue("x"));
  EXPECT_EQ(log, std::vector<std::string>{});
}

TEST_F(KeychainItemTest, LogsWhatCannotBeWrittenOrRead) {
  auto item = wrapper();
  item.setObject("kept", kSecValueData);
  item.setObject(JSONDictionary{{"nothing", nullptr}}, kSecValueData);
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].find("dictionaryToSecItemFormat: Error! "), 0u) << log[0];
  EXPECT_GT(log[0].size(), std::string("dictionaryToSecItemFormat: Error! (null)").size());
  EXPECT_TRUE(wrapper().objectForKey(kSecValueData) == PropertyValue("kept"));

  log.clear();
  store->refusesData = true;
  auto blind = wrapper();
  EXPECT_EQ(log, std::vector<std::string>{"secItemFormatToDictionary: format error."});
  EXPECT_TRUE(blind.objectForKey(kSecValueData) == PropertyValue(JSONValue()));
  EXPECT_TRUE(OQUtils::getUUIDWithKeychain().is_null());
  OQUtils::saveUUIDWithKeyChain();
  store->refusesData = false;
  EXPECT_TRUE(wrapper().objectForKey(kSecValueData) == PropertyValue("kept"));
}

TEST_F(KeychainItemTest, InvalidDataReadsAsNoData) {
  SecDictionary foreign{{std::string(kSecClass), JSONValue(kSecClassGenericPassword)},
                        {std::string(kSecAttrGeneric), JSONValue("UUID")},
                        {std::string(kSecAttrAccessGroup), JSONValue(OQSDKBundleId)},
                        {std::string(kSecValueData), dataFromString("not XML")}};
  ASSERT_EQ(SecItemAdd(foreign), errSecSuccess);
  EXPECT_TRUE(wrapper().objectForKey(kSecValueData) == PropertyValue(JSONValue()));
  EXPECT_EQ(log, std::vector<std::string>{});
  OQUtils::saveUUIDWithKeyChain();
  EXPECT_EQ(OQUtils::getUUIDWithKeychain(), JSONValue(OQUtils::getUUID()));
}

TEST_F(KeychainItemTest, KeychainKeepsTheFirstIdentifier) {
  EXPECT_EQ(OQUtils::getUUIDWithKeychain(), JSONValue(JSONDictionary{}));
  OQUtils::saveUUIDWithKeyChain();
  const std::string first = OQUtils::getUUID();
  ASSERT_EQ(first.size(), 36u);
  EXPECT_EQ(OQUtils::getUUIDWithKeychain(), JSONValue(first));
  OQUtils::saveUUIDWithKeyChain();
  EXPECT_EQ(store->writes, 1);

  // Reinstallation creates another identifier, but the keychain keeps the first one.
  std::filesystem::remove_all(folder.path() / "Preferences");
  ASSERT_NE(OQUtils::getUUID(), first);
  OQUtils::saveUUIDWithKeyChain();
  EXPECT_EQ(OQUtils::getUUIDWithKeychain(), JSONValue(first));
  // Of other values in the keychain, only empty ones are replaced by the identifier.
  for (const JSONValue& value : {JSONValue(""), JSONValue(JSONArray{}), JSONValue(JSONDictionary{}), JSONValue(false),
                                 JSONValue(0), JSONValue(JSONArray{""})}) {
    wrapper().setObject(value, kSecValueData);
    OQUtils::saveUUIDWithKeyChain();
    const bool isEmpty = value == JSONValue("") || value == JSONArray{} || value == JSONDictionary{};
    EXPECT_EQ(OQUtils::getUUIDWithKeychain(), isEmpty ? JSONValue(OQUtils::getUUID()) : value) << value;
  }
}

}  // namespace
}  // namespace oq::test
