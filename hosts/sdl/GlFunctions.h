// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <SDL.h>
#include <SDL_opengl.h>

namespace oq::sdl {

// The functions that every context has, with their parameters.
#define OQ_GL_FUNCTIONS(F)                                                                             \
  F(const GLubyte*, GetString, (GLenum))                                                               \
  F(void, GetIntegerv, (GLenum, GLint*))                                                               \
  F(void, GetBooleanv, (GLenum, GLboolean*))                                                           \
  F(GLboolean, IsEnabled, (GLenum))                                                                    \
  F(void, Enable, (GLenum))                                                                            \
  F(void, Disable, (GLenum))                                                                           \
  F(void, Viewport, (GLint, GLint, GLsizei, GLsizei))                                                  \
  F(void, ColorMask, (GLboolean, GLboolean, GLboolean, GLboolean))                                     \
  F(void, PixelStorei, (GLenum, GLint))                                                                \
  F(void, GenTextures, (GLsizei, GLuint*))                                                             \
  F(void, DeleteTextures, (GLsizei, const GLuint*))                                                    \
  F(void, BindTexture, (GLenum, GLuint))                                                               \
  F(GLboolean, IsTexture, (GLuint))                                                                    \
  F(void, TexParameteri, (GLenum, GLenum, GLint))                                                      \
  F(void, TexImage2D, (GLenum, GLint, GLint, GLsizei, GLsizei, GLint, GLenum, GLenum, const void*))    \
  F(void, TexSubImage2D, (GLenum, GLint, GLint, GLint, GLsizei, GLsizei, GLenum, GLenum, const void*)) \
  F(void, DrawArrays, (GLenum, GLint, GLsizei))                                                        \
  F(void, ActiveTexture, (GLenum))                                                                     \
  F(void, BlendFuncSeparate, (GLenum, GLenum, GLenum, GLenum))                                         \
  F(void, BlendEquationSeparate, (GLenum, GLenum))                                                     \
  F(GLuint, CreateShader, (GLenum))                                                                    \
  F(void, ShaderSource, (GLuint, GLsizei, const GLchar* const*, const GLint*))                         \
  F(void, CompileShader, (GLuint))                                                                     \
  F(void, DeleteShader, (GLuint))                                                                      \
  F(GLuint, CreateProgram, ())                                                                         \
  F(void, AttachShader, (GLuint, GLuint))                                                              \
  F(void, BindAttribLocation, (GLuint, GLuint, const GLchar*))                                         \
  F(void, LinkProgram, (GLuint))                                                                       \
  F(void, GetProgramiv, (GLuint, GLenum, GLint*))                                                      \
  F(void, DeleteProgram, (GLuint))                                                                     \
  F(GLboolean, IsProgram, (GLuint))                                                                    \
  F(void, UseProgram, (GLuint))                                                                        \
  F(GLint, GetUniformLocation, (GLuint, const GLchar*))                                                \
  F(void, Uniform1i, (GLint, GLint))                                                                   \
  F(void, GenBuffers, (GLsizei, GLuint*))                                                              \
  F(void, DeleteBuffers, (GLsizei, const GLuint*))                                                     \
  F(void, BindBuffer, (GLenum, GLuint))                                                                \
  F(void, BufferData, (GLenum, GLsizeiptr, const void*, GLenum))                                       \
  F(void, EnableVertexAttribArray, (GLuint))                                                           \
  F(void, DisableVertexAttribArray, (GLuint))                                                          \
  F(void, VertexAttribPointer, (GLuint, GLint, GLenum, GLboolean, GLsizei, const void*))               \
  F(void, GetVertexAttribiv, (GLuint, GLenum, GLint*))                                                 \
  F(void, GetVertexAttribPointerv, (GLuint, GLenum, void**))
// Functions of newer contexts; nullptr in others.
#define OQ_GL_OPTIONAL_FUNCTIONS(F)                     \
  F(void, GenVertexArrays, (GLsizei, GLuint*))          \
  F(void, DeleteVertexArrays, (GLsizei, const GLuint*)) \
  F(void, BindVertexArray, (GLuint))                    \
  F(void, BindSampler, (GLuint, GLuint))                \
  F(void, PolygonMode, (GLenum, GLenum))

/// The functions and the kind of the current context.
struct GlFunctions {
#define OQ_GL_DECLARE(result, name, parameters) result(APIENTRY* name) parameters = nullptr;
  OQ_GL_FUNCTIONS(OQ_GL_DECLARE)
  OQ_GL_OPTIONAL_FUNCTIONS(OQ_GL_DECLARE)
#undef OQ_GL_DECLARE

  int version = 0;  ///< 21 for 2.1
  bool isES = false;
  bool isCore = false;  ///< the core profile, which has none of OpenGL 1
  bool has(int desktop, int es) const {
    return version >= (isES ? es : desktop);
  }
  bool hasVertexArrays() const {
    return has(30, 30);
  }
  bool hasSamplers() const {
    return has(33, 30);
  }
  /// The length of rows, the pixels to skip, and buffers as the source of pixels.
  bool hasUnpackState() const {
    return has(21, 30);
  }

  /// False if the context is too old, or a function is missing.
  bool load();
};

}  // namespace oq::sdl
