// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/sdl/SdlHost.h"

#include <SDL.h>
#include <errno.h>

#include <cmath>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "sdl/GlTarget.h"
#include "sdl/Host.h"
#include "sdl/Layer.h"
#include "sdl/RendererTarget.h"

namespace oq::sdl {

namespace {

double positive(double value, double otherwise) {
  return std::isfinite(value) && value > 0 ? value : otherwise;
}

/// Why the window cannot get an overlay; nullptr if it can.
const char* problemWith(SDL_Window* window) {
  if (!SDL_WasInit(SDL_INIT_VIDEO)) return "SDL's video is not initialised";
  if (!window || SDL_GetWindowFromID(SDL_GetWindowID(window)) != window) return "there is no such window";
  if (Layer::isAttached(window)) return "the window has an overlay already";
  if (Host::exists())
    return DispatchQueue::currentLabel() == DispatchQueue::main().label() ? nullptr : "this is not the main thread";
  return isHostInstalled() ? "the process has a host for another toolkit" : nullptr;
}

PixelRect together(const PixelRect& a, const PixelRect& b) {
  if (a.isEmpty()) return b;
  if (b.isEmpty()) return a;
  const int x = std::min(a.x, b.x), y = std::min(a.y, b.y);
  return {x, y, std::max(a.x + a.width, b.x + b.width) - x, std::max(a.y + a.height, b.y + b.height) - y};
}

}  // namespace

class Overlay::Impl {
 public:
  Impl(SDL_Window* window, SDL_Renderer* renderer, const AttachOptions& options)
      : _layer(hostFor(options), window, renderer, positive(options.scale, 1), options.maximumScale) {
    if (renderer) {
      _target = std::make_unique<RendererTarget>(SDL_GetWindowID(window), renderer);
    } else {
      _target = std::make_unique<GlTarget>();
    }
    _layer.texturesLost = [this] { _target->texturesLost(); };
  }

  Layer& layer() { return _layer; }
  const Layer& layer() const { return _layer; }
  std::uint64_t uploads() const { return _target->uploads(); }

  void render() {
    _unsent = together(_unsent, _layer.paint());
    if (_layer.picture().pixels.empty()) {
      _unsent = {};
      return _target->clear();
    }
    if (_target->draw(_layer.picture(), _unsent)) _unsent = {};
  }

 private:
  static std::shared_ptr<Host> hostFor(const AttachOptions& options) {
    const std::string identifier =
        options.applicationIdentifier.empty() ? program_invocation_short_name : options.applicationIdentifier;
    return Host::shared({identifier, options.applicationVersion, options.dataDirectory}, options.animations);
  }

  Layer _layer;
  std::unique_ptr<Target> _target;
  PixelRect _unsent;  ///< what has changed and is not drawn yet
};

Overlay::Overlay(std::unique_ptr<Impl> impl) : _impl(std::move(impl)) {}
Overlay::~Overlay() = default;

bool Overlay::handleEvent(const SDL_Event& event) {
  return _impl->layer().handle(event);
}

void Overlay::update() {
  _impl->layer().update();
}

int Overlay::timeout() const {
  return _impl->layer().timeout();
}

bool Overlay::needsRender() const {
  return _impl->layer().needsRender();
}

void Overlay::render() {
  _impl->render();
}

std::uint64_t Overlay::uploads() const {
  return _impl->uploads();
}

OverlayPixels Overlay::paint() {
  const PixelRect damage = _impl->layer().paint();
  const Picture& picture = _impl->layer().picture();
  OverlayPixels pixels;
  pixels.damage = {damage.x, damage.y, damage.width, damage.height};
  if (picture.pixels.empty()) return pixels;
  pixels.pixels = picture.pixels.data();
  pixels.width = picture.width;
  pixels.height = picture.height;
  pixels.stride = picture.stride();
  return pixels;
}

std::unique_ptr<Overlay> attach(SDL_Window* window, SDL_Renderer* renderer, const AttachOptions& options) {
  const char* problem = problemWith(window);
  if (!problem && (!renderer || SDL_GetRenderer(window) != renderer)) problem = "this is not the window's renderer";
  if (problem) return SDL_SetError("oq::sdl::attach(): %s", problem), nullptr;
  return std::unique_ptr<Overlay>(new Overlay(std::make_unique<Overlay::Impl>(window, renderer, options)));
}

std::unique_ptr<Overlay> attach(SDL_Window* window, const AttachOptions& options) {
  if (const char* problem = problemWith(window)) return SDL_SetError("oq::sdl::attach(): %s", problem), nullptr;
  return std::unique_ptr<Overlay>(new Overlay(std::make_unique<Overlay::Impl>(window, nullptr, options)));
}

}  // namespace oq::sdl
