// SPDX-License-Identifier: Apache-2.0
#include "sdl/RendererTarget.h"

#include <algorithm>
#include <vector>

namespace oq::sdl {

namespace {

/// Sets a renderer to draw on the whole window in pixels, and restores its state at the end.
class WholeWindow {
 public:
  explicit WholeWindow(SDL_Renderer* renderer) : _renderer(renderer), _target(SDL_GetRenderTarget(renderer)) {
    // Each render target has a viewport, a clip and a scale of its own, but SDL forgets those of a texture when another
    // target is set.
    if (_target) {
      _ofTarget = stateOf(_renderer);
      SDL_SetRenderTarget(_renderer, nullptr);
    }
    _ofWindow = stateOf(_renderer);
    if (_ofWindow.logicalWidth > 0) SDL_RenderSetLogicalSize(_renderer, 0, 0);
    SDL_RenderSetScale(_renderer, 1, 1);
    SDL_RenderSetViewport(_renderer, nullptr);
    SDL_RenderSetClipRect(_renderer, nullptr);
  }
  ~WholeWindow() {
    restore(_renderer, _ofWindow);
    if (!_target) return;
    SDL_SetRenderTarget(_renderer, _target);
    restore(_renderer, _ofTarget);
  }
  WholeWindow(const WholeWindow&) = delete;
  WholeWindow& operator=(const WholeWindow&) = delete;

 private:
  struct State {
    int logicalWidth = 0, logicalHeight = 0;
    float scaleX = 1, scaleY = 1;
    SDL_Rect viewport{}, clip{};
    bool clips = false;
  };
  static State stateOf(SDL_Renderer* renderer) {
    State state;
    SDL_RenderGetLogicalSize(renderer, &state.logicalWidth, &state.logicalHeight);
    SDL_RenderGetScale(renderer, &state.scaleX, &state.scaleY);
    SDL_RenderGetViewport(renderer, &state.viewport);
    SDL_RenderGetClipRect(renderer, &state.clip);
    state.clips = SDL_RenderIsClipEnabled(renderer);
    return state;
  }
  static void restore(SDL_Renderer* renderer, const State& state) {
    // A logical size sets scale and viewport. SDL rounds these when it returns them, so they are set only if the
    // program had set other ones.
    SDL_RenderSetLogicalSize(renderer, state.logicalWidth, state.logicalHeight);
    const State now = stateOf(renderer);
    if (now.scaleX != state.scaleX || now.scaleY != state.scaleY)
      SDL_RenderSetScale(renderer, state.scaleX, state.scaleY);
    const State scaled = stateOf(renderer);
    if (!SDL_RectEquals(&scaled.viewport, &state.viewport)) SDL_RenderSetViewport(renderer, &state.viewport);
    SDL_RenderSetClipRect(renderer, state.clips ? &state.clip : nullptr);
  }

  SDL_Renderer* const _renderer;
  SDL_Texture* const _target;
  State _ofTarget, _ofWindow;
};

/// The pixel with its colours divided by its alpha.
std::uint32_t straight(std::uint32_t pixel) {
  const std::uint32_t alpha = pixel >> 24;
  if (alpha == 0 || alpha == 255) return pixel;
  const auto divided = [&](int shift) {
    return std::min<std::uint32_t>(255, ((pixel >> shift & 255) * 255 + alpha / 2) / alpha) << shift;
  };
  return alpha << 24 | divided(16) | divided(8) | divided(0);
}

}  // namespace

bool RendererTarget::isAlive() const {
  SDL_Window* window = SDL_GetWindowFromID(_window);
  return window && SDL_GetRenderer(window) == _renderer;
}

bool RendererTarget::draw(const Picture& picture, const PixelRect& damage) {
  if (!isAlive()) {
    clear();
    return false;
  }
  if (!_texture || _width != picture.width || _height != picture.height) {
    if (!makeTexture(picture) || !upload(picture, {0, 0, _width, _height})) return false;
  } else if (!damage.isEmpty() && !upload(picture, damage)) {
    return false;
  }
  const WholeWindow scope(_renderer);
  return SDL_RenderCopy(_renderer, _texture, nullptr, nullptr) == 0;
}

void RendererTarget::clear() {
  if (_texture && isAlive()) SDL_DestroyTexture(_texture);
  _texture = nullptr;
}

bool RendererTarget::makeTexture(const Picture& picture) {
  clear();
  _width = picture.width;
  _height = picture.height;
  _texture = SDL_CreateTexture(_renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STATIC, _width, _height);
  if (!_texture) return false;
  const SDL_BlendMode premultiplied =
      SDL_ComposeCustomBlendMode(SDL_BLENDFACTOR_ONE, SDL_BLENDFACTOR_ONE_MINUS_SRC_ALPHA, SDL_BLENDOPERATION_ADD,
                                 SDL_BLENDFACTOR_ONE, SDL_BLENDFACTOR_ONE_MINUS_SRC_ALPHA, SDL_BLENDOPERATION_ADD);
  // SDL's software renderer has no such blending.
  _isPremultiplied = SDL_SetTextureBlendMode(_texture, premultiplied) == 0;
  if (!_isPremultiplied) SDL_SetTextureBlendMode(_texture, SDL_BLENDMODE_BLEND);
  return true;
}

bool RendererTarget::upload(const Picture& picture, const PixelRect& area) {
  noteUpload();
  const SDL_Rect place{area.x, area.y, area.width, area.height};
  if (_isPremultiplied) return SDL_UpdateTexture(_texture, &place, picture.at(area), picture.stride()) == 0;
  std::vector<std::uint32_t> pixels;
  pixels.reserve(static_cast<std::size_t>(area.width) * static_cast<std::size_t>(area.height));
  // Most of the picture is one colour, so the last result is kept.
  std::uint32_t last = 0, result = 0;
  for (int y = area.y; y < area.y + area.height; ++y) {
    const std::uint32_t* row = picture.at({area.x, y, area.width, 1});
    for (int x = 0; x < area.width; ++x) {
      if (row[x] != last) result = straight(last = row[x]);
      pixels.push_back(result);
    }
  }
  return SDL_UpdateTexture(_texture, &place, pixels.data(), 4 * area.width) == 0;
}

}  // namespace oq::sdl
