// SPDX-License-Identifier: Apache-2.0
#include "Picture.h"

#include <SDL_opengl.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>

namespace {

struct Color {
  float red, green, blue, alpha = 1;
};
constexpr Color kSkyTop{0.10f, 0.12f, 0.30f}, kSkyBottom{0.98f, 0.62f, 0.42f}, kHill{0.20f, 0.22f, 0.42f},
    kNearHill{0.13f, 0.15f, 0.31f}, kGround{0.08f, 0.10f, 0.22f}, kWhite{1, 1, 1}, kCart{0.93f, 0.30f, 0.34f},
    kCartDark{0.72f, 0.18f, 0.26f};
constexpr Color kParcels[] = {
    {0.98f, 0.80f, 0.35f}, {0.42f, 0.80f, 0.70f}, {0.55f, 0.66f, 0.98f}, {0.96f, 0.56f, 0.66f}};

void use(const Color& color, float alpha = 1) {
  glColor4f(color.red, color.green, color.blue, color.alpha * alpha);
}

void rectangle(double x, double y, double width, double height, const Color& top, const Color& bottom) {
  glBegin(GL_QUADS);
  use(top);
  glVertex2d(x, y);
  glVertex2d(x + width, y);
  use(bottom);
  glVertex2d(x + width, y + height);
  glVertex2d(x, y + height);
  glEnd();
}

void rectangle(double x, double y, double width, double height, const Color& color) {
  rectangle(x, y, width, height, color, color);
}

void disc(double x, double y, double radius, const Color& middle, const Color& edge) {
  glBegin(GL_TRIANGLE_FAN);
  use(middle);
  glVertex2d(x, y);
  use(edge);
  for (int i = 0; i <= 40; ++i) glVertex2d(x + radius * std::cos(i * M_PI / 20), y + radius * std::sin(i * M_PI / 20));
  glEnd();
}

/// Hills like a sum of two waves, from `top` down to the bottom of the field.
void hills(double top, double size, double shift, double bottom, const Color& color) {
  glBegin(GL_TRIANGLE_STRIP);
  use(color);
  for (int i = 0; i <= 60; ++i) {
    const double x = i / 60.0;
    glVertex2d(x, top + size * (std::sin(7 * x + shift) + 0.5 * std::sin(17 * x + 2 * shift)));
    glVertex2d(x, bottom);
  }
  glEnd();
}

void parcel(const Game::Parcel& parcel) {
  const double size = Game::parcelSize, x = parcel.x - size / 2, y = parcel.y - size / 2;
  const Color& color = kParcels[parcel.kind % 4];
  const Color shade{color.red * 0.8f, color.green * 0.8f, color.blue * 0.8f};
  rectangle(x, y, size, size, color, shade);
  rectangle(x + 0.42 * size, y, 0.16 * size, size, kWhite);
  rectangle(x, y + 0.38 * size, size, 0.16 * size, kWhite);
  disc(parcel.x - 0.14 * size, y - 0.06 * size, 0.15 * size, kWhite, kWhite);
  disc(parcel.x + 0.14 * size, y - 0.06 * size, 0.15 * size, kWhite, kWhite);
}

void cart(double x) {
  const double width = Game::cartWidth, left = x - width / 2, top = Game::cartTop;
  rectangle(left, top, width, 0.07, kCart, kCartDark);
  rectangle(left - 0.012, top - 0.012, width + 0.024, 0.018, kWhite);
  const Color tyre{0.05f, 0.06f, 0.12f};
  for (double wheel : {left + 0.045, left + width - 0.045}) {
    disc(wheel, top + 0.085, 0.028, tyre, tyre);
    disc(wheel, top + 0.085, 0.012, kWhite, kWhite);
  }
}

/// Letters of 5 x 7 squares, a byte for each row.
const std::map<char, std::string>& letters() {
  static const std::map<char, std::string> all = {
      {'A', "\x0e\x11\x11\x1f\x11\x11\x11"}, {'C', "\x0e\x11\x10\x10\x10\x11\x0e"},
      {'D', "\x1e\x11\x11\x11\x11\x11\x1e"}, {'E', "\x1f\x10\x10\x1e\x10\x10\x1f"},
      {'L', "\x10\x10\x10\x10\x10\x10\x1f"}, {'N', "\x11\x19\x15\x13\x11\x11\x11"},
      {'O', "\x0e\x11\x11\x11\x11\x11\x0e"}, {'P', "\x1e\x11\x11\x1e\x10\x10\x10"},
      {'R', "\x1e\x11\x11\x1e\x14\x12\x11"}, {'S', "\x0f\x10\x10\x0e\x01\x01\x1e"},
      {'V', "\x11\x11\x11\x11\x11\x0a\x04"}, {'1', "\x04\x0c\x04\x04\x04\x04\x0e"},
      {'2', "\x0e\x11\x01\x02\x04\x08\x1f"}, {'3', "\x1e\x01\x01\x0e\x01\x01\x1e"},
      {'4', "\x02\x06\x0a\x12\x1f\x02\x02"}, {'5', "\x1f\x10\x1e\x01\x01\x11\x0e"},
      {'6', "\x06\x08\x10\x1e\x11\x11\x0e"}, {'7', "\x1f\x01\x02\x04\x08\x08\x08"},
      {'8', "\x0e\x11\x11\x0e\x11\x11\x0e"}, {'9', "\x0e\x11\x11\x0f\x01\x02\x0c"},
      {'0', "\x0e\x11\x13\x15\x19\x11\x0e"}};
  return all;
}

/// Centred at x.
void text(const std::string& words, double x, double y, double square, float alpha = 1) {
  double left = x - (6.0 * static_cast<double>(words.size()) - 1) * square / 2;
  Color color = kWhite;
  color.alpha = alpha;
  for (char letter : words) {
    const auto rows = letters().find(letter);
    for (int row = 0; rows != letters().end() && row < 7; ++row) {
      for (int column = 0; column < 5; ++column) {
        if (rows->second[static_cast<std::size_t>(row)] >> (4 - column) & 1)
          rectangle(left + column * square, y + row * square, square, square, color);
      }
    }
    left += 6 * square;
  }
}

}  // namespace

