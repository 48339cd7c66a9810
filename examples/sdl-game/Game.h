// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// The rules of the game: parcels fall, and a cart catches them. A level is done when enough of them are caught.
/// Lengths are parts of the field's width; the field is 1 wide and `height` high, with y downwards.
class Game {
 public:
  enum class State { Waiting, Playing, Done };
  struct Parcel {
    double x, y, speed;
    int kind;  ///< 0 to 3: its colour
  };
  static constexpr double height = 1.6, cartWidth = 0.22, cartTop = 1.42, parcelSize = 0.085;
  static constexpr int wanted = 6;  ///< parcels in each level

  explicit Game(std::uint32_t seed) : _random(seed) {}

  /// Begins the next level. Does nothing during a level.
  void begin();
  /// -1 to 1.
  void steer(double direction) { _direction = direction; }
  void moveCartTo(double x);
  /// Moves the cart below the lowest parcel, for demonstrations.
  void steerItself();
  void advance(double seconds);

  State state() const { return _state; }
  int level() const { return _level; }
  int caught() const { return _caught; }
  double cart() const { return _cart; }
  const std::vector<Parcel>& parcels() const { return _parcels; }

  std::function<void()> onCatch, onDone;

 private:
  double random();  ///< 0 to 1
  void drop();

  std::uint32_t _random;
  State _state = State::Waiting;
  int _level = 0, _caught = 0;
  double _cart = 0.5, _direction = 0, _untilNext = 0;
  std::vector<Parcel> _parcels;
};
