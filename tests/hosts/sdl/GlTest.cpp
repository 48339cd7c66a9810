// SPDX-License-Identifier: Apache-2.0
#include <SDL.h>
#include <SDL_opengl.h>
#include <gtest/gtest.h>

#include <map>

#include "Game.h"

namespace oq {
namespace {

struct Kind {
  const char* name;
  int profile, major, minor;
};

/// The OpenGL functions that the game uses.
#define GAME_GL(F)                                                                       \
  F(void, GetIntegerv, (GLenum, GLint*))                                                 \
  F(GLboolean, IsEnabled, (GLenum))                                                      \
  F(void, Enable, (GLenum))                                                              \
  F(void, Disable, (GLenum))                                                             \
  F(void, Viewport, (GLint, GLint, GLsizei, GLsizei))                                    \
  F(void, Scissor, (GLint, GLint, GLsizei, GLsizei))                                     \
  F(void, ColorMask, (GLboolean, GLboolean, GLboolean, GLboolean))                       \
  F(void, ClearColor, (GLfloat, GLfloat, GLfloat, GLfloat))                              \
  F(void, Clear, (GLbitfield))                                                           \
  F(void, PixelStorei, (GLenum, GLint))                                                  \
  F(void, GenTextures, (GLsizei, GLuint*))                                               \
  F(void, BindTexture, (GLenum, GLuint))                                                 \
  F(void, ActiveTexture, (GLenum))                                                       \
  F(void, BlendFuncSeparate, (GLenum, GLenum, GLenum, GLenum))                           \
  F(void, BlendEquationSeparate, (GLenum, GLenum))                                       \
  F(void, GenBuffers, (GLsizei, GLuint*))                                                \
  F(void, BindBuffer, (GLenum, GLuint))                                                  \
  F(void, VertexAttribPointer, (GLuint, GLint, GLenum, GLboolean, GLsizei, const void*)) \
  F(void, EnableVertexAttribArray, (GLuint))                                             \
  F(void, GetVertexAttribiv, (GLuint, GLenum, GLint*))                                   \
  F(void, ReadPixels, (GLint, GLint, GLsizei, GLsizei, GLenum, GLenum, void*))           \
  F(GLenum, GetError, ())

/// A game that draws with OpenGL and keeps odd state in the context.
class GlGame : public test::Game, public ::testing::WithParamInterface<Kind> {
 protected:
  GlGame() {
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_PROFILE_MASK, GetParam().profile);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, GetParam().major);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, GetParam().minor);
    SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, 24);
    SDL_GL_SetAttribute(SDL_GL_STENCIL_SIZE, 8);
    openWindow(SDL_WINDOW_OPENGL);
    makeContext();
    overlay = sdl::attach(window, options());
  }
  ~GlGame() override {
    overlay.reset();
    SDL_GL_DeleteContext(context);
  }

  void makeContext() {
    context = SDL_GL_CreateContext(window);
    ASSERT_TRUE(context) << SDL_GetError();
#define LOAD(result, name, parameters) name = reinterpret_cast<decltype(name)>(SDL_GL_GetProcAddress("gl" #name));
    GAME_GL(LOAD)
#undef LOAD
    GenTextures(2, textures);
    GenBuffers(2, buffers);
    if (isNew()) {
      reinterpret_cast<void (*)(GLsizei, GLuint*)>(SDL_GL_GetProcAddress("glGenVertexArrays"))(1, &array);
      reinterpret_cast<void (*)(GLuint)>(SDL_GL_GetProcAddress("glBindVertexArray"))(array);
    }
  }
  bool isES() const {
    return GetParam().profile == SDL_GL_CONTEXT_PROFILE_ES;
  }
  bool isNew() const {
    return GetParam().major >= 3;
  }

  /// Everything that the overlay might change, with values that would spoil its pixels.
  void setOddState() {
    Viewport(10, 20, 300, 310);
    Enable(GL_SCISSOR_TEST);
    Scissor(0, 0, 50, 60);
    for (GLenum capability : {GL_DEPTH_TEST, GL_STENCIL_TEST, GL_CULL_FACE, GL_SAMPLE_ALPHA_TO_COVERAGE})
      Enable(capability);
    Disable(GL_BLEND);
    BlendFuncSeparate(GL_DST_COLOR, GL_ZERO, GL_ONE, GL_DST_ALPHA);
    BlendEquationSeparate(GL_FUNC_REVERSE_SUBTRACT, GL_FUNC_SUBTRACT);
    ColorMask(GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE);
    PixelStorei(GL_UNPACK_ALIGNMENT, 8);
    if (isNew()) {
      PixelStorei(GL_UNPACK_ROW_LENGTH, 7);
      PixelStorei(GL_UNPACK_SKIP_ROWS, 3);
      PixelStorei(GL_UNPACK_SKIP_PIXELS, 5);
      BindBuffer(GL_PIXEL_UNPACK_BUFFER, buffers[1]);
      Enable(GL_RASTERIZER_DISCARD);
    }
    if (!isES()) {
      Enable(GL_COLOR_LOGIC_OP);
      PixelStorei(GL_UNPACK_SWAP_BYTES, 1);
      reinterpret_cast<void (*)(GLenum, GLenum)>(SDL_GL_GetProcAddress("glPolygonMode"))(GL_FRONT_AND_BACK, GL_LINE);
    }
    ActiveTexture(GL_TEXTURE0);
    BindTexture(GL_TEXTURE_2D, textures[0]);
    ActiveTexture(GL_TEXTURE3);
    BindTexture(GL_TEXTURE_2D, textures[1]);
    BindBuffer(GL_ARRAY_BUFFER, buffers[0]);
    VertexAttribPointer(0, 3, GL_SHORT, GL_TRUE, 12, reinterpret_cast<void*>(4));
    EnableVertexAttribArray(0);
  }
  std::map<GLenum, std::vector<GLint>> state() const {
    std::map<GLenum, std::vector<GLint>> values;
    const auto add = [&](std::initializer_list<GLenum> names) {
      for (GLenum name : names) {
        values[name].assign(4, -1);
        GetIntegerv(name, values[name].data());
      }
    };
    add({GL_VIEWPORT,
         GL_SCISSOR_BOX,
         GL_SCISSOR_TEST,
         GL_DEPTH_TEST,
         GL_DEPTH_WRITEMASK,
         GL_STENCIL_TEST,
         GL_CULL_FACE,
         GL_BLEND,
         GL_BLEND_SRC_RGB,
         GL_BLEND_DST_RGB,
         GL_BLEND_SRC_ALPHA,
         GL_BLEND_DST_ALPHA,
         GL_BLEND_EQUATION_RGB,
         GL_BLEND_EQUATION_ALPHA,
         GL_COLOR_WRITEMASK,
         GL_DITHER,
         GL_SAMPLE_ALPHA_TO_COVERAGE,
         GL_SAMPLE_COVERAGE,
         GL_UNPACK_ALIGNMENT,
         GL_ACTIVE_TEXTURE,
         GL_TEXTURE_BINDING_2D,
         GL_CURRENT_PROGRAM,
         GL_ARRAY_BUFFER_BINDING,
         GL_ELEMENT_ARRAY_BUFFER_BINDING,
         GL_FRAMEBUFFER_BINDING,
         GL_STENCIL_WRITEMASK});
    if (isNew())
      add({GL_VERTEX_ARRAY_BINDING, GL_PIXEL_UNPACK_BUFFER_BINDING, GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_ROWS,
           GL_UNPACK_SKIP_PIXELS, GL_RASTERIZER_DISCARD, GL_DRAW_FRAMEBUFFER_BINDING});
    if (!isES()) add({GL_COLOR_LOGIC_OP, GL_POLYGON_MODE, GL_UNPACK_SWAP_BYTES, GL_UNPACK_LSB_FIRST});
    if (!isES() && isNew()) add({GL_FRAMEBUFFER_SRGB, GL_SAMPLER_BINDING});
    for (GLenum name :
         {GL_VERTEX_ATTRIB_ARRAY_ENABLED, GL_VERTEX_ATTRIB_ARRAY_SIZE, GL_VERTEX_ATTRIB_ARRAY_STRIDE,
          GL_VERTEX_ATTRIB_ARRAY_TYPE, GL_VERTEX_ATTRIB_ARRAY_NORMALIZED, GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING}) {
      values[name].assign(1, -1);
      GetVertexAttribiv(0, name, values[name].data());
    }
    ActiveTexture(GL_TEXTURE0);
    values[0].assign(1, -1);
    GetIntegerv(GL_TEXTURE_BINDING_2D, values[0].data());
    ActiveTexture(GL_TEXTURE3);
    return values;
  }
  void drawGame() {
    for (GLenum capability : {GL_SCISSOR_TEST, GL_DEPTH_TEST, GL_STENCIL_TEST}) Disable(capability);
    if (isNew()) Disable(GL_RASTERIZER_DISCARD);
    ColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    ClearColor(0.8f, 0.1f, 0.1f, 1);
    Clear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    setOddState();
  }
  void draw() override {
    drawGame();
    EXPECT_EQ(GetError(), GLenum{GL_NO_ERROR});
    const auto before = state();
    overlay->render();
    EXPECT_EQ(state(), before);
    EXPECT_EQ(GetError(), GLenum{GL_NO_ERROR});
    if (presents) SDL_GL_SwapWindow(window);
  }
  std::vector<Uint32> pixels() {
    presents = false;
    draw();
    presents = true;
    std::vector<Uint32> read(kWidth * kHeight);
    if (isNew()) BindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    ReadPixels(0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE, read.data());
    return read;
  }
  static Uint32 at(const std::vector<Uint32>& from, CGPoint point) {  // red is the lowest byte
    return from[static_cast<std::size_t>(kHeight - 1 - static_cast<int>(point.y)) * kWidth +
                static_cast<std::size_t>(point.x)] &
           0xFFFFFF;
  }

