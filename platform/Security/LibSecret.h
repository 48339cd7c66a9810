// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gio/gio.h>

namespace oq {

struct SecretServiceProxy;
struct SecretCollectionProxy;
struct SecretItemProxy;
struct SecretBytes;

/// The few functions of libsecret that the keychain calls. Loaded at first use, so an application that never uses the
/// keychain need not load or install the library. The types are opaque pointers; service, collection and item are
/// GDBusProxy objects.
struct LibSecret {
  static constexpr int kServiceOpenSession = 1 << 1;
  static constexpr int kCollectionNone = 0;
  static constexpr int kSearchAll = 1 << 1;

  /// nullptr if the library is not installed or lacks one of the functions. Thread-safe; never unloaded, because its
  /// classes are registered for the whole process.
  static const LibSecret* shared();

  /// A subclass of the library's service that keeps the "g-connection" it is created with. The library's own class uses
  /// the shared bus connection of the process, and GLib ends the process when the shared connection closes.
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
