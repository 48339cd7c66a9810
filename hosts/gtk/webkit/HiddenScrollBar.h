// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <webkit/webkit.h>

#include "Foundation/System/GLibReference.h"

namespace oq::gtk {

/// Keeps a page without a scroll bar until the user first moves the pointer over it, turns the wheel, touches it or
/// presses a key. Otherwise the engine would show the bar of a new page and fade it out two seconds later. The fading
/// takes a second, in which every frame would repaint the whole window. Main thread only.
class HiddenScrollBar {
 public:
  explicit HiddenScrollBar(WebKitWebView* view);
  ~HiddenScrollBar();
  HiddenScrollBar(const HiddenScrollBar&) = delete;
  HiddenScrollBar& operator=(const HiddenScrollBar&) = delete;

 private:
  void show();

  WebKitWebView* const _view;            ///< not owned; used while it delivers events
  ObjectRef<GtkEventController> _input;  ///< shared with the view
};

}  // namespace oq::gtk
