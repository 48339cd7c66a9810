// SPDX-License-Identifier: Apache-2.0
#include "sdl/Events.h"

#include <SDL.h>

namespace oq::sdl {

namespace {

using Kind = InputEvent::Kind;

std::optional<KeyboardKey> keyOf(const SDL_Keysym& key) {
  const int modifiers = key.mod & (KMOD_CTRL | KMOD_ALT | KMOD_GUI);
  if (key.sym == SDLK_LEFT && modifiers && !(modifiers & ~KMOD_ALT)) return KeyboardKey::Back;
  if (modifiers) return std::nullopt;
  switch (key.sym) {
    case SDLK_TAB:
      return key.mod & KMOD_SHIFT ? KeyboardKey::BackTab : KeyboardKey::Tab;
    case SDLK_RETURN:
    case SDLK_KP_ENTER:
    case SDLK_SPACE:
    case SDLK_SELECT:
      return KeyboardKey::Return;
    case SDLK_ESCAPE:
      return KeyboardKey::Escape;
    case SDLK_AC_BACK:
      return KeyboardKey::Back;
    case SDLK_UP:
      return KeyboardKey::Up;
    case SDLK_DOWN:
      return KeyboardKey::Down;
    case SDLK_PAGEUP:
      return KeyboardKey::PageUp;
    case SDLK_PAGEDOWN:
      return KeyboardKey::PageDown;
    case SDLK_HOME:
      return KeyboardKey::Home;
    case SDLK_END:
      return KeyboardKey::End;
    default:
      return std::nullopt;
  }
}

std::optional<KeyboardKey> keyOf(const SDL_ControllerButtonEvent& button) {
  switch (button.button) {
    case SDL_CONTROLLER_BUTTON_A:
      return KeyboardKey::Return;
    case SDL_CONTROLLER_BUTTON_B:
      return KeyboardKey::Escape;
    case SDL_CONTROLLER_BUTTON_DPAD_DOWN:
    case SDL_CONTROLLER_BUTTON_DPAD_RIGHT:
      return KeyboardKey::Tab;
    case SDL_CONTROLLER_BUTTON_DPAD_UP:
    case SDL_CONTROLLER_BUTTON_DPAD_LEFT:
      return KeyboardKey::BackTab;
    default:
      return std::nullopt;
  }
}

InputEvent ofButton(const SDL_MouseButtonEvent& button) {
  InputEvent event{button.type == SDL_MOUSEBUTTONDOWN ? Kind::Press : Kind::Release};
  event.window = button.windowID;
  event.point = {static_cast<double>(button.x), static_cast<double>(button.y)};
  event.isPrimary = button.button == SDL_BUTTON_LEFT;
  event.isCopy = button.which == SDL_TOUCH_MOUSEID;
  event.number = button.button;
  return event;
}

InputEvent ofMotion(const SDL_MouseMotionEvent& motion) {
  InputEvent event{Kind::Move};
  event.window = motion.windowID;
  event.point = {static_cast<double>(motion.x), static_cast<double>(motion.y)};
  event.isPrimary = (motion.state & SDL_BUTTON_LMASK) != 0;
  event.isCopy = motion.which == SDL_TOUCH_MOUSEID;
  return event;
}

InputEvent ofFinger(const SDL_TouchFingerEvent& finger) {
  InputEvent event{finger.type == SDL_FINGERDOWN ? Kind::TouchBegan
                   : finger.type == SDL_FINGERUP ? Kind::TouchEnded
                                                 : Kind::TouchMoved};
  event.window = finger.windowID;
  event.point = {finger.x, finger.y};
  event.isCopy = finger.touchId == SDL_MOUSE_TOUCHID;
  event.number = finger.fingerId;
  return event;
}

InputEvent ofWheel(const SDL_MouseWheelEvent& wheel) {
  InputEvent event{Kind::Scroll};
  event.window = wheel.windowID;
  int x = 0, y = 0;
  SDL_GetMouseState(&x, &y);
  event.point = {static_cast<double>(x), static_cast<double>(y)};
  event.dx = wheel.preciseX;
  event.dy = -wheel.preciseY;
  return event;
}

InputEvent ofKey(const SDL_KeyboardEvent& key) {
  InputEvent event{key.type == SDL_KEYDOWN ? Kind::KeyDown : Kind::KeyUp};
  event.window = key.windowID;
  event.number = key.keysym.scancode;
  event.isRepeated = key.repeat != 0;
  event.key = keyOf(key.keysym);
  return event;
}

InputEvent ofController(const SDL_ControllerButtonEvent& button) {
  InputEvent event{button.type == SDL_CONTROLLERBUTTONDOWN ? Kind::ButtonDown : Kind::ButtonUp};
  event.number = std::int64_t{button.which} * 256 + button.button;
  event.key = keyOf(button);
  return event;
}

std::optional<InputEvent> ofWindow(const SDL_WindowEvent& window) {
  const auto made = [&](Kind kind) {
    InputEvent event{kind};
    event.window = window.windowID;
    return event;
  };
  switch (window.event) {
    case SDL_WINDOWEVENT_LEAVE:
      return made(Kind::Leave);
    case SDL_WINDOWEVENT_FOCUS_GAINED:
      return made(Kind::Focused);
    case SDL_WINDOWEVENT_FOCUS_LOST:
      return made(Kind::Unfocused);
    default:
      return std::nullopt;
  }
}

bool isDeflected(Sint16 axis) {
  constexpr int kCentre = 8000;  // of 32,767; most sticks do not return to 0
  return axis > kCentre || axis < -kCentre;
}

InputEvent other(std::uint32_t window) {
  InputEvent event{Kind::Other};
  event.window = window;
  return event;
}

}  // namespace

std::optional<InputEvent> translate(const SDL_Event& event, std::uint32_t wakeType) {
  if (event.type == wakeType) return InputEvent{Kind::Wake};
  switch (event.type) {
    case SDL_MOUSEBUTTONDOWN:
    case SDL_MOUSEBUTTONUP:
      return ofButton(event.button);
    case SDL_MOUSEMOTION:
      return ofMotion(event.motion);
    case SDL_MOUSEWHEEL:
      return ofWheel(event.wheel);
    case SDL_FINGERDOWN:
    case SDL_FINGERMOTION:
    case SDL_FINGERUP:
      return ofFinger(event.tfinger);
    case SDL_KEYDOWN:
    case SDL_KEYUP:
      return ofKey(event.key);
    case SDL_CONTROLLERBUTTONDOWN:
    case SDL_CONTROLLERBUTTONUP:
      return ofController(event.cbutton);
    case SDL_WINDOWEVENT:
      return ofWindow(event.window);
    case SDL_TEXTINPUT:
      return other(event.text.windowID);
    case SDL_TEXTEDITING:
      return other(event.edit.windowID);
    case SDL_JOYBUTTONDOWN:
      return other(0);
    // The program sees that a stick goes back, so that it does not stay deflected for the program.
    case SDL_CONTROLLERAXISMOTION:
      return isDeflected(event.caxis.value) ? std::optional(other(0)) : std::nullopt;
    case SDL_JOYAXISMOTION:
      return isDeflected(event.jaxis.value) ? std::optional(other(0)) : std::nullopt;
    case SDL_JOYHATMOTION:
      return event.jhat.value != SDL_HAT_CENTERED ? std::optional(other(0)) : std::nullopt;
    case SDL_RENDER_TARGETS_RESET:
    case SDL_RENDER_DEVICE_RESET:
      return InputEvent{Kind::TexturesLost};
    default:
      return std::nullopt;
  }
}

}  // namespace oq::sdl
