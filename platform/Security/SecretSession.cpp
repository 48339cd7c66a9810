// SPDX-License-Identifier: Apache-2.0
#include "Security/SecretSession.h"

#include <algorithm>
#include <string>

#include "Foundation/Files/Bundle.h"
#include "Foundation/System/SessionBus.h"

namespace oq {
namespace {

constexpr const char* kServiceName = "org.freedesktop.secrets";
constexpr const char* kSchemaKey = "xdg:schema";
constexpr const char* kSchemaName = "oqsdk.GenericPassword";
// All programs of the user share the collection, so each item names its application.
constexpr const char* kApplicationKey = "application";
constexpr int kCallMilliseconds = 2000;

OSStatus statusOf(const Failure& failure) {
  const bool isLocked = failure.remoteName() == "org.freedesktop.Secret.Error.IsLocked";
  return isLocked ? errSecInteractionNotAllowed : errSecNotAvailable;
}

using Table = std::unique_ptr<GHashTable, void (*)(GHashTable*)>;

Table emptyTable() {
  return Table(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free), g_hash_table_unref);
}

void insert(const Table& table, std::string_view key, std::string_view text) {
  g_hash_table_insert(table.get(), g_strndup(key.data(), key.size()), g_strndup(text.data(), text.size()));
}

/// The item's attributes plus those that identify this application's items.
Table tableOf(const KeychainAttributes& attributes) {
  Table table = emptyTable();
  for (const auto& [name, text] : attributes) insert(table, name, text);
  insert(table, kSchemaKey, kSchemaName);
  insert(table, kApplicationKey, mainBundleIdentifier());
  return table;
}

KeychainAttributes attributesOf(GHashTable* table) {
  KeychainAttributes attributes;
  GHashTableIter iterator;
  void *key, *text;
  g_hash_table_iter_init(&iterator, table);
  while (g_hash_table_iter_next(&iterator, &key, &text)) {
    attributes.emplace(static_cast<char*>(key), static_cast<char*>(text));
  }
  attributes.erase(kSchemaKey);
  attributes.erase(kApplicationKey);
  return attributes;
}

GVariant* variantOf(const Table& table) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a{ss}"));
  GHashTableIter iterator;
  void *key, *text;
  g_hash_table_iter_init(&iterator, table.get());
  while (g_hash_table_iter_next(&iterator, &key, &text)) g_variant_builder_add(&builder, "{ss}", key, text);
  return g_variant_builder_end(&builder);
}

/// The label that the user's password manager shows.
std::string labelOf(const KeychainAttributes& attributes) {
  auto label = attributes.find(kSecAttrLabel);
  if (label != attributes.end() && !label->second.empty()) return label->second;
  auto generic = attributes.find(kSecAttrGeneric);
  return mainBundleIdentifier() + (generic == attributes.end() ? "" : " " + generic->second);
}

GVariant* propertiesOf(const KeychainAttributes& attributes) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE("a{sv}"));
  g_variant_builder_add(&builder, "{sv}", "org.freedesktop.Secret.Item.Label",
                        g_variant_new_string(labelOf(attributes).c_str()));
  g_variant_builder_add(&builder, "{sv}", "org.freedesktop.Secret.Item.Attributes", variantOf(tableOf(attributes)));
  return g_variant_builder_end(&builder);
}

using SecretRef = std::unique_ptr<SecretBytes, void (*)(void*)>;

SecretRef secretOf(const LibSecret& library, const Data& data) {
  auto* bytes = reinterpret_cast<const char*>(data.data());
  return SecretRef(library.newBytes(bytes ? bytes : "", static_cast<gssize>(data.size()), "application/octet-stream"),
                   library.unrefBytes);
}

}  // namespace

std::unique_ptr<SecretSession> SecretSession::open(GCancellable* cancellable) {
  std::unique_ptr<SecretSession> session(new SecretSession(cancellable));
  if (!session->connect() || !session->serviceRuns()) return nullptr;
  session->_library = LibSecret::shared();
  return session->_library && session->openCollection() ? std::move(session) : nullptr;
}

bool SecretSession::connect() {
  std::string address = sessionBusAddress();
  if (address.empty()) return false;
  auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                 G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  _connection.reset(g_dbus_connection_new_for_address_sync(address.c_str(), flags, nullptr, _cancellable, nullptr));
  return static_cast<bool>(_connection);
}

