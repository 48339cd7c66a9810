// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Text/TextWarmUp.h"

#include <cairo.h>

#include <mutex>
#include <new>

#include "Dispatch/BackgroundTask.h"
#include "UIKit/Text/TextLayout.h"

namespace oq {

namespace {

void shapeFirstText() {
  // Fonts are loaded by requested name; these are the names that messages use.
  for (const UIFont& font : {UIFont::fontWithName("PingFangSC-Regular", 17), UIFont()}) {
    TextLayout layout({"Aa1 \u6d88\u606f\u3002", {8, NSTextAlignment::Justified}}, font, 100);
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_A8, 100, 40);
    cairo_t* cr = cairo_create(surface);
    layout.draw(cr, UIColor::blackColor(), CGRectMake(0, 0, 100, 40), 1, false);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
  }
}

}  // namespace

void warmUpText() {
  // Process exit waits for this task, because the text libraries free shared data then, even while another thread uses
  // it.
  static BackgroundTask task([] {
    try {
      shapeFirstText();
    } catch (const std::bad_alloc&) {  // the first window will load the fonts
    }
  });
  static std::once_flag once;
  std::call_once(once, [] { task.start(); });
}

}  // namespace oq
