// SPDX-License-Identifier: Apache-2.0
#include "Security/LibSecret.h"

#include "Foundation/System/DynamicLibrary.h"

namespace oq {
namespace {

GObject* constructService(GType type, guint count, GObjectConstructParam* properties) {
  auto* parent = static_cast<GObjectClass*>(g_type_class_peek(g_type_parent(type)));
  GObject* service = parent->constructor(type, count, properties);
  // Overwrites the construct-only properties that the library's constructor has just set. They can be set only until
  // this function returns.
  g_object_set(service, "g-bus-type", G_BUS_TYPE_NONE, "g-flags", G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START, nullptr);
  return service;
}

GType registerServiceType(GType libraryType) {
  GTypeQuery sizes{};
  g_type_query(libraryType, &sizes);
  if (sizes.type == 0) return G_TYPE_INVALID;
  auto initializeClass = [](void* objectClass, void*) {
    static_cast<GObjectClass*>(objectClass)->constructor = constructService;
  };
  return g_type_register_static_simple(libraryType, "OQSecretService", sizes.class_size, initializeClass,
                                       sizes.instance_size, nullptr, static_cast<GTypeFlags>(0));
}

bool findAll(void* library, LibSecret& functions) {
  GType (*libraryType)() = nullptr;
  if (!findFunction(library, "secret_service_get_type", libraryType)) return false;
  functions.serviceType = registerServiceType(libraryType());
  return functions.serviceType != G_TYPE_INVALID &&
         findFunction(library, "secret_service_encode_dbus_secret", functions.encodeSecret) &&
         findFunction(library, "secret_collection_for_alias_sync", functions.collectionForAlias) &&
         findFunction(library, "secret_collection_get_locked", functions.collectionIsLocked) &&
         findFunction(library, "secret_collection_search_sync", functions.search) &&
         findFunction(library, "secret_item_get_attributes", functions.itemAttributes) &&
         findFunction(library, "secret_item_load_secret_sync", functions.loadSecret) &&
         findFunction(library, "secret_item_get_secret", functions.itemSecret) &&
         findFunction(library, "secret_item_set_secret_sync", functions.setSecret) &&
         findFunction(library, "secret_item_set_attributes_sync", functions.setAttributes) &&
         findFunction(library, "secret_value_new", functions.newBytes) &&
         findFunction(library, "secret_value_get", functions.bytes) &&
         findFunction(library, "secret_value_unref", functions.unrefBytes);
}

const LibSecret* load() {
  static LibSecret functions{};
  void* library = openLibrary("libsecret-1.so.0");
  return library && findAll(library, functions) ? &functions : nullptr;
}

}  // namespace

const LibSecret* LibSecret::shared() {
  static const LibSecret* functions = load();
  return functions;
}

}  // namespace oq
