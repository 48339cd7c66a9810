// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <SDL.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Host/AccessibleTree.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"
#include "oqsdk/Messages.h"
#include "oqsdk/sdl/SdlHost.h"
#include "support/EngineTest.h"

namespace oq::test {

/// A game with one window, a loop like the one in SdlHost.h, and a scripted server. Its messages have the buttons "No"
/// and "Yes". The message of the event "card" is a card that can be closed, with the button "Yes".
class Game : public WorldTest {
 protected:
  static constexpr int kWidth = 600, kHeight = 800;

  Game() {
    EXPECT_EQ(SDL_Init(SDL_INIT_VIDEO | SDL_INIT_GAMECONTROLLER), 0) << SDL_GetError();
    network->answer("/push/sdk/login", R"({"code":0,"token":"token-1"})");
  }
  ~Game() override {
    EXPECT_TRUE(network->settle());
    Messages::setHandlers({});
    overlay.reset();
    if (window) SDL_DestroyWindow(window);
    SDL_Quit();
    DispatchQueue::installMain();
  }

  void openWindow(Uint32 flags = 0) {
    window = SDL_CreateWindow("Game", 0, 0, kWidth, kHeight, SDL_WINDOW_BORDERLESS | flags);
    ASSERT_TRUE(window) << SDL_GetError();
  }
  sdl::AttachOptions options() const {
    sdl::AttachOptions chosen;
    chosen.applicationIdentifier = "com.example.game";
    chosen.dataDirectory = folder();
    return chosen;
  }
  /// Starts the library with a campaign for each of these events.
  void start(const std::vector<std::string>& events) {
    ASSERT_TRUE(overlay) << SDL_GetError();
    MessageHandlers handlers;
    handlers.shown = [this](const Message& message) { calls.push_back("shown " + message.event); };
    handlers.closed = [this](const Message& message) { calls.push_back("closed " + message.event); };
    handlers.clicked = [this](const Message& message, MessageAction part) {
      calls.push_back((part == MessageAction::LeftButton ? "no " : "yes ") + message.event);
    };
    handlers.link = [](const Message&, const std::string&) { return true; };
    Messages::setHandlers(handlers);
    JSONArray records;
    for (const std::string& event : events)
      records.push_back(campaign(std::to_string(records.size() + 1), event,
                                 {{"style", event == "card" ? 2 : 3},
                                  {"count", 9},
                                  {"title", {{"text", "Level done"}}},
                                  {"content", {{"text", "On to the next one?"}}},
                                  {"buttonMiddle", {{"text", "Yes"}, {"clickEvent", ""}}},
                                  {"buttonLeft", {{"text", "No"}, {"clickEvent", ""}}},
                                  {"buttonRight", {{"text", "Yes"}, {"clickEvent", "https://shop.example/yes"}}}}));
    network->answer("/push/sdk/in_app", textOf(listAnswer(records)));
    ASSERT_TRUE(Messages::setUser("user-1"));
    MessageOptions start;
    start.appKey = "my-game";
    start.server = "https://messages.example";
    ASSERT_TRUE(Messages::start(start));
    ASSERT_TRUE(runUntil([&] { return network->requests("/push/sdk/in_app").size() == 1; }));
    ASSERT_TRUE(network->settle());
    run(3);
  }
  void show(const std::string& event) {
    ASSERT_TRUE(Messages::record(event));
    ASSERT_TRUE(runUntil([&] { return !calls.empty() && calls.back() == "shown " + event; }));
    run(3);
  }

  /// One pass of the loop. Waits for events at most this long.
  void pass(int milliseconds) {
    const int timeout = overlay->timeout();
    SDL_Event event;
    if (SDL_WaitEventTimeout(&event, timeout < 0 ? milliseconds : std::min(timeout, milliseconds))) {
      do {
        const bool isOurs = overlay->handleEvent(event);
        if (!isOurs) unconsumed.push_back(event.type);
        lastWasOurs = isOurs;
      } while (SDL_PollEvent(&event));
    }
    overlay->update();
    draw();
  }
  void run(int passes) {
    for (int i = 0; i < passes; ++i) pass(10);
  }
  [[nodiscard]] bool runUntil(const std::function<bool()>& condition) {
    const Uint64 end = SDL_GetTicks64() + 30'000;
    while (!condition()) {
      if (SDL_GetTicks64() > end) return false;
      pass(50);
    }
    return true;
  }
  bool wasSeen(Uint32 type) const { return std::count(unconsumed.begin(), unconsumed.end(), type) > 0; }

  /// The middle of the element with this name, in points of the window; (0, 0) if there is none.
  CGPoint find(const std::string& name) const {
    const auto& shown = UIApplication::sharedApplication().keyWindow();
    const CGSize size{kWidth, kHeight};
    AccessibleElements elements;
    const AccessibleTree tree = elements.treeOf(shown, Stage::in(size, Stage::sizeFor(size), 1.5));
    for (const AccessibleElement& element : tree.elements) {
      if (element.name == name)
        return {element.frame.origin.x + element.frame.size.width / 2,
                element.frame.origin.y + element.frame.size.height / 2};
    }
    return {};
  }
  /// Moves the real pointer there and clicks.
  static void click(CGPoint point) {
    const std::string command = "xdotool mousemove " + std::to_string(static_cast<int>(point.x)) + " " +
                                std::to_string(static_cast<int>(point.y)) + " click 1";
    ASSERT_EQ(std::system(command.c_str()), 0);
  }
  /// Sends an event through SDL's queue and returns whether the library has consumed it.
  bool send(SDL_Event event) {
    event.common.timestamp = SDL_GetTicks();
    SDL_PushEvent(&event);
    SDL_Event got;
    bool isOurs = false;
    while (SDL_PollEvent(&got)) {
      const bool consumed = overlay->handleEvent(got);
      if (got.type == event.type) isOurs = consumed;
    }
    overlay->update();
    draw();
    return isOurs;
  }
  /// Draws the game and then the overlay.
  virtual void draw() = 0;

  SDL_Window* window = nullptr;
  std::unique_ptr<sdl::Overlay> overlay;
  std::vector<std::string> calls;
  std::vector<Uint32> unconsumed;  ///< the types of the events that the game got
  bool lastWasOurs = false;
};

}  // namespace oq::test
