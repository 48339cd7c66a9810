// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <glib.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <future>

#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/System/SessionBus.h"
#include "MessageUI/PortalMail.h"
#include "Security/BoundedOperation.h"
#include "Security/FileKeychainStore.h"
#include "Security/SecItem.h"
#include "Security/SecretServiceStore.h"
#include "support/ScratchFolder.h"
#include "support/Threads.h"

using namespace oq;
using namespace oq::test;
using namespace std::chrono_literals;

namespace {

/// The state that secret_service_test.sh has prepared, or "" without a service. The service is "open", "locked",
/// "missing" (no default collection) or "frozen" from the start. In the states "closing", "freezing" and "busless" it
/// is open at first, and the test makes it fail.
std::string serviceState() {
  const char* state = std::getenv("OQSDK_TEST_SECRET_SERVICE");
  return state ? state : "";
}

SecDictionary item(std::initializer_list<std::pair<std::string_view, PropertyValue>> entries) {
  SecDictionary dictionary{{std::string(kSecClass), JSONValue(kSecClassGenericPassword)}};
  for (const auto& [key, value] : entries) dictionary[std::string(key)] = value;
  return dictionary;
}
SecDictionary named(const std::string& identifier) {
  return item({{kSecAttrGeneric, JSONValue(identifier)}});
}
OSStatus add(const std::string& identifier, const std::string& text = "x") {
  return SecItemAdd(item({{kSecAttrGeneric, JSONValue(identifier)}, {kSecValueData, dataFromString(text)}}));
}
OSStatus update(const SecDictionary& query, std::string_view key, const PropertyValue& value) {
  return SecItemUpdate(query, {{std::string(key), value}});
}

/// The data of the first item found, or the status as a string.
std::string dataOf(SecDictionary query) {
  query[std::string(kSecReturnData)] = JSONValue(true);
  SecItemResult result;
  OSStatus status = SecItemCopyMatching(query, result);
  auto* data = std::get_if<Data>(&result);
  return data ? stringFromData(*data) : std::to_string(status);
}

SecDictionary attributesOf(SecDictionary query) {
  query[std::string(kSecReturnAttributes)] = JSONValue(true);
  query[std::string(kSecMatchLimit)] = JSONValue(kSecMatchLimitOne);
  SecItemResult result;
  SecItemCopyMatching(query, result);
  auto* found = std::get_if<SecDictionary>(&result);
  return found ? *found : SecDictionary{};
}

class KeychainTest : public testing::Test {
 protected:
  KeychainTest() { setApplicationDataDirectory(folder.path()); }
  ~KeychainTest() override { setKeychainStore(nullptr); }
  ScratchFolder folder;
};

using MakeStore = std::shared_ptr<KeychainStore> (*)();

/// Tests for every kind of store.
class KeychainStoreTest : public KeychainTest, public testing::WithParamInterface<MakeStore> {
 protected:
  KeychainStoreTest() {
    setKeychainStore(GetParam()());
    clear();
  }
  ~KeychainStoreTest() override { clear(); }
  static void clear() { SecItemDelete(item({})); }
};

/// Sets the address of the session bus; nullptr for none. The change is never undone, because CTest runs each test in a
/// process of its own.
void setBusAddress(const char* address) {
  for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"}) ::unsetenv(name);
  if (address) ::setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
}

class FileKeychain : public KeychainTest {
 protected:
  FileKeychain() { setKeychainStore(std::make_shared<FileKeychainStore>()); }
  std::filesystem::path keychain() const { return folder / "Keychain/keychain.plist"; }
};

}  // namespace

