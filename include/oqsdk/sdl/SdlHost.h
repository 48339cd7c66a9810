// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "oqsdk/Export.h"

union SDL_Event;
struct SDL_Renderer;
struct SDL_Window;

namespace oq::sdl {

/// What the library needs to know about the application.
struct AttachOptions {
  /// Names the data folder and is written into logs. If it is empty, the name of the program is used.
  std::string applicationIdentifier;
  /// Written into logs; may be empty.
  std::string applicationVersion;
  /// The folder for documents and preferences; if empty, the XDG data folder of the application.
  std::filesystem::path dataDirectory;
  /// Messages are laid out on an upright stage, 375 points wide and 620 to 812 high, which is scaled to fit the window.
  /// The stage fills an upright window. In a window that is at least as wide as it is high, the stage is enlarged at
  /// most by this factor. A value that is not a positive number counts as 1.5.
  double maximumScale = 1.5;
  /// How many of the window's units (those of SDL_GetWindowSize()) a point has. SDL 2 does not scale windows on X11, so
  /// a program that scales its own interface on such a display passes its factor here. A value that is not a positive
  /// number counts as 1.
  double scale = 1;
  /// Without animations messages open and close at once.
  bool animations = true;
};

/// A part of a frame, in pixels from the upper left corner of the window.
struct PixelArea {
  int x = 0;       ///< of the left edge
  int y = 0;       ///< of the upper edge
  int width = 0;   ///< 0 if the area is empty
  int height = 0;  ///< 0 if the area is empty
};

/// The library's pixels over one window. They belong to the library and are valid until the next call of paint(), and
/// while the overlay exists.
struct OverlayPixels {
  /// 32 bits each in the processor's byte order: alpha in the highest byte, then red, green and blue, each multiplied
  /// by alpha. nullptr if there is nothing to show.
  const std::uint32_t* pixels = nullptr;
  int width = 0;   ///< of the window, in pixels
  int height = 0;  ///< of the window, in pixels
  int stride = 0;  ///< bytes from one row to the next
  /// What is different from the pixels that the last call returned: everything, if those had another size.
  PixelArea damage;
};

class Overlay;

/// Lets the library show messages in a window. Call it after SDL_Init(), on SDL's main thread, for the first window
/// before the start of the library. Later calls use only `maximumScale` and `scale` of the options. Returns nullptr,
/// with the reason in SDL_GetError(), if the window or renderer is null, the renderer belongs to another window, the
/// window has an overlay already, SDL's video is not initialised, this is not the main thread, or the process has a
/// host for another toolkit.
OQSDK_EXPORT std::unique_ptr<Overlay> attach(SDL_Window* window, SDL_Renderer* renderer,
                                             const AttachOptions& options = {});
/// Does the same for a window with an OpenGL context (2.1 or later) or OpenGL ES context (2.0 or later), which must be
/// current during render(), or for a program that calls paint().
OQSDK_EXPORT std::unique_ptr<Overlay> attach(SDL_Window* window, const AttachOptions& options = {});

/// Shows the library's messages over what a program draws in one window. The program's loop calls it:
///
///     while (running) {
///       SDL_Event event;
///       if (SDL_WaitEventTimeout(&event, overlay->timeout())) {  // or SDL_PollEvent() in a game that always draws
///         do {
///           if (!overlay->handleEvent(event)) handle(event);
///         } while (SDL_PollEvent(&event));
///       }
///       overlay->update();
///       draw();
///       overlay->render();  // last, before SDL_RenderPresent() or SDL_GL_SwapWindow()
///     }
///
/// Main thread only, which is the thread that attached the first window. No function throws, except std::bad_alloc. The
/// window may be destroyed before the overlay; then the overlay shows nothing any more, and all functions may still be
/// called. Destroy the overlay before SDL_Quit(). An overlay for OpenGL frees its texture if its context is current
/// when it is destroyed.
class OQSDK_EXPORT Overlay {
 public:
  ~Overlay();
  Overlay(const Overlay&) = delete;
  Overlay& operator=(const Overlay&) = delete;

  /// Returns whether the library consumes the event; then the program must ignore it. Call it for every event, in
  /// order. While a message is shown, the library consumes the keys, the text, the buttons and the sticks of game
  /// controllers, and the pointer, wheel and fingers over the message. A controller's button A presses, B closes, and
  /// the D-pad moves the focus. Events of the window are never consumed.
  bool handleEvent(const SDL_Event& event);
  /// Runs the library's work and moves animations on. To be called once in each pass of the loop, before drawing.
  void update();
  /// For how many milliseconds the loop may wait for events before it calls update() and render() again: 0 or more, or
  /// -1 if it may wait for the next event. If there is work earlier, an event ends the wait; handleEvent() consumes it.
  int timeout() const;
  /// Whether render() would draw something else than in the last frame. A program that draws only when something has
  /// changed must draw then.
  bool needsRender() const;
  /// Draws over what the program has drawn, with the renderer or the OpenGL context of attach(), and leaves the state
  /// of both as it was. A texture exists only while there is something to show, and gets only pixels that have changed.
  /// Does nothing if the context is not current.
  void render();
  /// For a program that draws with something else, such as Vulkan: returns the pixels to draw over the window. To be
  /// called in place of render().
  OverlayPixels paint();
  /// How many times a texture has received pixels so far.
  std::uint64_t uploads() const;

 private:
  class Impl;
  friend std::unique_ptr<Overlay> attach(SDL_Window*, SDL_Renderer*, const AttachOptions&);
  friend std::unique_ptr<Overlay> attach(SDL_Window*, const AttachOptions&);
  explicit Overlay(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> _impl;
};

}  // namespace oq::sdl
