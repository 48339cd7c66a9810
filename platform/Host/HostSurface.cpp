// SPDX-License-Identifier: Apache-2.0
#include "Host/HostSurface.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Host/DrawList.h"
#include "Host/SurfaceHost.h"
#include "UIKit/Painting/CairoPainter.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Windows/Accessibility.h"
#include "UIKit/Windows/Motion.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {

namespace {

/// Resizing counts as ended when the window has kept its size for this long, in seconds.
constexpr double kResizingPause = 0.2;
/// When the fingers leave a touchpad, the speed of the scrolling is the average over at most this time, in seconds.
constexpr double kScrollMemory = 0.1;
}  // namespace

HostSurface::HostSurface(SurfaceHost& host, Client& client, CGSize size, double pixelsPerPoint,
                         std::optional<double> maximumScale)
    : _host(host),
      _client(client),
      _scene(std::make_shared<UIScene>()),
      _stage(size, maximumScale),
      _pixelsPerPoint(pixelsPerPoint) {
  _window = makeHostWindow({{}, stage().size});
  _stage.setWindow(_window);
  rescale();
  _scene->addWindow(_window);
}

HostSurface::~HostSurface() {
  disconnect();
  cancelAllTouches();
}

void HostSurface::connect() {
  if (std::exchange(_isConnected, true)) return;
  // First, so that the main screen is known when observers are notified of the new scene.
  _host.add(*this);
  UIApplication::sharedApplication().connectScene(_scene);
}

void HostSurface::disconnect() {
  if (!std::exchange(_isConnected, false)) return;
  _host.remove(*this);
  UIApplication::sharedApplication().disconnectScene(_scene);
}

void HostSurface::setSize(CGSize size, double pixelsPerPoint) {
  const bool isResized = size != _stage.windowSize();
  const bool isRescaled = std::exchange(_pixelsPerPoint, pixelsPerPoint) != pixelsPerPoint;
  const bool isStageChanged = isResized && _stage.resize(size);
  if (isStageChanged || isRescaled) {
    rescale();
    _client.frameWanted();
  }
  if (isResized && _stage.isOutdated()) updateStageWhenResized();
}

void HostSurface::rescale() {
  _window->setContentScale(_stage.contentScale(_pixelsPerPoint));
  if (!_isConnected) return;
  _host.updateScreen();
  changeLater();
}

/// Gives the stage its required size, unless the window is being resized, or a message or an alert is shown.
void HostSurface::updateStage() {
  if (_resizes > 0 || !_stage.update()) return;
  rescale();
  _client.frameWanted();
  _client.stageChanged();
}

/// Treats a pause in the changes of size as the end of resizing, because most toolkits do not report the end.
void HostSurface::updateStageWhenResized() {
  ++_resizes;
  DispatchQueue::main().after(kResizingPause, [this, resizes = _resizes, alive = std::weak_ptr<bool>(_alive)] {
    if (!alive.expired() && resizes == _resizes) endResizing();
  });
}

void HostSurface::endResizing() {
  _resizes = 0;
  updateStage();
}

void HostSurface::setVisible(bool isVisible, bool needsFrame) {
  const UISceneVisibility before = _scene->visibility();
  // HeldBack: the system holds back the window's frames. A report that the window is visible does not change this; only
  // the next frame does.
  if (isVisible && (before == UISceneVisibility::OnScreen || before == UISceneVisibility::HeldBack)) return;
  const UISceneVisibility shown = needsFrame ? UISceneVisibility::Mapped : UISceneVisibility::OnScreen;
  UIApplication::sharedApplication().setSceneVisibility(*_scene, isVisible ? shown : UISceneVisibility::Hidden);
  // Requests the frame that shows that the window is visible.
  _client.frameWanted();
  changeLater();
}

void HostSurface::noteUse() {
  UIApplication::sharedApplication().sceneWasUsed(*_scene);
}

void HostSurface::setFocused(bool isFocused) {
  if (isFocused) {
    noteUse();
    _isFocused = true;
    const auto view = std::exchange(_unfocused, {}).lock();
    // A dialog may have opened above the view in the meantime.
    if (isReachable(view) && !_window->focusedView()) _window->setFocusedView(view);
  } else if (std::exchange(_isFocused, false)) {
    _unfocused = _window->focusedView();
    _window->setFocusedView(nullptr);
  }
}

/// Whether the view is an element of the window, and no dialog covers it.
bool HostSurface::isReachable(const std::shared_ptr<UIView>& view) const {
  const auto dialog = frontmostDialog(*_window);
  const auto elements = accessibilityElements(dialog ? dialog : std::static_pointer_cast<UIView>(_window));
  return std::find(elements.begin(), elements.end(), view) != elements.end();
}

