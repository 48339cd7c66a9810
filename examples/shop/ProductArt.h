// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cairo.h>

struct Color {
  double red, green, blue;
};

/// Draws a product that stands on the ground, in an area of artWidth by artHeight units.
using Drawing = void (*)(cairo_t* cr);

constexpr double artWidth = 200;
constexpr double artHeight = 150;

void drawMug(cairo_t* cr);
void drawLamp(cairo_t* cr);
void drawVase(cairo_t* cr);
void drawClock(cairo_t* cr);
void drawCandle(cairo_t* cr);
void drawBooks(cairo_t* cr);
void drawStool(cairo_t* cr);
void drawBowl(cairo_t* cr);
