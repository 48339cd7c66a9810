// SPDX-License-Identifier: Apache-2.0
#include "sdl/Layer.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace oq::sdl {

namespace {

constexpr const char* kAttached = "oqsdk-overlay";
constexpr double kWheelNotch = 60;  // in points
/// How long update() may run blocks, in seconds: a quarter of a frame. The rest runs in the next pass of the loop.
constexpr double kBudget = 0.004;

CGSize sizeInPoints(SDL_Window* window, double unitsPerPoint) {
  int width = 0, height = 0;
  SDL_GetWindowSize(window, &width, &height);
  return {width / unitsPerPoint, height / unitsPerPoint};
}

double pixelsPerPoint(SDL_Window* window, double unitsPerPoint) {
  int width = 0, pixels = 0;
  SDL_GetWindowSize(window, &width, nullptr);
  SDL_GetWindowSizeInPixels(window, &pixels, nullptr);
  return width > 0 && pixels > 0 ? unitsPerPoint * pixels / width : unitsPerPoint;
}

}  // namespace

Layer::Layer(std::shared_ptr<Host> host, SDL_Window* window, SDL_Renderer* renderer, double unitsPerPoint,
             double maximumScale)
    : _host(std::move(host)),
      _window(window),
      _id(SDL_GetWindowID(window)),
      _renderer(renderer),
      _unitsPerPoint(unitsPerPoint),
      _surface(*_host, *this, sizeInPoints(window, unitsPerPoint), pixelsPerPoint(window, unitsPerPoint),
               maximumScale) {
  SDL_SetWindowData(_window, kAttached, this);
  _surface.connect();
  _surface.setFocused((SDL_GetWindowFlags(_window) & SDL_WINDOW_INPUT_FOCUS) != 0);
  followWindow();
}

Layer::~Layer() {
  if (isAlive()) {
    SDL_SetWindowData(_window, kAttached, nullptr);
    showHand(false);
    if (_hasMouse) dialogChanged(false);
  }
  if (_hand && SDL_WasInit(SDL_INIT_VIDEO)) SDL_FreeCursor(_hand);
  _surface.disconnect();
  _surface.cancelAllTouches();
}

bool Layer::isAttached(SDL_Window* window) {
  return SDL_GetWindowData(window, kAttached) != nullptr;
}

// ---- The window

CGSize Layer::windowSize() const {
  return sizeInPoints(_window, _unitsPerPoint);
}

/// Looks at the window itself, because a program need not pass all events of the window.
void Layer::followWindow() {
  _surface.setSize(windowSize(), pixelsPerPoint(_window, _unitsPerPoint));
  const bool isVisible = !(SDL_GetWindowFlags(_window) & (SDL_WINDOW_HIDDEN | SDL_WINDOW_MINIMIZED));
  if (isVisible == _isVisible) return;
  _isVisible = isVisible;
  _surface.setVisible(isVisible);
  if (!isVisible) _surface.cancelAllTouches();
}

void Layer::update() {
  if (isAlive()) {
    followWindow();
  } else if (std::exchange(_wasAlive, false)) {
    _surface.setVisible(false);
    _surface.disconnect();
    _surface.cancelAllTouches();
  }
  const double wait = _host->pump(kBudget);
  _nextUpdate = _host->now() + wait;
}

int Layer::timeout() const {
  if (_needsFrame && isAlive()) return 0;
  const double wait = _nextUpdate - _host->now();
  if (wait <= 0) return 0;
  return std::isfinite(wait) ? static_cast<int>(std::ceil(std::min(1e3 * wait, 1e6))) : -1;
}

PixelRect Layer::paint() {
  _needsFrame = false;
  if (!isAlive()) return _picture = {}, PixelRect{};
  if (_surface.isEmpty() && _picture.pixels.empty()) return {};
  int width = 0, height = 0;
  SDL_GetWindowSizeInPixels(_window, &width, &height);
  const auto count = static_cast<std::size_t>(std::max(width, 0)) * static_cast<std::size_t>(std::max(height, 0));
  if (width != _picture.width || height != _picture.height || count != _picture.pixels.size()) _isPainted = false;
  _picture.pixels.resize(count);
  _picture.width = width;
  _picture.height = height;
  const PixelBuffer buffer{_picture.pixels.data(), width, height, _picture.stride(), _isPainted, 0};
  if (count == 0 || !buffer.isValid()) return {};
  const PaintedFrame frame = _surface.paint(buffer, _host->now());
  _isPainted = frame.result != PaintedFrame::Result::Nothing;
  if (!_isPainted) _picture = {};
  return frame.damage;
}

// ---- Input

/// SDL changes the positions of its events if the renderer has a logical size.
CGPoint Layer::inPoints(const InputEvent& event) const {
  const bool isFinger = event.kind == InputEvent::Kind::TouchBegan || event.kind == InputEvent::Kind::TouchMoved ||
                        event.kind == InputEvent::Kind::TouchEnded;
  int logicalWidth = 0, logicalHeight = 0;
  if (_renderer && SDL_GetRenderer(_window) == _renderer && event.kind != InputEvent::Kind::Scroll)
    SDL_RenderGetLogicalSize(_renderer, &logicalWidth, &logicalHeight);
  if (logicalWidth > 0) {
    const double x = isFinger ? event.point.x * logicalWidth : event.point.x;
    const double y = isFinger ? event.point.y * logicalHeight : event.point.y;
    int windowX = 0, windowY = 0;
    SDL_RenderLogicalToWindow(_renderer, static_cast<float>(x), static_cast<float>(y), &windowX, &windowY);
    return {windowX / _unitsPerPoint, windowY / _unitsPerPoint};
  }
  if (!isFinger) return {event.point.x / _unitsPerPoint, event.point.y / _unitsPerPoint};
  const CGSize size = windowSize();
  return {event.point.x * size.width, event.point.y * size.height};
}