/// If the window does not have the keyboard focus, the view is focused only when the window gets it.
void HostSurface::focus(const std::shared_ptr<UIView>& view) {
  if (_isFocused) return _window->setFocusedView(view);
  _unfocused = view;
}

void HostSurface::noteHostFocus(HostFocus focus) {
  _focusMemory.setHostFocus(std::move(focus));
}

void HostSurface::treeChanged() {
  _frameWanted = true;
  _client.frameWanted();
  changeLater();
}

void HostSurface::changeLater() {
  if (std::exchange(_isChanging, true)) return;
  DispatchQueue::main().async([this, alive = std::weak_ptr<bool>(_alive)] {
    if (alive.expired()) return;
    _isChanging = false;
    reportChanges();
  });
}

/// The client may destroy the surface in each of its functions that report a change.
void HostSurface::reportChanges() {
  const std::weak_ptr<bool> alive = _alive;
  updateStage();
  if (!alive.expired()) updateDialog();
  const bool wantsElements = !alive.expired() && _client.wantsElements();
  if (wantsElements && _elements.update(_window, stage())) _client.elementsChanged(_elements.tree());
  if (!alive.expired()) _client.viewsChanged();
}

void HostSurface::updateDialog() {
  const auto dialog = frontmostDialog(*_window);
  if (_dialog.lock() == dialog && _hasDialog == (dialog != nullptr)) return;
  _dialog = dialog;
  _hasDialog = dialog != nullptr;
  const FocusMemory::Place now{_isFocused ? _window->focusedView() : _unfocused.lock(), _client.hostFocus()};
  const auto before = _focusMemory.dialogChanged(dialog, now);
  if (dialog && !before) return _client.dialogChanged(true);
  const std::weak_ptr<bool> alive = _alive;
  if (const auto view = before ? before->view.lock() : nullptr) {
    if (!now.host) focus(view);
  } else if (before && before->host) {
    _client.restoreFocus(before->host);
  }
  if (!dialog && !alive.expired()) _client.dialogChanged(false);
}

PaintedFrame HostSurface::paint(const PixelBuffer& buffer, double time) {
  const PaintedFrame frame = _frames.paint(_stage, buffer, _pixelsPerPoint, time);
  if (buffer.isValid()) noteFrame();
  return frame;
}

PixelRect HostSurface::pixelSize() const {
  const auto pixels = [this](double points) {
    const double length = nearestPixel(points * _pixelsPerPoint);
    return static_cast<int>(std::clamp<double>(length, 1, PixelBuffer::largestSide));
  };
  return {0, 0, pixels(_stage.windowSize().width), pixels(_stage.windowSize().height)};
}

bool HostSurface::isEmpty() const {
  // Otherwise a host that hides its layer would never paint the frame for which messages wait.
  if (isAnimating() || isMappedUnseen()) return false;
  DrawList list(1);
  _stage.paint(list, _host.now());
  return list.isEmpty();
}

bool HostSurface::isAnimating() const {
  const auto& views = AnimationEngine::shared().views();
  return std::any_of(views.begin(), views.end(), [this](UIView* view) { return view->window() == _window.get(); });
}

void HostSurface::paint(Painter& painter, double time) {
  _stage.paint(painter, time);
  noteFrame();
}

/// Reports the frame in a queued block, because the tree must not change while it is painted.
void HostSurface::noteFrame() {
  _frameWanted = false;
  _lastFrame = _host.now();
  if (_isNoting || !isMappedUnseen()) return;
  _isNoting = true;
  DispatchQueue::main().async([this, alive = std::weak_ptr<bool>(_alive)] {
    if (alive.expired()) return;
    _isNoting = false;
    if (!isMappedUnseen()) return;
    changeLater();
    UIApplication::sharedApplication().setSceneVisibility(*_scene, UISceneVisibility::OnScreen);
  });
}

bool HostSurface::isMappedUnseen() const {
  const UISceneVisibility visibility = _scene->visibility();
  return visibility == UISceneVisibility::Mapped || visibility == UISceneVisibility::HeldBack;
}

bool HostSurface::awaitsFrame(double since) const {
  return (_frameWanted || _paintsContinuously) && _lastFrame < since &&
         _scene->visibility() == UISceneVisibility::OnScreen && !isEmpty();
}

void HostSurface::checkFrames(double since) {
  if (!awaitsFrame(since)) return;
  UIApplication::sharedApplication().setSceneVisibility(*_scene, UISceneVisibility::HeldBack);
  _client.frameWanted();
}

