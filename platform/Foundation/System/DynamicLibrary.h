#pragma once

#include <dlfcn.h>

namespace oq {

/// A library that is looked for at run time, so that an application that never needs it neither loads it nor must have
/// it. nullptr when there is none. It stays in the process.
inline void* openLibrary(const char* name) {
  return ::dlopen(name, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
}

/// False when the library has no such function. That it has the type is for the caller to know.
template <class Function>
bool findFunction(void* library, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(::dlsym(library, name));
  return function != nullptr;
}

}  // namespace oq
