// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

namespace oq {

struct UnrefObject {
  void operator()(void* object) const { g_object_unref(object); }
};
/// Owns one reference.
template <class T>
using ObjectRef = std::unique_ptr<T, UnrefObject>;

struct UnrefVariant {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
/// Owns one reference. If the reference is floating, the caller sinks it first.
using VariantRef = std::unique_ptr<GVariant, UnrefVariant>;

/// The GError of one GLib call, freed on destruction. Use a new object for each call.
class Failure {
 public:
  Failure() = default;
  ~Failure() { g_clear_error(&_error); }
  Failure(const Failure&) = delete;
  Failure& operator=(const Failure&) = delete;

  GError** out() { return &_error; }
  explicit operator bool() const { return _error != nullptr; }
  int code() const { return _error ? _error->code : 0; }
  std::string message() const { return _error ? _error->message : ""; }
  /// The name of the D-Bus error that the peer returned; "" for other errors.
  std::string remoteName() const {
    char* name = _error ? g_dbus_error_get_remote_error(_error) : nullptr;
    std::string text = name ? name : "";
    g_free(name);
    return text;
  }

 private:
  GError* _error = nullptr;
};

}  // namespace oq
