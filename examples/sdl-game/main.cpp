// SPDX-License-Identifier: Apache-2.0

// A small game with SDL and OpenGL. A message may appear when a level is done, and never during a level.
#include <SDL.h>
#include <oqsdk/Messages.h>
#include <oqsdk/sdl/SdlHost.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>

#include "Game.h"
#include "Picture.h"

namespace {

struct Options {
  std::string server = "https://localhost:8088", dataFolder;
  int width = 540, height = 960;
  std::uint32_t seed = 7;
  bool playsItself = false;
};

Options readOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    const char* value = i + 1 < argc ? argv[i + 1] : "";
    if (name == "--plays-itself") {
      options.playsItself = true;
      continue;
    }
    ++i;
    if (name == "--server") options.server = value;
    if (name == "--data-dir") options.dataFolder = value;
    if (name == "--width") options.width = std::max(100, std::atoi(value));
    if (name == "--height") options.height = std::max(100, std::atoi(value));
    if (name == "--seed") options.seed = static_cast<std::uint32_t>(std::atoi(value));
  }
  return options;
}

/// Starts the library. The overlay must be attached already.
void startMessages(const Options& options, const Game& game) {
  oq::MessageHandlers handlers;
  // Called before a message is counted: what the player must not see now does not use up the campaign.
  handlers.mayShow = [&game](const oq::Message& message) {
    const bool isAllowed = game.state() != Game::State::Playing;
    if (!isAllowed) std::cout << "refused " << message.event << std::endl;
    return isAllowed;
  };
  handlers.shown = [](const oq::Message& message) { std::cout << "shown " << message.event << std::endl; };
  oq::Messages::setHandlers(handlers);
  oq::Messages::setUser("player-1");
  oq::MessageOptions start;
  start.appKey = "demo-game";
  start.server = options.server;
  if (const oq::Status status = oq::Messages::start(start); !status) std::cerr << status.error << std::endl;
}

class Play {
 public:
  Play(SDL_Window* window, oq::sdl::Overlay& overlay, const Options& options)
      : _window(window), _overlay(overlay), _playsItself(options.playsItself), _game(options.seed) {
    _game.onCatch = [this] {
      std::cout << "caught " << _game.caught() << std::endl;
      oq::Messages::record("catch");
    };
    _game.onDone = [this] {
      std::cout << "done " << _game.level() << std::endl;
      oq::Messages::record("level_done", oq::Dictionary{{"level", _game.level()}});
    };
    startMessages(options, _game);
  }

  void run() {
    double last = now();
    while (!_ends) {
      SDL_Event event;
      while (SDL_PollEvent(&event)) {
        if (!_overlay.handleEvent(event)) handle(event);
      }
      _overlay.update();
      const double time = now();
      if (_playsItself) _game.steerItself();
      _game.advance(std::min(0.05, time - last));
      last = time;
      int width = 0, height = 0;
      SDL_GL_GetDrawableSize(_window, &width, &height);
      drawGame(_game, time, width, height);
      _overlay.render();
      SDL_GL_SwapWindow(_window);
      SDL_Delay(_game.state() == Game::State::Playing ? 8 : 16);  // if the display does not limit the rate
    }
  }

 private:
  static double now() { return static_cast<double>(SDL_GetTicks64()) / 1e3; }

  void handle(const SDL_Event& event) {
    switch (event.type) {
      case SDL_QUIT:
        _ends = true;
        break;
      case SDL_KEYDOWN:
        if (event.key.repeat) break;
        if (event.key.keysym.sym == SDLK_SPACE) begin();
        if (event.key.keysym.sym == SDLK_LEFT) _game.steer(-1);
        if (event.key.keysym.sym == SDLK_RIGHT) _game.steer(1);
        break;
      case SDL_KEYUP:
        if (event.key.keysym.sym == SDLK_LEFT || event.key.keysym.sym == SDLK_RIGHT) _game.steer(0);
        break;
      case SDL_MOUSEMOTION:
        followPointer(event.motion.x);
        break;
      case SDL_MOUSEBUTTONDOWN:
        begin();
        break;
      case SDL_CONTROLLERDEVICEADDED:
        SDL_GameControllerOpen(event.cdevice.which);
        break;
      case SDL_CONTROLLERBUTTONDOWN:
        if (event.cbutton.button == SDL_CONTROLLER_BUTTON_A) begin();
        break;
      case SDL_CONTROLLERAXISMOTION:
        if (event.caxis.axis == SDL_CONTROLLER_AXIS_LEFTX) _game.steer(event.caxis.value / 32767.0);
        break;
      default:
        break;
    }
  }
  void begin() {
    if (_game.state() == Game::State::Playing) return;
    _game.begin();
    std::cout << "level " << _game.level() << std::endl;
  }
  void followPointer(int x) {
    int width = 0, height = 0;
    SDL_GetWindowSize(_window, &width, &height);
    const double scale = std::min<double>(width, height / Game::height);
    _game.moveCartTo(x / scale - (width / scale - 1) / 2);
  }

  SDL_Window* const _window;
  oq::sdl::Overlay& _overlay;
  const bool _playsItself;
  Game _game;
  bool _ends = false;
};

}  // namespace

int main(int argc, char** argv) {
  const Options options = readOptions(argc, argv);
  if (SDL_Init(SDL_INIT_VIDEO | SDL_INIT_GAMECONTROLLER) != 0) {
    std::cerr << SDL_GetError() << std::endl;
    return 1;
  }
  SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, 2);
  SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, 1);
  SDL_Window* window = SDL_CreateWindow("Parcels", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, options.width,
                                        options.height, SDL_WINDOW_OPENGL | SDL_WINDOW_RESIZABLE);
  SDL_GLContext context = window ? SDL_GL_CreateContext(window) : nullptr;
  oq::sdl::AttachOptions attachment;
  attachment.applicationIdentifier = "com.example.parcels";
  attachment.dataDirectory = options.dataFolder;
  auto overlay = context ? oq::sdl::attach(window, attachment) : nullptr;
  if (!overlay) {
    std::cerr << SDL_GetError() << std::endl;
    return 1;
  }
  SDL_GL_SetSwapInterval(1);
  Play(window, *overlay, options).run();
  oq::Messages::setHandlers({});
  overlay.reset();
  SDL_GL_DeleteContext(context);
  SDL_DestroyWindow(window);
  SDL_Quit();
}
