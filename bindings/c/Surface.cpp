// SPDX-License-Identifier: Apache-2.0
#include "c/Surface.h"

#include <memory>
#include <string>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Host/HostSurface.h"
#include "c/Guard.h"
#include "c/Handles.h"
#include "c/ProgramHost.h"
#include "c/Structs.h"

using namespace oq;
using namespace oq::c;

struct oq_surface final : private HostSurface::Client {
 public:
  oq_surface(const oq_surface_options& options, CGSize size)
      : _options(options),
        _caller(std::make_shared<CallerData>(options.data)),
        _surface(ProgramHost::required(), *this, size, options.pixels_per_point, options.maximum_scale) {
    _surface.connect();
    _surface.setVisible(true);
  }
  ~oq_surface() { _surface.disconnect(); }

  HostSurface& layer() { return _surface; }
  /// From now on the callbacks are called with this handle. Before, the program does not know it.
  void accept(oq_surface* handle) {
    _handle = handle;
    _caller->accept(_options.release);
  }
  void requestFrame() { notify(_options.frame_wanted); }
  /// Afterwards no callback is called. Drops the reference to the data of the callbacks.
  void mute() {
    _options.frame_wanted = nullptr;
    _options.changed = nullptr;
    _caller = nullptr;
  }

 private:
  void frameWanted() override { requestFrame(); }
  void viewsChanged() override { notify(_options.changed); }
  void stageChanged() override { requestFrame(); }
  void notify(void (*callback)(oq_surface*, void*)) {
    if (!callback || !_handle) return;
    const CallScope scope;
    const auto caller = _caller;  // the callback may free the surface
    callHost([&] { callback(_handle, caller->get()); });
  }

  oq_surface_options _options;
  std::shared_ptr<CallerData> _caller;
  oq_surface* _handle = nullptr;
  HostSurface _surface;
};

namespace {

Handles<oq_surface>& surfaces() {
  static auto& all = *new Handles<oq_surface>("The surface");
  return all;
}

CGSize checkedSize(double width, double height) {
  const auto isLength = [](double length) { return length >= 0 && length <= PixelBuffer::largestSide; };
  if (!isLength(width) || !isLength(height))
    throw Failure(OQ_ERROR_ARGUMENT, "The size is not between 0 and 32767 points.");
  return {width, height};
}

void checkScale(double scale, const char* name) {
  if (!(scale > 0 && scale <= 100)) throw Failure(OQ_ERROR_ARGUMENT, std::string(name) + " is not above 0, up to 100.");
}

/// Runs the body with the layer of a surface. The surface exists until the body has ended, even if a callback frees it.
template <class Body>
auto withLayer(oq_surface* surface, Body&& body) {
  requireMainThread();
  const auto kept = surfaces().get(surface);
  return body(kept->layer());
}

template <class Body>
bool input(oq_surface* surface, Body&& body) {
  return callOr(false, [&]() -> bool { return withLayer(surface, body); });
}

CGPoint checkedPoint(double x, double y) {
  requireFinite(x, "x");
  requireFinite(y, "y");
  return {x, y};
}

bool touch(HostSurface& layer, std::int64_t finger, int phase, CGPoint point) {
  switch (phase) {
    case OQ_TOUCH_BEGAN:
      layer.noteUse();
      return layer.touchBegan(finger, point);
    case OQ_TOUCH_MOVED:
      return layer.touchMoved(finger, point);
    case OQ_TOUCH_ENDED:
      return layer.touchEnded(finger, point);
    case OQ_TOUCH_CANCELLED:
      return layer.touchCancelled(finger);
  }
  throw Failure(OQ_ERROR_ARGUMENT, "There is no such phase of a touch.");
}

oq_element described(const AccessibleElement& element) {
  static_assert(static_cast<int>(AccessibleRole::Text) == OQ_ROLE_TEXT);
  oq_element result{};
  result.size = sizeof result;
  result.id = element.id;
  result.role = static_cast<oq_role>(element.role);
  result.name = element.name.c_str();
  result.description = element.description.c_str();
  result.x = element.frame.origin.x;
  result.y = element.frame.origin.y;
  result.width = element.frame.size.width;
  result.height = element.frame.size.height;
  result.takes_input = element.takesInput;
  result.is_enabled = element.isEnabled;
  result.is_focused = element.isFocused;
  return result;
}

void remove(std::shared_ptr<oq_surface> surface) {
  surface->mute();
  // During a callback, the functions that called it may still use the surface. It is destroyed later, on the main
  // queue.
  if (CallScope::isNested()) DispatchQueue::main().async([surface = std::move(surface)] {});
}

}  // namespace

void oq::c::freeSurfaces() {
  for (auto& surface : surfaces().takeAll()) remove(std::move(surface));
}

