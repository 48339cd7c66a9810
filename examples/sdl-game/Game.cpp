// SPDX-License-Identifier: Apache-2.0
#include "Game.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kCartSpeed = 1.1, kFirstSpeed = 0.55, kSpeedPerLevel = 0.12, kInterval = 0.55;

}  // namespace

void Game::begin() {
  if (_state == State::Playing) return;
  _state = State::Playing;
  ++_level;
  _caught = 0;
  _untilNext = 0;
  _parcels.clear();
}

void Game::moveCartTo(double x) {
  _cart = std::clamp(x, cartWidth / 2, 1 - cartWidth / 2);
}

void Game::steerItself() {
  const auto lowest =
      std::max_element(_parcels.begin(), _parcels.end(), [](const auto& a, const auto& b) { return a.y < b.y; });
  const double distance = lowest == _parcels.end() ? 0 : lowest->x - _cart;
  steer(std::clamp(20 * distance, -1.0, 1.0));
}

double Game::random() {
  _random = _random * 1664525 + 1013904223;
  return _random / 4294967296.0;
}

void Game::drop() {
  const double margin = parcelSize;
  const double speed = kFirstSpeed + kSpeedPerLevel * (_level - 1) + 0.1 * random();
  // Not too far from the cart, so that it can be reached.
  const double x = std::clamp(_cart + 0.9 * (random() - 0.5), margin, 1 - margin);
  _parcels.push_back({x, -parcelSize, speed, static_cast<int>(4 * random())});
}

void Game::advance(double seconds) {
  if (_state != State::Playing) return;
  moveCartTo(_cart + _direction * kCartSpeed * seconds);
  _untilNext -= seconds;
  if (_untilNext <= 0) {
    _untilNext += kInterval;
    drop();
  }
  int caught = 0;
  for (Parcel& parcel : _parcels) {
    parcel.y += parcel.speed * seconds;
    const bool isLevel = std::abs(parcel.y - cartTop) < parcelSize / 2 + parcel.speed * seconds;
    if (!isLevel || std::abs(parcel.x - _cart) > (cartWidth + parcelSize) / 2) continue;
    parcel.y = 2 * height;  // removed below
    ++caught;
  }
  std::erase_if(_parcels, [](const Parcel& parcel) { return parcel.y > height; });
  for (; caught > 0 && _caught < wanted; --caught) {
    ++_caught;
    if (onCatch) onCatch();
  }
  if (_caught < wanted) return;
  _state = State::Done;
  _parcels.clear();
  if (onDone) onDone();
}