bool HostSurface::covers(CGPoint point) const {
  return _window->wantsTouchAt(inStage(point));
}

// A view may close the window during a touch, so each function below keeps the window alive until it returns.

bool HostSurface::touchBegan(std::int64_t identifier, CGPoint point) {
  touchCancelled(identifier);
  if (!covers(point)) return false;
  const auto window = _window;
  const std::weak_ptr<bool> alive = _alive;
  const int number = ++_lastTouch;
  // Recorded first, because the view may close the window.
  _touches[identifier] = {number, true};
  const bool isTaken = window->touchBegan(number, inStage(point), _host.now());
  if (alive.expired()) return true;
  if (const auto touch = _touches.find(identifier); touch != _touches.end()) touch->second.isTaken = isTaken;
  return true;
}

bool HostSurface::touchMoved(std::int64_t identifier, CGPoint point) {
  const auto window = _window;
  const auto touch = _touches.find(identifier);
  if (touch == _touches.end()) return false;
  if (touch->second.isTaken) window->touchMoved(touch->second.number, inStage(point), _host.now());
  return true;
}

bool HostSurface::touchEnded(std::int64_t identifier, CGPoint point) {
  const auto window = _window;
  const auto touch = _touches.extract(identifier);
  if (!touch) return false;
  if (touch.mapped().isTaken) window->touchEnded(touch.mapped().number, inStage(point), _host.now());
  return true;
}

bool HostSurface::touchCancelled(std::int64_t identifier) {
  const auto window = _window;
  const auto touch = _touches.extract(identifier);
  if (!touch) return false;
  if (touch.mapped().isTaken) window->touchCancelled(touch.mapped().number);
  return true;
}

void HostSurface::cancelAllTouches() {
  while (!_touches.empty()) touchCancelled(_touches.begin()->first);
}

bool HostSurface::pointerMoved(std::optional<CGPoint> point) {
  return _window->pointerMoved(point ? std::optional(inStage(*point)) : std::nullopt);
}

bool HostSurface::scroll(CGPoint point, double dx, double dy) {
  if (!covers(point)) return false;
  const auto window = _window;
  // The result is ignored: even if no view used the scrolling, the widgets below must not scroll.
  window->scroll(inStage(point), dx / stage().scale, dy / stage().scale);
  return true;
}

void HostSurface::forgetScrollingBefore(double time) {
  std::erase_if(_scrolled, [&](const Scrolled& earlier) { return earlier.time < time; });
}

bool HostSurface::scrollByTouchpad(CGPoint point, double dx, double dy, double time) {
  forgetScrollingBefore(time - kScrollMemory);
  _scrolled.push_back({time, dx, dy});
  return scroll(point, dx, dy);
}

bool HostSurface::touchpadReleased(CGPoint point, double time) {
  forgetScrollingBefore(time - kScrollMemory);
  const auto scrolled = std::exchange(_scrolled, {});
  const double elapsed = scrolled.empty() ? 0 : time - scrolled.front().time;
  if (!covers(point)) return false;
  if (elapsed <= 0) return true;
  double dx = 0, dy = 0;
  for (const Scrolled& each : scrolled) {
    dx += each.dx;
    dy += each.dy;
  }
  const auto window = _window;
  window->fling(inStage(point), dx / elapsed / stage().scale, dy / elapsed / stage().scale);
  return true;
}

bool HostSurface::hasDialog() const {
  return frontmostDialog(*_window) != nullptr;
}

bool HostSurface::press(KeyboardKey key) {
  const auto window = _window;
  return hasDialog() && window->pressKey(key);
}

std::shared_ptr<UIView> HostSurface::pressable(std::uint64_t element) const {
  const auto view = _elements.viewOf(element);
  return view && canBecomeFocused(*view) && isReachable(view) ? view : nullptr;
}

bool HostSurface::activate(std::uint64_t element) {
  const auto window = _window;
  const auto view = pressable(element);
  if (!view) return false;
  focus(view);
  // As with keys, nothing in a dialog can be pressed while the dialog is animated.
  const auto dialog = frontmostDialog(*window);
  return !(dialog && isInMotion(*dialog)) && view->accessibilityActivate();
}

void HostSurface::setElementFocused(std::uint64_t element, bool isFocused) {
  if (isFocused) {
    if (const auto view = pressable(element)) focus(view);
    return;
  }
  const auto view = _elements.viewOf(element);
  if (view && _window->focusedView() == view) _window->setFocusedView(nullptr);
}

}  // namespace oq
