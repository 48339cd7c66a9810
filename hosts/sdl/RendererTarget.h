// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <SDL.h>

#include "sdl/Picture.h"

namespace oq::sdl {

/// Draws with the renderer of a window.
class RendererTarget : public Target {
 public:
  /// `window` is SDL's number of the window.
  RendererTarget(Uint32 window, SDL_Renderer* renderer) : _window(window), _renderer(renderer) {}
  ~RendererTarget() override { clear(); }

  bool draw(const Picture& picture, const PixelRect& damage) override;
  void clear() override;
  void texturesLost() override { clear(); }

 private:
  /// SDL destroys a renderer together with its window, and all textures together with the renderer.
  bool isAlive() const;
  bool makeTexture(const Picture& picture);
  bool upload(const Picture& picture, const PixelRect& area);

  const Uint32 _window;
  SDL_Renderer* const _renderer;
  SDL_Texture* _texture = nullptr;
  int _width = 0, _height = 0;
  bool _isPremultiplied = true;
};

}  // namespace oq::sdl
