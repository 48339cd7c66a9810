// SPDX-License-Identifier: Apache-2.0
#include "sdl/GlTarget.h"

#include <array>
#include <bit>
#include <string>
#include <utility>
#include <vector>

#include "sdl/GlFunctions.h"

namespace oq::sdl {

namespace {

/// A capability, and the first versions that have it; a version that does not exist stands for "never".
struct Capability {
  GLenum name;
  int desktop, es;
  bool isLegacy = false;  ///< not in the core profile
};
constexpr int kNever = 1000;
/// What would change our pixels, or where they go. Blending is enabled, the others are disabled.
constexpr std::array kCapabilities = {
    Capability{GL_BLEND, 10, 20},
    Capability{GL_CULL_FACE, 10, 20},
    Capability{GL_DEPTH_TEST, 10, 20},
    Capability{GL_STENCIL_TEST, 10, 20},
    Capability{GL_SCISSOR_TEST, 10, 20},
    Capability{GL_DITHER, 10, 20},
    Capability{GL_SAMPLE_ALPHA_TO_COVERAGE, 13, 20},
    Capability{GL_SAMPLE_COVERAGE, 13, 20},
    Capability{GL_RASTERIZER_DISCARD, 30, 30},
    Capability{GL_FRAMEBUFFER_SRGB, 30, kNever},
    Capability{GL_SAMPLE_MASK, 32, 31},
    Capability{GL_COLOR_LOGIC_OP, 11, kNever},
    Capability{GL_ALPHA_TEST, 10, kNever, true},
};

/// Saves the state that drawing changes, and restores it at the end. Without vertex array objects the attribute 0 is a
/// part of it.
class SavedState {
 public:
  explicit SavedState(const GlFunctions& gl) : _gl(gl) {
    _activeTexture = get(GL_ACTIVE_TEXTURE);
    _gl.ActiveTexture(GL_TEXTURE0);
    _texture = get(GL_TEXTURE_BINDING_2D);
    if (_gl.hasSamplers()) _sampler = get(GL_SAMPLER_BINDING);
    _program = get(GL_CURRENT_PROGRAM);
    _buffer = get(GL_ARRAY_BUFFER_BINDING);
    if (_gl.hasVertexArrays()) _array = get(GL_VERTEX_ARRAY_BINDING);
    if (!_gl.hasVertexArrays()) saveAttribute();
    _gl.GetIntegerv(GL_VIEWPORT, _viewport);
    constexpr GLenum factors[] = {GL_BLEND_SRC_RGB, GL_BLEND_DST_RGB, GL_BLEND_SRC_ALPHA, GL_BLEND_DST_ALPHA};
    for (int i = 0; i < 4; ++i) _factors[i] = get(factors[i]);
    _equations[0] = get(GL_BLEND_EQUATION_RGB);
    _equations[1] = get(GL_BLEND_EQUATION_ALPHA);
    _gl.GetBooleanv(GL_COLOR_WRITEMASK, _mask);
    // In the core profile both sides have the same mode.
    if (!_gl.isES) _gl.GetIntegerv(GL_POLYGON_MODE, _polygonModes);
    for (std::size_t i = 0; i < kCapabilities.size(); ++i) {
      if (hasCapability(i)) _isEnabled[i] = _gl.IsEnabled(kCapabilities[i].name);
    }
    saveUnpackState();
  }
  ~SavedState() {
    for (const auto& [name, value] : _unpack) _gl.PixelStorei(name, value);
    if (_gl.hasUnpackState()) _gl.BindBuffer(GL_PIXEL_UNPACK_BUFFER, static_cast<GLuint>(_unpackBuffer));
    for (std::size_t i = 0; i < kCapabilities.size(); ++i) {
      if (hasCapability(i)) (_isEnabled[i] ? _gl.Enable : _gl.Disable)(kCapabilities[i].name);
    }
    if (!_gl.isES && _gl.isCore) _gl.PolygonMode(GL_FRONT_AND_BACK, static_cast<GLenum>(_polygonModes[0]));
    if (!_gl.isES && !_gl.isCore) {
      _gl.PolygonMode(GL_FRONT, static_cast<GLenum>(_polygonModes[0]));
      _gl.PolygonMode(GL_BACK, static_cast<GLenum>(_polygonModes[1]));
    }
    _gl.ColorMask(_mask[0], _mask[1], _mask[2], _mask[3]);
    _gl.BlendEquationSeparate(_equations[0], _equations[1]);
    _gl.BlendFuncSeparate(_factors[0], _factors[1], _factors[2], _factors[3]);
    _gl.Viewport(_viewport[0], _viewport[1], _viewport[2], _viewport[3]);
    if (_gl.hasVertexArrays()) _gl.BindVertexArray(static_cast<GLuint>(_array));
    if (!_gl.hasVertexArrays()) restoreAttribute();
    _gl.BindBuffer(GL_ARRAY_BUFFER, static_cast<GLuint>(_buffer));
    _gl.UseProgram(static_cast<GLuint>(_program));
    if (_gl.hasSamplers()) _gl.BindSampler(0, static_cast<GLuint>(_sampler));
    _gl.BindTexture(GL_TEXTURE_2D, static_cast<GLuint>(_texture));
    _gl.ActiveTexture(static_cast<GLenum>(_activeTexture));
  }
  SavedState(const SavedState&) = delete;
  SavedState& operator=(const SavedState&) = delete;

