// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "CoreGraphics/Geometry.h"
#include "oqsdk/KeyboardKey.h"

union SDL_Event;

namespace oq::sdl {

/// An event as the overlay understands it, so that only Events.cpp depends on SDL's events.
struct InputEvent {
  enum class Kind {
    Press,    ///< a button of the mouse
    Release,  ///< a button of the mouse
    Move,     ///< the mouse, with or without buttons
    Leave,    ///< the mouse has left the window
    TouchBegan,
    TouchMoved,
    TouchEnded,
    Scroll,
    KeyDown,
    KeyUp,
    ButtonDown,  ///< a button of a game controller
    ButtonUp,    ///< a button of a game controller
    Other,       ///< text, a deflected stick, a button of a joystick: only kept from the program
    Focused,
    Unfocused,
    TexturesLost,  ///< the renderer has lost the contents of its textures, or the textures
    Wake           ///< the library has work
  };
  explicit InputEvent(Kind what) : kind(what) {}

  Kind kind;
  std::uint32_t window = 0;  ///< SDL's number of the window; 0 for events that belong to no window
  CGPoint point;             ///< in the window's units; of a finger: parts of the window's size, 0 to 1
  bool isPrimary = false;    ///< the left button of the mouse
  /// SDL has made this event of a mouse from a finger, or this event of a finger from a mouse. The original comes, too.
  bool isCopy = false;
  /// The number of the finger, or of the key or button that is pressed and released.
  std::int64_t number = 0;
  bool isRepeated = false;  ///< the key is held down
  std::optional<KeyboardKey> key;
  double dx = 0, dy = 0;  ///< of scrolling, in notches of a wheel
};

/// nullopt for an event that does not matter. `wakeType` is the type of SDL's event that Host pushes.
std::optional<InputEvent> translate(const SDL_Event& event, std::uint32_t wakeType);

}  // namespace oq::sdl
