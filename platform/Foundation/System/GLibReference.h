#pragma once

#include <gio/gio.h>

#include <memory>
#include <string>

namespace oq {

struct UnrefObject {
  void operator()(void* object) const { g_object_unref(object); }
};
/// The one reference that its owner holds.
template <class T>
using ObjectRef = std::unique_ptr<T, UnrefObject>;

struct UnrefVariant {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
/// The one reference that its owner holds; a floating one has to be sunk first.
using VariantRef = std::unique_ptr<GVariant, UnrefVariant>;

/// What a call of GLib's says of its failure, freed with its owner. Takes one failure.
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
  /// The name of the D-Bus error that the other side has answered with; "" where it did not.
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
