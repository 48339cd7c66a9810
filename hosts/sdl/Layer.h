// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <SDL.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>

#include "Host/HostSurface.h"
#include "sdl/Events.h"
#include "sdl/Host.h"
#include "sdl/Picture.h"

namespace oq::sdl {

/// The library's surface in one window of SDL: follows the window, takes input and paints. Main thread only.
class Layer final : private HostSurface::Client {
 public:
  /// `renderer` is nullptr for a window without one. `unitsPerPoint`: in units of SDL_GetWindowSize().
  Layer(std::shared_ptr<Host> host, SDL_Window* window, SDL_Renderer* renderer, double unitsPerPoint,
        double maximumScale);
  ~Layer();
  Layer(const Layer&) = delete;
  Layer& operator=(const Layer&) = delete;

  static bool isAttached(SDL_Window* window);

  bool handle(const SDL_Event& event);
  void update();
  int timeout() const;
  bool needsRender() const { return _needsFrame; }
  /// Paints into picture(), which is empty if there is nothing to show, and returns what has changed.
  PixelRect paint();
  const Picture& picture() const { return _picture; }
  /// Called when the renderer may have lost textures.
  std::function<void()> texturesLost;

 private:
  static constexpr std::int64_t kPointer = INT64_MIN;  ///< no finger has this number

  /// The window may have been destroyed.
  bool isAlive() const { return SDL_GetWindowFromID(_id) == _window; }
  void followWindow();
  CGPoint inPoints(const InputEvent& event) const;
  CGSize windowSize() const;
  bool handleInput(const InputEvent& event);
  bool press(const InputEvent& event);
  bool release(const InputEvent& event);
  bool move(const InputEvent& event);
  bool touch(const InputEvent& event);
  bool keyDown(const InputEvent& event, std::set<std::int64_t>& consumed);
  void followPointer();
  void showHand(bool isHand);

  void frameWanted() override { _needsFrame = true; }
  void stageChanged() override { _needsFrame = true; }
  void viewsChanged() override { followPointer(); }
  void dialogChanged(bool isShown) override;

  const std::shared_ptr<Host> _host;
  SDL_Window* const _window;
  const Uint32 _id;
  SDL_Renderer* const _renderer;
  const double _unitsPerPoint;
  HostSurface _surface;
  Picture _picture;
  bool _isPainted = false;  ///< the picture contains the last frame
  bool _needsFrame = true;
  bool _isVisible = false, _wasAlive = true;
  double _nextUpdate = 0;  ///< in seconds of the host's clock

  std::optional<CGPoint> _pointer;  ///< where the pointer is, in points, if no button was pressed outside a message
  /// The library has consumed the press that SDL copied from a finger to the mouse, or from the mouse to a finger.
  bool _hasCopiedPress = false, _hasCopiedTouch = false;
  std::set<std::int64_t> _mouseButtons, _keys, _controllerButtons;  ///< pressed, and consumed
  SDL_Cursor* _hand = nullptr;
  SDL_Cursor* _cursorBefore = nullptr;  ///< the program's, while the pointer is a hand
  bool _isHand = false;
  bool _hasMouse = false;                             ///< a dialog is shown
  bool _wasRelative = false, _wasCursorShown = true;  ///< the mouse before the dialog
};

}  // namespace oq::sdl