void drawGame(const Game& game, double time, int width, int height) {
  // The field is centred. What is beside it shows the same sky and ground.
  const double scale = std::min<double>(width, height / Game::height);
  const double left = (width / scale - 1) / 2, above = (height / scale - Game::height) / 2;
  glViewport(0, 0, width, height);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(0, width / scale, height / scale, 0, -1, 1);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  glEnable(GL_BLEND);
  glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  const double bottom = height / scale;
  rectangle(0, 0, width / scale, bottom, kSkyTop, kSkyBottom);
  glTranslated(left, above, 0);
  disc(0.72, 0.95, 0.42, {1, 0.85f, 0.55f, 0.55f}, {1, 0.85f, 0.55f, 0});
  disc(0.72, 0.95, 0.13, {1, 0.92f, 0.72f}, {1, 0.85f, 0.58f});
  glPushMatrix();
  glTranslated(-left, 0, 0);
  glScaled(width / scale, 1, 1);
  hills(1.15, 0.05, 0.4, bottom, kHill);
  hills(1.30, 0.04, 2.1, bottom, kNearHill);
  rectangle(0, Game::cartTop + 0.113, 1, bottom, kGround);
  glPopMatrix();

  for (const Game::Parcel& each : game.parcels()) parcel(each);
  cart(game.cart());
  for (int i = 0; i < Game::wanted; ++i) {
    Color color = kWhite;
    color.alpha = i < game.caught() ? 1.0f : 0.25f;
    rectangle(0.5 + (i - Game::wanted / 2.0) * 0.07 + 0.01, 0.05, 0.05, 0.02, color);
  }
  if (game.level() > 0) text("LEVEL " + std::to_string(game.level()), 0.5, 0.1, 0.008);
  if (game.state() == Game::State::Playing) return;
  if (game.state() == Game::State::Done) text("DONE", 0.5, 0.45, 0.02);
  text("PRESS SPACE", 0.5, 0.68, 0.009, static_cast<float>(0.7 + 0.3 * std::cos(4 * time)));
}
