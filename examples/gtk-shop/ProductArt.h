// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cairomm/context.h>

struct Color {
  double red, green, blue;
};

/// Draws a product that stands on the ground, in an area of artWidth by artHeight units.
using Drawing = void (*)(Cairo::Context& cr);

constexpr double artWidth = 200;
constexpr double artHeight = 150;

void drawMug(Cairo::Context& cr);
void drawLamp(Cairo::Context& cr);
void drawVase(Cairo::Context& cr);
void drawClock(Cairo::Context& cr);
void drawCandle(Cairo::Context& cr);
void drawBooks(Cairo::Context& cr);
void drawStool(Cairo::Context& cr);
void drawBowl(Cairo::Context& cr);
