// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <dlfcn.h>

namespace oq {

/// Loads an optional library at run time, so that applications that never need it neither load nor install it. nullptr
/// if it is not available. A loaded library is never unloaded.
inline void* openLibrary(const char* name) {
  return ::dlopen(name, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
}

/// Sets `function` to the library's function of that name; false if there is none. The type is not checked.
template <class Function>
bool findFunction(void* library, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(::dlsym(library, name));
  return function != nullptr;
}

}  // namespace oq