TEST_P(KeychainStoreTest, KeepsAnItemWithItsAttributesAndBytes) {
  Data every;
  for (int byte = 0; byte < 256; ++byte) every.push_back(static_cast<std::uint8_t>(byte));
  SecDictionary attributes{{std::string(kSecAttrGeneric), JSONValue("UUID")},
                           {std::string(kSecAttrAccessGroup), JSONValue("group")},
                           {std::string(kSecAttrAccount), JSONValue("")},
                           {std::string(kSecAttrLabel), JSONValue("Größe 😀")}};
  SecDictionary added = attributes;
  added[std::string(kSecClass)] = JSONValue(kSecClassGenericPassword);
  added[std::string(kSecValueData)] = every;
  ASSERT_EQ(SecItemAdd(added), errSecSuccess);
  EXPECT_EQ(dataOf(named("UUID")), stringFromData(every));
  EXPECT_TRUE(attributesOf(named("UUID")) == attributes);
  EXPECT_EQ(dataOf(item({{kSecAttrGeneric, "UUID"}, {kSecAttrLabel, "other"}})), "-25300");
  EXPECT_EQ(dataOf(item({{kSecAttrGeneric, "UUID"}, {kSecAttrService, ""}})), "-25300");
  EXPECT_EQ(dataOf(named("uuid")), "-25300");
  EXPECT_EQ(SecItemAdd(added), errSecDuplicateItem);
  EXPECT_EQ(SecItemDelete(named("UUID")), errSecSuccess);
  EXPECT_EQ(SecItemDelete(named("UUID")), errSecItemNotFound);
  EXPECT_EQ(dataOf(named("UUID")), "-25300");
}

TEST_P(KeychainStoreTest, UpdatesOnlyMatchingItems) {
  const auto account = [](const char* name) { return item({{kSecAttrGeneric, "g"}, {kSecAttrAccount, name}}); };
  for (const char* name : {"a", "b"}) {
    SecDictionary added = account(name);
    added[std::string(kSecAttrLabel)] = JSONValue("label");
    added[std::string(kSecValueData)] = dataFromString(name);
    ASSERT_EQ(SecItemAdd(added), errSecSuccess);
  }
  EXPECT_EQ(update(account("a"), kSecValueData, dataFromString("new")), errSecSuccess);
  EXPECT_EQ(update(account("a"), kSecAttrDescription, JSONValue("d")), errSecSuccess);
  EXPECT_TRUE(attributesOf(account("a")).at(std::string(kSecAttrDescription)) == PropertyValue("d"));
  EXPECT_TRUE(attributesOf(account("a")).at(std::string(kSecAttrLabel)) == PropertyValue("label"));
  EXPECT_EQ(update(account("a"), kSecAttrAccount, JSONValue("b")), errSecDuplicateItem);
  EXPECT_EQ(update(named("none"), kSecAttrLabel, JSONValue("")), errSecItemNotFound);
  EXPECT_EQ(dataOf(account("a")), "new");
  EXPECT_EQ(dataOf(account("b")), "b");
  EXPECT_EQ(SecItemDelete(named("g")), errSecSuccess);
  EXPECT_EQ(dataOf(account("b")), "-25300");
}

TEST_P(KeychainStoreTest, ThreadsThatAddAndUpdateLoseNothing) {
  inThreads(6, [](int number) {
    const std::string name = std::to_string(number);
    EXPECT_EQ(add(name), errSecSuccess);
    EXPECT_EQ(update(named(name), kSecValueData, dataFromString(name)), errSecSuccess);
  });
  for (int i = 0; i < 6; ++i) EXPECT_EQ(dataOf(named(std::to_string(i))), std::to_string(i));
}

INSTANTIATE_TEST_SUITE_P(File, KeychainStoreTest, testing::Values(MakeStore([] {
                           return std::shared_ptr<KeychainStore>(std::make_shared<FileKeychainStore>());
                         })));
// Only if secret_service_test.sh has started a service: the tests never change the user's keyring.
INSTANTIATE_TEST_SUITE_P(SecretService, KeychainStoreTest,
                         testing::ValuesIn(serviceState() == "open"
                                               ? std::vector<MakeStore>{[] { return chooseKeychainStore(); }}
                                               : std::vector<MakeStore>{}));

TEST_F(FileKeychain, FilesArePrivateAndDamagedOnesAreReplaced) {
  mode_t mask = ::umask(0);
  EXPECT_EQ(add("a"), errSecSuccess);
  ::umask(mask);
  EXPECT_EQ(modeOf(keychain()), 0600u);
  EXPECT_EQ(modeOf(folder / "Keychain/keychain.lock"), 0600u);
  std::filesystem::permissions(keychain().parent_path(), std::filesystem::perms::all);
  EXPECT_EQ(dataOf(named("a")), "x");
  EXPECT_EQ(modeOf(keychain().parent_path()), 0700u);
  const std::string whole = textOfFile(keychain());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    writeText(keychain(), whole.substr(0, size));
    ASSERT_EQ(dataOf(named("a")), "-25300") << size;
  }
  writeText(keychain(), "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>");
  EXPECT_EQ(add("b"), errSecSuccess);
  EXPECT_EQ(dataOf(named("b")), "x");
}

