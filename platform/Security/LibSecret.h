#pragma once

#include <gio/gio.h>

namespace oq {

struct SecretServiceProxy;
struct SecretCollectionProxy;
struct SecretItemProxy;
struct SecretBytes;

/// The few functions of libsecret that the keychain calls, found when they are first needed, so that an
/// application that never does neither loads nor installs the library. The types are opaque pointers;
/// service, collection and item are GDBusProxy objects.
struct LibSecret {
  static constexpr int ServiceOpenSession = 1 << 1;
  static constexpr int CollectionNone = 0;
  static constexpr int SearchAll = 1 << 1;

  /// nullptr when the library is not installed or lacks one of the functions. Any thread; never unloaded,
  /// since its classes are registered for the whole process.
  static const LibSecret* shared();

  /// A class of services that keep the "g-connection" they are made with. The library's own insists on the
  /// bus connection that the whole process shares, and GLib ends the process when that one closes.
  GType serviceType;

  GVariant* (*encodeSecret)(SecretServiceProxy*, SecretBytes*);
  SecretCollectionProxy* (*collectionForAlias)(SecretServiceProxy*, const char* alias, int flags, GCancellable*,
                                               GError**);
  gboolean (*collectionIsLocked)(SecretCollectionProxy*);
  GList* (*search)(SecretCollectionProxy*, const void* schema, GHashTable* attributes, int flags, GCancellable*,
                   GError**);
  GHashTable* (*itemAttributes)(SecretItemProxy*);
  gboolean (*loadSecret)(SecretItemProxy*, GCancellable*, GError**);
  SecretBytes* (*itemSecret)(SecretItemProxy*);
  gboolean (*setSecret)(SecretItemProxy*, SecretBytes*, GCancellable*, GError**);
  gboolean (*setAttributes)(SecretItemProxy*, const void* schema, GHashTable* attributes, GCancellable*, GError**);
  SecretBytes* (*newBytes)(const char* bytes, gssize length, const char* contentType);
  const char* (*bytes)(SecretBytes*, gsize* length);
  void (*unrefBytes)(void*);
};

}  // namespace oq
