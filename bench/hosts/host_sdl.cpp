// SPDX-License-Identifier: Apache-2.0
#include <SDL.h>

#include <map>

#include "Scenario.h"
#include "oqsdk/sdl/SdlHost.h"

/// A program that draws only when something has changed, and sleeps otherwise. With the mode "game" in place of "idle",
/// and "plain-game" in place of "plain", it draws 60 frames a second, as games do.
int main(int argc, char** argv) {
  std::string mode = argc > 1 ? argv[1] : "message";
  const bool isGame = mode == "game" || mode == "plain-game";
  if (isGame) mode = mode == "game" ? "idle" : "plain";
  char* arguments[] = {argv[0], mode.data(), nullptr};
  oq::bench::Scenario scenario(2, arguments);
  if (scenario.isLinkOnly()) return 0;
  SDL_Init(SDL_INIT_VIDEO);
  SDL_Window* window =
      SDL_CreateWindow("", 0, 0, oq::bench::Scenario::width, oq::bench::Scenario::height, SDL_WINDOW_BORDERLESS);
  SDL_Renderer* renderer = SDL_CreateRenderer(window, -1, 0);
  auto overlay = scenario.isPlain() ? nullptr : oq::sdl::attach(window, renderer);
  std::multimap<Uint64, std::function<void()>> timers;
  bool ends = false, isFirst = true;
  auto after = [&](double seconds, std::function<void()> block) {
    timers.emplace(SDL_GetTicks64() + static_cast<Uint64>(1e3 * seconds), std::move(block));
  };
  scenario.begin(after, [&] { ends = true; });
  while (!ends) {
    int wait = overlay ? overlay->timeout() : -1;
    if (!timers.empty()) {
      const int due =
          static_cast<int>(std::max<Sint64>(0, static_cast<Sint64>(timers.begin()->first - SDL_GetTicks64())));
      wait = wait < 0 ? due : std::min(wait, due);
    }
    if (isGame) wait = std::min(wait < 0 ? 16 : wait, 16);
    SDL_Event event;
    while (SDL_WaitEventTimeout(&event, wait)) {
      if (overlay) overlay->handleEvent(event);
      wait = 0;
    }
    if (overlay) overlay->update();
    while (!timers.empty() && timers.begin()->first <= SDL_GetTicks64()) {
      const auto block = std::move(timers.begin()->second);
      timers.erase(timers.begin());
      block();
    }
    if (!isGame && !isFirst && !(overlay && overlay->needsRender())) continue;
    isFirst = false;
    SDL_SetRenderDrawColor(renderer, 240, 240, 240, 255);
    SDL_RenderClear(renderer);
    if (overlay) overlay->render();
    SDL_RenderPresent(renderer);
  }
}