TEST_F(FileKeychain, SymbolicLinksAreNeverFollowed) {
  ASSERT_EQ(add("a"), errSecSuccess);
  const std::string whole = textOfFile(keychain());
  std::filesystem::rename(keychain(), folder / "elsewhere");
  std::filesystem::create_symlink(folder / "elsewhere", keychain());
  EXPECT_EQ(dataOf(named("a")), "-25300");
  EXPECT_EQ(add("b"), errSecSuccess);
  EXPECT_FALSE(std::filesystem::is_symlink(keychain()));
  EXPECT_EQ(textOfFile(folder / "elsewhere"), whole);

  auto lock = folder / "Keychain/keychain.lock";
  std::filesystem::remove(lock);
  std::filesystem::create_symlink(folder / "made", lock);
  EXPECT_EQ(add("c"), errSecNotAvailable);
  EXPECT_FALSE(std::filesystem::exists(folder / "made"));

  std::filesystem::rename(folder / "Keychain", folder / "moved");
  std::filesystem::create_directory_symlink(folder / "moved", folder / "Keychain");
  EXPECT_EQ(dataOf(named("b")), std::to_string(errSecIO));
  EXPECT_EQ(add("d"), errSecIO);
}

TEST_F(FileKeychain, TwoProcessesThatAddItemsLoseNothing) {
  EXPECT_TRUE(holdsInChildren<2>([](int process) {
    bool all = true;
    for (int i = 0; i < 20; ++i) all &= add(std::to_string(2 * i + process)) == errSecSuccess;
    return all;
  }));
  for (int i = 0; i < 40; ++i) EXPECT_EQ(dataOf(named(std::to_string(i))), "x") << i;
}