#define DECLARE(result, name, parameters) result(APIENTRY* name) parameters = nullptr;
  GAME_GL(DECLARE)
#undef DECLARE
  SDL_GLContext context = nullptr;
  GLuint textures[2] = {}, buffers[2] = {}, array = 0;
  bool presents = true;
};

TEST_P(GlGame, MessageIsDrawnOverTheGameAndLeavesItsPixelsAndStateAsTheyWere) {
  start({"card"});
  const auto game = pixels();
  EXPECT_EQ(overlay->uploads(), 0u) << "without a message there is no texture";
  show("card");
  const auto covered = pixels();
  const CGPoint edge{300, 20}, yes = find("Yes");
  EXPECT_EQ(at(game, edge), 0x1A1ACCu);
  EXPECT_LT(at(covered, edge) & 0xFF, 0xCCu) << "dimmed";
  EXPECT_GT(at(covered, edge) & 0xFF, 0x20u) << "but not black";
  EXPECT_EQ(at(covered, {yes.x - 100, yes.y - 45}), 0xFFFFFFu) << "the card is opaque white";
  const std::uint64_t uploads = overlay->uploads();
  for (int i = 0; i < 20; ++i) draw();
  EXPECT_EQ(overlay->uploads(), uploads) << "nothing moves, so nothing is uploaded";
  EXPECT_EQ(pixels(), covered);
  click(yes);
  ASSERT_TRUE(runUntil([&] { return calls.back() == "yes card"; }));
  ASSERT_TRUE(runUntil([&] { return !overlay->needsRender(); }));
  EXPECT_EQ(pixels(), game);
}

TEST_P(GlGame, MessageIsDrawnAgainInANewContextAfterTheOldOneWasLost) {
  start({"card"});
  show("card");
  const auto covered = pixels();
  SDL_GL_DeleteContext(context);
  overlay->update();
  overlay->render();  // without a context nothing happens
  makeContext();
  EXPECT_EQ(pixels(), covered);
}

INSTANTIATE_TEST_SUITE_P(Sdl, GlGame,
                         ::testing::Values(Kind{"OpenGL21", SDL_GL_CONTEXT_PROFILE_COMPATIBILITY, 2, 1},
                                           Kind{"OpenGL33Core", SDL_GL_CONTEXT_PROFILE_CORE, 3, 3},
                                           Kind{"OpenGLES2", SDL_GL_CONTEXT_PROFILE_ES, 2, 0},
                                           Kind{"OpenGLES3", SDL_GL_CONTEXT_PROFILE_ES, 3, 0}),
                         [](const auto& kind) { return std::string(kind.param.name); });

}  // namespace
}  // namespace oq
