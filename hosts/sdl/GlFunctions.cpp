// SPDX-License-Identifier: Apache-2.0
#include "sdl/GlFunctions.h"

#include <cstdio>
#include <cstring>

namespace oq::sdl {

namespace {

template <class Function>
bool find(Function& function, const char* name) {
  function = reinterpret_cast<Function>(SDL_GL_GetProcAddress(name));
  return function != nullptr;
}

}  // namespace

bool GlFunctions::load() {
#define OQ_GL_FIND(result, name, parameters) \
  if (!find(name, "gl" #name)) return false;
  OQ_GL_FUNCTIONS(OQ_GL_FIND)
#undef OQ_GL_FIND

  const auto* text = reinterpret_cast<const char*>(GetString(GL_VERSION));
  if (!text) return false;
  constexpr const char* kPrefix = "OpenGL ES ";
  isES = std::strncmp(text, kPrefix, std::strlen(kPrefix)) == 0;
  int major = 0, minor = 0;
  if (std::sscanf(isES ? text + std::strlen(kPrefix) : text, "%d.%d", &major, &minor) != 2) return false;
  version = 10 * major + minor;
  if (!has(21, 20)) return false;
  if (!isES && version >= 32) {
    GLint profile = 0;
    GetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    isCore = (profile & GL_CONTEXT_CORE_PROFILE_BIT) != 0;
  }
  if (hasVertexArrays() &&
      !(find(GenVertexArrays, "glGenVertexArrays") && find(DeleteVertexArrays, "glDeleteVertexArrays") &&
        find(BindVertexArray, "glBindVertexArray")))
    return false;
  if (hasSamplers() && !find(BindSampler, "glBindSampler")) return false;
  return isES || find(PolygonMode, "glPolygonMode");
}

}  // namespace oq::sdl