  /// Sets everything that was saved to what drawing needs.
  void set(int width, int height) const {
    for (std::size_t i = 0; i < kCapabilities.size(); ++i) {
      if (hasCapability(i)) (kCapabilities[i].name == GL_BLEND ? _gl.Enable : _gl.Disable)(kCapabilities[i].name);
    }
    _gl.BlendEquationSeparate(GL_FUNC_ADD, GL_FUNC_ADD);
    _gl.BlendFuncSeparate(GL_ONE, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    _gl.ColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    if (!_gl.isES) _gl.PolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    _gl.Viewport(0, 0, width, height);
    if (_gl.hasSamplers()) _gl.BindSampler(0, 0);
    for (const auto& [name, value] : _unpack) _gl.PixelStorei(name, name == GL_UNPACK_ALIGNMENT ? 4 : 0);
    if (_gl.hasUnpackState()) _gl.BindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
  }

 private:
  GLint get(GLenum name) const {
    GLint value = 0;
    _gl.GetIntegerv(name, &value);
    return value;
  }
  bool hasCapability(std::size_t i) const {
    const Capability& each = kCapabilities[i];
    return _gl.has(each.desktop, each.es) && !(each.isLegacy && _gl.isCore);
  }
  void saveUnpackState() {
    _unpack.emplace_back(GL_UNPACK_ALIGNMENT, get(GL_UNPACK_ALIGNMENT));
    if (!_gl.hasUnpackState()) return;
    _unpackBuffer = get(GL_PIXEL_UNPACK_BUFFER_BINDING);
    for (GLenum name : {GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_ROWS, GL_UNPACK_SKIP_PIXELS})
      _unpack.emplace_back(name, get(name));
    if (_gl.isES) return;
    for (GLenum name : {GL_UNPACK_SWAP_BYTES, GL_UNPACK_LSB_FIRST}) _unpack.emplace_back(name, get(name));
  }
  void saveAttribute() {
    const auto read = [&](GLenum name) {
      GLint value = 0;
      _gl.GetVertexAttribiv(0, name, &value);
      return value;
    };
    _attribute.isEnabled = read(GL_VERTEX_ATTRIB_ARRAY_ENABLED);
    _attribute.size = read(GL_VERTEX_ATTRIB_ARRAY_SIZE);
    _attribute.type = read(GL_VERTEX_ATTRIB_ARRAY_TYPE);
    _attribute.isNormalized = read(GL_VERTEX_ATTRIB_ARRAY_NORMALIZED);
    _attribute.stride = read(GL_VERTEX_ATTRIB_ARRAY_STRIDE);
    _attribute.buffer = read(GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING);
    _gl.GetVertexAttribPointerv(0, GL_VERTEX_ATTRIB_ARRAY_POINTER, &_attribute.pointer);
  }
  void restoreAttribute() const {
    _gl.BindBuffer(GL_ARRAY_BUFFER, static_cast<GLuint>(_attribute.buffer));
    _gl.VertexAttribPointer(0, _attribute.size, static_cast<GLenum>(_attribute.type),
                            static_cast<GLboolean>(_attribute.isNormalized), _attribute.stride, _attribute.pointer);
    (_attribute.isEnabled ? _gl.EnableVertexAttribArray : _gl.DisableVertexAttribArray)(0);
  }

  const GlFunctions& _gl;
  GLint _activeTexture = 0, _texture = 0, _sampler = 0, _program = 0, _buffer = 0, _array = 0, _unpackBuffer = 0;
  GLint _viewport[4] = {};
  GLenum _factors[4] = {}, _equations[2] = {};
  GLboolean _mask[4] = {};
  GLint _polygonModes[2] = {};
  std::array<bool, kCapabilities.size()> _isEnabled{};
  std::vector<std::pair<GLenum, GLint>> _unpack;
  struct {
    GLint isEnabled = 0, size = 0, type = 0, isNormalized = 0, stride = 0, buffer = 0;
    void* pointer = nullptr;
  } _attribute;
};

GLuint compiled(const GlFunctions& gl, GLenum kind, const std::string& source) {
  const GLuint shader = gl.CreateShader(kind);
  const GLchar* text = source.c_str();
  gl.ShaderSource(shader, 1, &text, nullptr);
  gl.CompileShader(shader);
  return shader;
}

/// A program that draws the texture of unit 0 over the whole viewport. Returns 0 if it could not be linked.
GLuint linked(const GlFunctions& gl) {
  // The texture's bytes are blue, green, red, alpha, because OpenGL ES cannot swap them during an upload.
  static_assert(std::endian::native == std::endian::little);
  std::string vertex, fragment;
  if (gl.isCore) {
    vertex = "#version 150\nin vec2 corner; out vec2 place;\n";
    fragment =
        "#version 150\nin vec2 place; out vec4 color; uniform sampler2D picture;\n"
        "void main() { color = texture(picture, place).bgra; }";
  } else {
    vertex =
        std::string(gl.isES ? "#version 100\n" : "#version 110\n") + "attribute vec2 corner; varying vec2 place;\n";
    fragment = std::string(gl.isES ? "#version 100\nprecision mediump float;\n" : "#version 110\n") +
               "varying vec2 place; uniform sampler2D picture;\n"
               "void main() { gl_FragColor = texture2D(picture, place).bgra; }";
  }
  vertex +=
      "void main() { place = vec2(corner.x, 1.0 - corner.y);"
      " gl_Position = vec4(corner * 2.0 - 1.0, 0.0, 1.0); }";
  const GLuint program = gl.CreateProgram();
  for (const GLuint shader : {compiled(gl, GL_VERTEX_SHADER, vertex), compiled(gl, GL_FRAGMENT_SHADER, fragment)}) {
    gl.AttachShader(program, shader);
    gl.DeleteShader(shader);  // when the program is deleted
  }
  gl.BindAttribLocation(program, 0, "corner");
  gl.LinkProgram(program);
  GLint isLinked = GL_FALSE;
  gl.GetProgramiv(program, GL_LINK_STATUS, &isLinked);
  if (isLinked) return program;
  gl.DeleteProgram(program);
  return 0;
}

}  // namespace

GlTarget::GlTarget() = default;

GlTarget::~GlTarget() {
  clear();
}

bool GlTarget::hasObjects() const {
  return _context && SDL_GL_GetCurrentContext() == _context && _gl->IsTexture(_texture) && _gl->IsProgram(_program);
}

void GlTarget::clear() {
  if (hasObjects()) {
    _gl->DeleteTextures(1, &_texture);
    _gl->DeleteProgram(_program);
    _gl->DeleteBuffers(1, &_corners);
    if (_gl->hasVertexArrays()) _gl->DeleteVertexArrays(1, &_array);
  }
  _context = nullptr;
}

bool GlTarget::draw(const Picture& picture, const PixelRect& damage) {
  SDL_GLContext context = SDL_GL_GetCurrentContext();
  if (!context) return false;
  if (!hasObjects()) {
    _context = nullptr;
    auto gl = std::make_unique<GlFunctions>();
    if (!gl->load()) return false;
    _gl = std::move(gl);
  }
  const SavedState saved(*_gl);
  saved.set(picture.width, picture.height);
  if (!_context) {
    if (!makeObjects()) return false;
    _context = context;
  }
  if (_gl->hasVertexArrays()) _gl->BindVertexArray(_array);
  _gl->BindBuffer(GL_ARRAY_BUFFER, _corners);
  _gl->VertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, nullptr);
  _gl->EnableVertexAttribArray(0);
  _gl->BindTexture(GL_TEXTURE_2D, _texture);
  upload(picture, damage);
  _gl->UseProgram(_program);
  _gl->DrawArrays(GL_TRIANGLE_STRIP, 0, 4);
  return true;
}

bool GlTarget::makeObjects() {
  _program = linked(*_gl);
  if (!_program) return false;
  _gl->UseProgram(_program);
  _gl->Uniform1i(_gl->GetUniformLocation(_program, "picture"), 0);
  constexpr GLfloat corners[] = {0, 0, 1, 0, 0, 1, 1, 1};
  if (_gl->hasVertexArrays()) _gl->GenVertexArrays(1, &_array);
  _gl->GenBuffers(1, &_corners);
  _gl->BindBuffer(GL_ARRAY_BUFFER, _corners);
  _gl->BufferData(GL_ARRAY_BUFFER, sizeof corners, corners, GL_STATIC_DRAW);
  _gl->GenTextures(1, &_texture);
  _gl->BindTexture(GL_TEXTURE_2D, _texture);
  for (GLenum filter : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER})
    _gl->TexParameteri(GL_TEXTURE_2D, filter, GL_NEAREST);
  for (GLenum wrap : {GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T}) _gl->TexParameteri(GL_TEXTURE_2D, wrap, GL_CLAMP_TO_EDGE);
  _width = _height = 0;
  return true;
}

void GlTarget::upload(const Picture& picture, const PixelRect& damage) {
  constexpr GLenum format = GL_RGBA, type = GL_UNSIGNED_BYTE;
  if (_width != picture.width || _height != picture.height) {
    _width = picture.width;
    _height = picture.height;
    _gl->TexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, _width, _height, 0, format, type, picture.pixels.data());
    return noteUpload();
  }
  if (damage.isEmpty()) return;
  // Whole rows, because OpenGL ES 2 cannot take a part of a row.
  _gl->TexSubImage2D(GL_TEXTURE_2D, 0, 0, damage.y, _width, damage.height, format, type,
                     picture.at({0, damage.y, _width, damage.height}));
  noteUpload();
}

}  // namespace oq::sdl