TEST_F(FileKeychain, WhileTheLockIsHeldAddingFailsAfterTimeoutAndReadingWorks) {
  ASSERT_EQ(add("a"), errSecSuccess);
  FileDescriptor lock(::open((folder / "Keychain/keychain.lock").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
  EXPECT_EQ(add("b"), errSecNotAvailable);
  EXPECT_EQ(dataOf(named("a")), "x");
  lock.close();
  EXPECT_EQ(add("b"), errSecSuccess);
}

TEST_F(FileKeychain, RejectsInvalidRequests) {
  SecItemResult result;
  EXPECT_EQ(SecItemCopyMatching({}, result), errSecParam);
  EXPECT_EQ(SecItemCopyMatching({{std::string(kSecClass), JSONValue("inet")}}, result), errSecParam);
  const std::pair<std::string_view, PropertyValue> wrong[] = {{"unknown", "x"},
                                                              {kSecAttrGeneric, JSONValue(1)},
                                                              {kSecAttrGeneric, Data{1}},
                                                              {kSecAttrGeneric, "\xff"},
                                                              {kSecValueData, "text"},
                                                              {kSecMatchLimit, "m_LimitAll"},
                                                              {kSecReturnData, "yes"},
                                                              {kSecReturnData, JSONValue(1)},
                                                              {kSecAttrLabel, JSONValue(std::string_view("a\0b", 3))}};
  for (const auto& [key, value] : wrong) {
    EXPECT_EQ(SecItemCopyMatching(item({{key, value}}), result), errSecParam) << key;
    EXPECT_EQ(SecItemAdd(item({{key, value}})), errSecParam) << key;
    EXPECT_EQ(SecItemDelete(item({{key, value}})), errSecParam) << key;
  }
  EXPECT_EQ(SecItemUpdate(item({}), {}), errSecParam);
  EXPECT_EQ(SecItemUpdate(item({}), item({})), errSecParam);
  EXPECT_EQ(update(item({}), kSecReturnData, JSONValue(true)), errSecParam);
  EXPECT_FALSE(std::filesystem::exists(folder / "Keychain"));
}

TEST_F(KeychainTest, FileStoreIsChosenWithoutAUsableSessionBus) {
  FileDescriptor silent(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{AF_UNIX, {}};
  (folder / "bus").string().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::bind(silent.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(silent.get(), 4), 0);
  // With "autolaunch:" GLib would start a new session bus, which the library must not do.
  for (const char* bus : {static_cast<const char*>(nullptr), "autolaunch:", "unix:path="}) {
    const std::string isSilent = bus && bus[0] == 'u' ? bus + (folder / "bus").string() : "";
    setBusAddress(isSilent.empty() ? bus : isSilent.c_str());
    EXPECT_STREQ(chooseKeychainStore()->name(), "file");
    EXPECT_FALSE(PortalMail::isAvailable());
  }
  setBusAddress(nullptr);
  ::setenv("XDG_RUNTIME_DIR", (folder / ".").c_str(), 1);
  EXPECT_EQ(sessionBusAddress(), "unix:path=" + (folder / "./bus").string());
  std::filesystem::remove(folder / "bus");
  std::ofstream(folder / "bus") << "not a socket";
  EXPECT_EQ(sessionBusAddress(), "");
}

TEST(BoundedOperation, EndsWithTheOperationOrSoonAfterCancellingIt) {
  EXPECT_EQ(runBounded([](GCancellable*) { return errSecDuplicateItem; }, 1h, 1h), errSecDuplicateItem);
  const auto untilCancelled = [](GCancellable* cancellable) {
    while (!g_cancellable_is_cancelled(cancellable)) std::this_thread::yield();
    return errSecSuccess;
  };
  EXPECT_EQ(runBounded(untilCancelled, 1ms, 1h), errSecSuccess) << "it succeeded nevertheless";
  std::promise<void> released;
  const auto untilReleased = [release = released.get_future().share()](GCancellable*) {
    release.wait();
    return errSecSuccess;
  };
  EXPECT_EQ(runBounded(untilReleased, 1ms, 1ms), errSecNotAvailable);
  released.set_value();
}

/// Run by secret_service_test.sh, once per state. The script ends a test that waits without limit.
class SecretServiceState : public KeychainTest, public testing::WithParamInterface<const char*> {
 protected:
  bool fileExists() const { return std::filesystem::exists(folder / "Keychain"); }
};

TEST_P(SecretServiceState, ServiceStateDecidesTheStoreForTheWholeProcess) {
  const std::string state = GetParam();
  EXPECT_EQ(SecItemAdd(named("a")), errSecSuccess);
  EXPECT_EQ(fileExists(), state == "locked" || state == "missing" || state == "frozen");

  // The choice is permanent: if the service fails later, that is an error, and no other store is used.
  const char* process = std::getenv("OQSDK_TEST_SERVICE_PID");
  if (state == "closing") {
    ASSERT_EQ(std::system("dbus-send --session --print-reply --dest=org.freedesktop.secrets "
                          "/org/freedesktop/secrets org.freedesktop.Secret.Service.Lock "
                          "array:objpath:/org/freedesktop/secrets/aliases/default >/dev/null"),
              0);
  } else if (state == "freezing") {
    ASSERT_EQ(::kill(std::atoi(process), SIGSTOP), 0);
  } else if (state == "busless") {
    ASSERT_EQ(std::system("kill $(dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus / "
                          "org.freedesktop.DBus.GetConnectionUnixProcessID string:org.freedesktop.DBus | "
                          "awk '{print $2}')"),
              0);
    // If a closed bus connection ended this process, that would happen here.
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
  } else {
    return;
  }
  EXPECT_EQ(SecItemAdd(named("b")), errSecNotAvailable);
  EXPECT_EQ(dataOf(named("a")), std::to_string(errSecNotAvailable));
  EXPECT_FALSE(fileExists());
  if (state == "freezing") ::kill(std::atoi(process), SIGCONT);
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(SecretServiceState);
const std::string preparedState = serviceState();
INSTANTIATE_TEST_SUITE_P(SecretService, SecretServiceState,
                         testing::ValuesIn(preparedState.empty() ? std::vector<const char*>{}
                                                                 : std::vector<const char*>{preparedState.c_str()}));
