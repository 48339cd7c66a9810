// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dlfcn.h>

namespace oq {

/// Loads an optional library at run time, so that applications that never need it neither load nor install it. nullptr
/// if it is not available. It stays loaded.
inline void* openLibrary(const char* name) {
  return ::dlopen(name, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
}

/// False if the library has no such function. The caller must know that the type is right.
template <class Function>
bool findFunction(void* library, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(::dlsym(library, name));
  return function != nullptr;
}

}  // namespace oq