bool Layer::handle(const SDL_Event& event) {
  const auto input = translate(event, _host->wakeType());
  if (!input) return false;
  if (input->kind == InputEvent::Kind::Wake) {
    _host->noteWake();
    return true;
  }
  if (!isAlive() || (input->window != 0 && input->window != _id)) return false;
  return handleInput(*input);
}

bool Layer::handleInput(const InputEvent& event) {
  using Kind = InputEvent::Kind;
  switch (event.kind) {
    case Kind::Press:
      return press(event);
    case Kind::Release:
      return release(event);
    case Kind::Move:
      return move(event);
    case Kind::TouchBegan:
    case Kind::TouchMoved:
    case Kind::TouchEnded:
      return touch(event);
    case Kind::Scroll:
      return _surface.scroll(inPoints(event), kWheelNotch * event.dx, kWheelNotch * event.dy);
    case Kind::KeyDown:
      return keyDown(event, _keys);
    case Kind::KeyUp:
      return _keys.erase(event.number) > 0;
    case Kind::ButtonDown:
      return keyDown(event, _controllerButtons);
    case Kind::ButtonUp:
      return _controllerButtons.erase(event.number) > 0;
    case Kind::Other:
      return _surface.hasDialog();
    case Kind::Leave:
      _pointer.reset();
      followPointer();
      return false;
    case Kind::Focused:
    case Kind::Unfocused:
      _surface.setFocused(event.kind == Kind::Focused);
      return false;
    case Kind::TexturesLost:
      if (texturesLost) texturesLost();
      _needsFrame = true;
      return false;
    case Kind::Wake:
      break;
  }
  return false;
}

bool Layer::press(const InputEvent& event) {
  const CGPoint point = inPoints(event);
  if (event.isCopy) return _hasCopiedPress = _surface.covers(point);
  _surface.noteUse();
  const bool isOurs = event.isPrimary ? _surface.touchBegan(kPointer, point) : _surface.covers(point);
  if (isOurs) _mouseButtons.insert(event.number);
  return isOurs;
}

bool Layer::release(const InputEvent& event) {
  if (event.isCopy) return std::exchange(_hasCopiedPress, false);
  const bool isOurs = _mouseButtons.erase(event.number) > 0;
  if (event.isPrimary) _surface.touchEnded(kPointer, inPoints(event));
  followPointer();
  return isOurs;
}

bool Layer::move(const InputEvent& event) {
  if (event.isCopy) return _hasCopiedPress;
  _pointer = inPoints(event);
  if (_surface.hasTouch(kPointer)) {
    // Released where SDL did not see it.
    if (!event.isPrimary) return _mouseButtons.clear(), _surface.touchCancelled(kPointer);
    return _surface.touchMoved(kPointer, *_pointer);
  }
  if (event.isPrimary) return false;  // the program drags something
  followPointer();
  return _pointer && _surface.covers(*_pointer);
}

bool Layer::touch(const InputEvent& event) {
  const CGPoint point = inPoints(event);
  const bool isBeginning = event.kind == InputEvent::Kind::TouchBegan;
  if (event.isCopy) {
    if (isBeginning) _hasCopiedTouch = _surface.covers(point);
    const bool isOurs = _hasCopiedTouch;
    if (event.kind == InputEvent::Kind::TouchEnded) _hasCopiedTouch = false;
    return isOurs;
  }
  if (isBeginning) {
    _surface.noteUse();
    return _surface.touchBegan(event.number, point);
  }
  return event.kind == InputEvent::Kind::TouchMoved ? _surface.touchMoved(event.number, point)
                                                    : _surface.touchEnded(event.number, point);
}

/// While a dialog is shown, the library consumes all keys. Their release is consumed too, even if it comes when the
/// dialog has closed. The release of a key that was pressed before the dialog belongs to the program.
bool Layer::keyDown(const InputEvent& event, std::set<std::int64_t>& consumed) {
  if (!_surface.hasDialog()) return event.isRepeated && consumed.count(event.number) > 0;
  if (event.isRepeated && consumed.count(event.number) == 0) return true;
  consumed.insert(event.number);
  const bool isAction = event.key == KeyboardKey::Return || event.key == KeyboardKey::Escape;
  if (event.key && !(event.isRepeated && isAction)) _surface.press(*event.key);
  return true;
}

void Layer::followPointer() {
  const bool isOver = _pointer && _surface.covers(*_pointer);
  const bool isHand = _surface.pointerMoved(isOver ? _pointer : std::nullopt);
  if (isAlive()) showHand(isHand);
}

void Layer::showHand(bool isHand) {
  if (isHand == _isHand) return;
  _isHand = isHand;
  if (!isHand) return SDL_SetCursor(_cursorBefore);
  if (!_hand) _hand = SDL_CreateSystemCursor(SDL_SYSTEM_CURSOR_HAND);
  _cursorBefore = SDL_GetCursor();
  SDL_SetCursor(_hand);
}

/// A message needs a pointer, which many games hide.
void Layer::dialogChanged(bool isShown) {
  if (!isAlive()) return;
  _hasMouse = isShown;
  if (isShown) {
    _wasRelative = SDL_GetRelativeMouseMode();
    _wasCursorShown = SDL_ShowCursor(SDL_QUERY) == SDL_ENABLE;
    if (_wasRelative) SDL_SetRelativeMouseMode(SDL_FALSE);
    SDL_ShowCursor(SDL_ENABLE);
    return;
  }
  if (!_wasCursorShown) SDL_ShowCursor(SDL_DISABLE);
  if (_wasRelative) SDL_SetRelativeMouseMode(SDL_TRUE);
}

}  // namespace oq::sdl