extern "C" {

oq_surface* oq_surface_new(const oq_surface_options* options) {
  return callOr<oq_surface*>(nullptr, [&] {
    requireMainThread();
    ProgramHost::required();
    const auto given = readStruct(options, OQ_FIRST_SIZE(oq_surface_options, changed), "options");
    const CGSize size = checkedSize(given.width, given.height);
    checkScale(given.pixels_per_point, "pixels_per_point");
    checkScale(given.maximum_scale, "maximum_scale");
    const auto surface = std::make_shared<oq_surface>(given, size);
    // The first request for a frame comes from the main queue, when the program knows the handle.
    DispatchQueue::main().async([opened = std::weak_ptr(surface)] {
      if (const auto alive = opened.lock()) alive->requestFrame();
    });
    oq_surface* handle = surfaces().add(surface);
    surface->accept(handle);
    return handle;
  });
}

oq_result oq_surface_free(oq_surface* surface) {
  return call([&] {
    requireMainThread();
    if (surface) remove(surfaces().take(surface));
  });
}

oq_result oq_surface_set_size(oq_surface* surface, double width, double height, double pixels_per_point) {
  return call([&] {
    withLayer(surface, [&](HostSurface& layer) {
      const CGSize size = checkedSize(width, height);
      checkScale(pixels_per_point, "pixels_per_point");
      layer.setSize(size, pixels_per_point);
    });
  });
}

oq_result oq_surface_set_visible(oq_surface* surface, bool visible) {
  return call([&] { withLayer(surface, [&](HostSurface& layer) { layer.setVisible(visible); }); });
}

oq_result oq_surface_set_focused(oq_surface* surface, bool focused) {
  return call([&] { withLayer(surface, [&](HostSurface& layer) { layer.setFocused(focused); }); });
}

oq_frame oq_surface_paint(oq_surface* surface, const oq_buffer* buffer, oq_rect* damage) {
  return callOr(OQ_FRAME_ERROR, [&] {
    return withLayer(surface, [&](HostSurface& layer) {
      const auto given =
          readStruct(buffer, OQ_FIRST_SIZE(oq_buffer, reserved), "buffer", {&oq_buffer::holds_last_frame});
      const PixelBuffer pixels{given.pixels,           given.width,     given.height, given.stride,
                               given.holds_last_frame, given.background};
      if (!pixels.isValid()) throw Failure(OQ_ERROR_ARGUMENT, "The buffer's pixels, size or stride are not valid.");
      const PaintedFrame frame = layer.paint(pixels, ProgramHost::required().now());
      if (damage) *damage = {frame.damage.x, frame.damage.y, frame.damage.width, frame.damage.height};
      switch (frame.result) {
        case PaintedFrame::Result::Changed:
          return OQ_FRAME_CHANGED;
        case PaintedFrame::Result::Same:
          return OQ_FRAME_SAME;
        case PaintedFrame::Result::Nothing:
          break;
      }
      return OQ_FRAME_NOTHING;
    });
  });
}

oq_result oq_surface_pixel_size(oq_surface* surface, int32_t* width, int32_t* height) {
  return call([&] {
    withLayer(surface, [&](HostSurface& layer) {
      if (!width || !height) throw Failure(OQ_ERROR_ARGUMENT, "width or height is NULL.");
      const PixelRect size = layer.pixelSize();
      *width = size.width;
      *height = size.height;
    });
  });
}

uint32_t oq_surface_state(oq_surface* surface) {
  return callOr(std::uint32_t{0}, [&] {
    return withLayer(surface, [](HostSurface& layer) {
      std::uint32_t state = 0;
      if (layer.isEmpty()) state |= OQ_SURFACE_EMPTY;
      if (layer.isAnimating()) state |= OQ_SURFACE_ANIMATING;
      if (layer.hasDialog()) state |= OQ_SURFACE_DIALOG;
      return state;
    });
  });
}

bool oq_surface_touch(oq_surface* surface, int64_t finger, int phase, double x, double y) {
  return input(surface, [&](HostSurface& layer) {
    // The position of a cancelled touch does not matter.
    return touch(layer, finger, phase, phase == OQ_TOUCH_CANCELLED ? CGPoint{} : checkedPoint(x, y));
  });
}

bool oq_surface_pointer(oq_surface* surface, bool inside, double x, double y) {
  return input(surface, [&](HostSurface& layer) {
    return layer.pointerMoved(inside ? std::optional(checkedPoint(x, y)) : std::nullopt);
  });
}

bool oq_surface_scroll(oq_surface* surface, double x, double y, double dx, double dy) {
  return input(surface, [&](HostSurface& layer) {
    requireFinite(dx, "dx");
    requireFinite(dy, "dy");
    return layer.scroll(checkedPoint(x, y), dx, dy);
  });
}

bool oq_surface_key(oq_surface* surface, int key) {
  return input(surface, [&](HostSurface& layer) {
    static_assert(static_cast<int>(KeyboardKey::End) == OQ_KEY_END);
    if (key < OQ_KEY_TAB || key > OQ_KEY_OTHER) throw Failure(OQ_ERROR_ARGUMENT, "There is no such key.");
    return key == OQ_KEY_OTHER ? layer.hasDialog() : layer.press(static_cast<KeyboardKey>(key));
  });
}

bool oq_surface_covers(oq_surface* surface, double x, double y) {
  return input(surface, [&](HostSurface& layer) { return layer.covers(checkedPoint(x, y)); });
}

oq_result oq_surface_list_elements(oq_surface* surface, void (*element)(const oq_element* element, void* data),
                                   void* data) {
  return call([&] {
    if (!element) throw Failure(OQ_ERROR_ARGUMENT, "element is NULL.");
    AccessibleTree tree;
    withLayer(surface, [&](HostSurface& layer) { tree = layer.currentAccessibleTree(); });
    if (tree.dialog) tree.elements.insert(tree.elements.begin(), *tree.dialog);
    for (const AccessibleElement& each : tree.elements) {
      const oq_element given = described(each);
      callHost([&] { element(&given, data); });
    }
  });
}

bool oq_surface_activate(oq_surface* surface, uint64_t element) {
  return input(surface, [&](HostSurface& layer) { return layer.activate(element); });
}

}  // extern "C"