/// Whether the service already runs. It is never started: a service that has just started has no unlocked collection,
/// and some services show a window when they start.
bool SecretSession::serviceRuns() const {
  VariantRef answer(g_dbus_connection_call_sync(_connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                "org.freedesktop.DBus", "NameHasOwner",
                                                g_variant_new("(s)", kServiceName), G_VARIANT_TYPE("(b)"),
                                                G_DBUS_CALL_FLAGS_NONE, kCallMilliseconds, _cancellable, nullptr));
  gboolean runs = FALSE;
  if (answer) g_variant_get(answer.get(), "(b)", &runs);
  return runs;
}

/// Each session creates new proxies, so that it sees whether the collection is locked now.
bool SecretSession::openCollection() {
  _service.reset(static_cast<SecretServiceProxy*>(g_initable_new(_library->serviceType, _cancellable, nullptr,
                                                                 "g-connection", _connection.get(), "flags",
                                                                 LibSecret::kServiceOpenSession, nullptr)));
  if (!_service) return false;
  _collection.reset(
      _library->collectionForAlias(_service.get(), "default", LibSecret::kCollectionNone, _cancellable, nullptr));
  return _collection && !_library->collectionIsLocked(_collection.get());
}

OSStatus SecretSession::items(std::vector<Item>& items) const {
  Failure failure;
  GList* found = _library->search(_collection.get(), nullptr, tableOf({}).get(), LibSecret::kSearchAll, _cancellable,
                                  failure.out());
  if (failure) return statusOf(failure);
  for (GList* link = found; link; link = link->next) {
    Item item{ObjectRef<SecretItemProxy>(static_cast<SecretItemProxy*>(link->data)), {}};
    Table attributes(_library->itemAttributes(item.proxy.get()), g_hash_table_unref);
    if (!attributes) continue;  // the item changed during the search
    item.attributes = attributesOf(attributes.get());
    items.push_back(std::move(item));
  }
  g_list_free(found);
  return errSecSuccess;
}

OSStatus SecretSession::data(const Item& item, Data& data) const {
  Failure failure;
  if (!_library->loadSecret(item.proxy.get(), _cancellable, failure.out())) return statusOf(failure);
  SecretRef secret(_library->itemSecret(item.proxy.get()), _library->unrefBytes);
  // A single item can be locked, too.
  if (!secret) return errSecInteractionNotAllowed;
  gsize length = 0;
  const char* bytes = _library->bytes(secret.get(), &length);
  data.assign(bytes, bytes + length);
  return errSecSuccess;
}

/// If two processes add the same item at the same time, only one item results: the service replaces an item with the
/// same attributes.
OSStatus SecretSession::create(const KeychainItem& item) const {
  SecretRef secret = secretOf(*_library, item.data);
  VariantRef encoded(g_variant_take_ref(_library->encodeSecret(_service.get(), secret.get())));
  if (!encoded) return errSecNotAvailable;
  GVariant* parameters = g_variant_new("(@a{sv}@(oayays)b)", propertiesOf(item.attributes), encoded.get(), TRUE);
  return call(_collection.get(), "CreateItem", parameters, "(oo)");
}

OSStatus SecretSession::setData(const Item& item, const Data& data) const {
  Failure failure;
  SecretRef secret = secretOf(*_library, data);
  bool done = _library->setSecret(item.proxy.get(), secret.get(), _cancellable, failure.out());
  return done ? errSecSuccess : statusOf(failure);
}

OSStatus SecretSession::setAttributes(const Item& item, const KeychainAttributes& attributes) const {
  Failure failure;
  bool done =
      _library->setAttributes(item.proxy.get(), nullptr, tableOf(attributes).get(), _cancellable, failure.out());
  return done ? errSecSuccess : statusOf(failure);
}

OSStatus SecretSession::remove(const Item& item) const {
  return call(item.proxy.get(), "Delete", nullptr, "(o)");
}

/// libsecret's own versions of these calls would execute the prompt with which the service asks the user. A prompt that
/// is not executed has no effect.
OSStatus SecretSession::call(void* proxy, const char* method, GVariant* parameters, const char* answerType) const {
  Failure failure;
  VariantRef answer(g_dbus_proxy_call_sync(static_cast<GDBusProxy*>(proxy), method, parameters,
                                           G_DBUS_CALL_FLAGS_NO_AUTO_START, kCallMilliseconds, _cancellable,
                                           failure.out()));
  if (!answer) return statusOf(failure);
  if (!g_variant_is_of_type(answer.get(), G_VARIANT_TYPE(answerType))) return errSecNotAvailable;
  // The last value is the prompt; "/" means no prompt.
  VariantRef prompt(g_variant_get_child_value(answer.get(), g_variant_n_children(answer.get()) - 1));
  bool asks = g_strcmp0(g_variant_get_string(prompt.get(), nullptr), "/") != 0;
  return asks ? errSecInteractionNotAllowed : errSecSuccess;
}

}  // namespace oq
