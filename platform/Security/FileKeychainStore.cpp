// SPDX-License-Identifier: Apache-2.0
#include "Security/FileKeychainStore.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

#include "Foundation/Files/FileManager.h"
#include "Foundation/PropertyLists/BinaryPropertyList.h"
#include "Foundation/Values/TimedLock.h"

namespace oq {
namespace fs = std::filesystem;
namespace {

constexpr const char* kFileName = "keychain.plist";
constexpr const char* kLockName = "keychain.lock";
constexpr const char* kItemsKey = "items";
constexpr std::size_t kMaximumSize = 16u << 20;
constexpr auto kPatience = std::chrono::seconds(2);

using Items = std::vector<KeychainItem>;
using Clock = std::chrono::steady_clock;

fs::path folderPath() {
  return applicationDataDirectory() / "Keychain";
}

/// Opens the keychain's folder. Fails if the folder is a link or does not belong to the user.
FileDescriptor openFolder() {
  FileDescriptor folder(::open(folderPath().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  if (!folder || ::fstat(folder.get(), &status) != 0) return FileDescriptor();
  if (status.st_uid != ::geteuid()) {
    errno = EPERM;
    return FileDescriptor();
  }
  if ((status.st_mode & 07777) != 0700 && mayWriteFiles()) ::fchmod(folder.get(), 0700);
  return folder;
}

FileDescriptor lockIn(int folder, Clock::time_point deadline) {
  FileDescriptor lock(::openat(folder, kLockName, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
  if (lock) ::fchmod(lock.get(), 0600);  // the umask may have cleared bits
  while (lock && ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return FileDescriptor();
    if (Clock::now() > deadline) return FileDescriptor();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return lock;
}

/// The contents of the file; nullopt if reading fails. Stops as soon as the contents exceed the limit.
std::optional<Data> readAll(int file) {
  Data contents;
  std::uint8_t buffer[4096];
  while (contents.size() <= kMaximumSize) {
    ssize_t count = ::read(file, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    contents.insert(contents.end(), buffer, buffer + count);
  }
  return contents;
}

class ItemsReader {
 public:
  explicit ItemsReader(const plist::Table& table) : _table(table) {}

  std::optional<Items> read() const {
    auto* root = dictionary(_table.root);
    if (!root) return std::nullopt;
    for (std::size_t i = 0; i < root->keys.size(); ++i) {
      if (text(root->keys[i]) == kItemsKey) return items(root->values[i]);
    }
    return std::nullopt;
  }

 private:
  std::optional<Items> items(plist::Ref ref) const {
    auto* array = std::get_if<plist::ArrayNode>(&_table.nodes[ref]);
    if (!array) return std::nullopt;
    Items result;
    for (plist::Ref entry : array->items) {
      auto one = item(entry);
      if (!one) return std::nullopt;
      result.push_back(std::move(*one));
    }
    return result;
  }

  std::optional<KeychainItem> item(plist::Ref ref) const {
    auto* entries = dictionary(ref);
    if (!entries) return std::nullopt;
    KeychainItem result;
    for (std::size_t i = 0; i < entries->keys.size(); ++i) {
      const plist::Node& value = _table.nodes[entries->values[i]];
      if (auto* data = std::get_if<Data>(&value)) {
        result.data = *data;
      } else if (auto* attribute = std::get_if<std::string>(&value)) {
        result.attributes[text(entries->keys[i])] = *attribute;
      } else {
        return std::nullopt;
      }
    }
    return result;
  }

  const plist::DictNode* dictionary(plist::Ref ref) const { return std::get_if<plist::DictNode>(&_table.nodes[ref]); }
  /// The property list reader guarantees that keys are strings.
  const std::string& text(plist::Ref ref) const { return std::get<std::string>(_table.nodes[ref]); }

  const plist::Table& _table;
};

Data bytesOf(const Items& items) {
  plist::Table table;
  plist::ArrayNode array;
  for (const KeychainItem& item : items) {
    plist::DictNode entry;
    for (const auto& [name, text] : item.attributes) {
      entry.keys.push_back(table.add(name));
      entry.values.push_back(table.add(text));
    }
    entry.keys.push_back(table.add(std::string(kSecValueData)));
    entry.values.push_back(table.add(item.data));
    array.items.push_back(table.add(std::move(entry)));
  }
  plist::DictNode root;
  root.keys = {table.add(std::string(kItemsKey))};
  root.values = {table.add(std::move(array))};
  table.root = table.add(std::move(root));
  return plist::writeSealed(std::move(table));
}

std::vector<KeychainAttributes> attributesOf(const Items& items) {
  std::vector<KeychainAttributes> attributes;
  for (const auto& item : items) attributes.push_back(item.attributes);
  return attributes;
}

}  // namespace

OSStatus FileKeychainStore::readItems(int folder, Items& items) {
  FileDescriptor file(::openat(folder, kFileName, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  // A link counts as a foreign file, which reads as empty.
  if (!file) return errno == ENOENT || errno == ELOOP ? errSecSuccess : errSecIO;
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return errSecIO;
  if (!S_ISREG(status.st_mode) || status.st_uid != ::geteuid()) return errSecSuccess;
  auto contents = readAll(file.get());
  if (!contents) return errSecIO;
  if (contents->size() > kMaximumSize) return errSecSuccess;
  auto table = plist::readSealed(*contents);
  if (table) items = ItemsReader(*table).read().value_or(Items{});
  return errSecSuccess;
}

/// Reads the items, lets `body` change them and writes them back, under the locks against other threads and processes.
OSStatus FileKeychainStore::change(const std::function<OSStatus(Items&)>& body) {
  if (!mayWriteFiles()) return errSecIO;
  const auto deadline = Clock::now() + kPatience;
  const auto thread = lockWithin(_changeMutex, kPatience);
  if (!thread) return errSecNotAvailable;
  if (!createDirectory(applicationDataDirectory())) return errSecIO;
  bool isMade = ::mkdir(folderPath().c_str(), 0700) == 0;
  if (isMade ? ::chmod(folderPath().c_str(), 0700) != 0 : errno != EEXIST) return errSecIO;
  FileDescriptor folder = openFolder();
  if (!folder) return errSecIO;
  FileDescriptor lock = lockIn(folder.get(), deadline);
  if (!lock) return errSecNotAvailable;
  Items items;
  OSStatus status = readItems(folder.get(), items);
  if (status == errSecSuccess) status = body(items);
  if (status != errSecSuccess) return status;
  Data contents = bytesOf(items);
  if (contents.size() > kMaximumSize) return errSecIO;
  return writeFileAtomically(folderPath() / kFileName, contents) ? errSecSuccess : errSecIO;
}

OSStatus FileKeychainStore::copyMatching(const KeychainAttributes& query, bool wantsData, KeychainItem& found) {
  FileDescriptor folder = openFolder();
  if (!folder) return errno == ENOENT ? errSecItemNotFound : errSecIO;
  Items items;
  if (OSStatus status = readItems(folder.get(), items); status != errSecSuccess) return status;
  for (KeychainItem& item : items) {
    if (!matches(item.attributes, query)) continue;
    found = std::move(item);
    if (!wantsData) found.data.clear();
    return errSecSuccess;
  }
  return errSecItemNotFound;
}

OSStatus FileKeychainStore::add(const KeychainItem& item) {
  return change([&](Items& items) {
    items.push_back(item);
    return haveDuplicates(attributesOf(items)) ? errSecDuplicateItem : errSecSuccess;
  });
}

OSStatus FileKeychainStore::update(const KeychainAttributes& query, const KeychainChange& wanted) {
  return change([&](Items& items) {
    bool found = false;
    for (KeychainItem& item : items) {
      if (!matches(item.attributes, query)) continue;
      found = true;
      item.attributes = changed(std::move(item.attributes), wanted.attributes);
      if (wanted.data) item.data = *wanted.data;
    }
    if (!found) return errSecItemNotFound;
    return haveDuplicates(attributesOf(items)) ? errSecDuplicateItem : errSecSuccess;
  });
}

OSStatus FileKeychainStore::remove(const KeychainAttributes& query) {
  return change([&](Items& items) {
    auto count = std::erase_if(items, [&](const auto& item) { return matches(item.attributes, query); });
    return count == 0 ? errSecItemNotFound : errSecSuccess;
  });
}

}  // namespace oq
