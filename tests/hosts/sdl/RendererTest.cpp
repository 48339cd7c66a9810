// SPDX-License-Identifier: Apache-2.0
#include <SDL.h>
#include <gtest/gtest.h>

#include <thread>

#include "Game.h"

namespace oq {
namespace {

/// A game that draws with SDL's renderer, in a logical size of its own, and keeps odd state in the renderer.
class RendererGame : public test::Game, public ::testing::WithParamInterface<const char*> {
 protected:
  static constexpr int kLogicalWidth = 300, kLogicalHeight = 320;  // another shape than the window's

  RendererGame() {
    SDL_SetHint(SDL_HINT_RENDER_DRIVER, GetParam());
    openWindow();
    renderer = SDL_CreateRenderer(window, -1, SDL_RENDERER_TARGETTEXTURE);
    EXPECT_TRUE(renderer) << SDL_GetError();
    overlay = sdl::attach(window, renderer, options());
    canvas = SDL_CreateTexture(renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_TARGET, 64, 64);
  }

  void draw() override {
    SDL_SetRenderTarget(renderer, nullptr);
    SDL_RenderSetClipRect(renderer, nullptr);
    SDL_RenderSetLogicalSize(renderer, kLogicalWidth, kLogicalHeight);
    SDL_SetRenderDrawColor(renderer, 0, 90, 0, 255);
    SDL_RenderClear(renderer);
    SDL_SetRenderDrawColor(renderer, 200, 30, 30, 255);
    const SDL_Rect all{0, 0, kLogicalWidth, kLogicalHeight}, part{20, 30, 40, 50}, clip{5, 6, 20, 10};
    SDL_RenderFillRect(renderer, &all);
    SDL_RenderSetViewport(renderer, &part);
    SDL_RenderSetClipRect(renderer, &clip);
    SDL_SetRenderDrawBlendMode(renderer, SDL_BLENDMODE_ADD);
    if (drawsIntoTexture) {
      SDL_SetRenderTarget(renderer, canvas);
      const SDL_Rect corner{1, 2, 30, 31};
      SDL_RenderSetScale(renderer, 2, 2);
      SDL_RenderSetViewport(renderer, &corner);
    }
    const std::string before = state();
    overlay->render();
    EXPECT_EQ(state(), before);
    const SDL_Rect inside{2, 2, 6, 6};  // of the viewport and the clip: shows whether they work as before
    SDL_SetRenderDrawColor(renderer, 0, 0, 200, 255);
    SDL_SetRenderDrawBlendMode(renderer, SDL_BLENDMODE_NONE);
    SDL_RenderFillRect(renderer, &inside);
    SDL_SetRenderTarget(renderer, nullptr);
    if (presents) SDL_RenderPresent(renderer);
  }

  std::string state() const {
    std::string text;
    const auto add = [&](auto... values) { ((text += std::to_string(values) + " "), ...); };
    SDL_Rect viewport, clip;
    float scaleX = 0, scaleY = 0;
    int width = 0, height = 0;
    Uint8 red = 0, green = 0, blue = 0, alpha = 0;
    SDL_BlendMode blend = SDL_BLENDMODE_INVALID;
    SDL_RenderGetViewport(renderer, &viewport);
    SDL_RenderGetClipRect(renderer, &clip);
    SDL_RenderGetScale(renderer, &scaleX, &scaleY);
    SDL_RenderGetLogicalSize(renderer, &width, &height);
    SDL_GetRenderDrawColor(renderer, &red, &green, &blue, &alpha);
    SDL_GetRenderDrawBlendMode(renderer, &blend);
    add(viewport.x, viewport.y, viewport.w, viewport.h, clip.x, clip.y, clip.w, clip.h, scaleX, scaleY, width, height,
        red, green, blue, alpha, blend, SDL_RenderIsClipEnabled(renderer), SDL_RenderGetIntegerScale(renderer));
    return text + std::to_string(reinterpret_cast<std::uintptr_t>(SDL_GetRenderTarget(renderer)));
  }
  /// The whole window after one frame, in which everything is drawn by `render`.
  std::vector<Uint32> pixels() {
    presents = false;
    draw();
    presents = true;
    SDL_RenderSetLogicalSize(renderer, 0, 0);
    SDL_RenderSetViewport(renderer, nullptr);
    std::vector<Uint32> read(kWidth * kHeight);
    EXPECT_EQ(SDL_RenderReadPixels(renderer, nullptr, SDL_PIXELFORMAT_ARGB8888, read.data(), 4 * kWidth), 0);
    return read;
  }

  SDL_Renderer* renderer = nullptr;
  SDL_Texture* canvas = nullptr;
  bool drawsIntoTexture = false, presents = true;
};

TEST_P(RendererGame, MessageIsDrawnOverTheGameAndLeavesItsPixelsAndStateAsTheyWere) {
  start({"card"});
  const auto game = pixels();
  EXPECT_EQ(overlay->uploads(), 0u) << "without a message there is no texture";
  show("card");
  const auto covered = pixels();
  EXPECT_NE(covered, game);
  const auto at = [&](const auto& from, CGPoint point) {
    return from[static_cast<std::size_t>(point.y) * kWidth + static_cast<std::size_t>(point.x)] & 0xFFFFFF;
  };
  const CGPoint edge{20, 100};  // in the game, and dimmed by the message: half transparent
  EXPECT_EQ(at(game, edge), 0xC81E1Eu);
  EXPECT_LT(at(covered, edge) >> 16, 0xC8u);
  EXPECT_GT(at(covered, edge) >> 16, 0x20u);
  const CGPoint yes = find("Yes");
  EXPECT_EQ(at(covered, {yes.x - 100, yes.y - 45}), 0xFFFFFFu) << "the card is opaque white";

  const std::uint64_t uploads = overlay->uploads();
  for (int i = 0; i < 20; ++i) draw();
  EXPECT_EQ(overlay->uploads(), uploads) << "nothing moves, so nothing is uploaded";
  EXPECT_EQ(pixels(), covered);

  drawsIntoTexture = true;
  draw();  // checks the state of the texture's target
  drawsIntoTexture = false;
  ASSERT_TRUE(runUntil([&] { return overlay->timeout() != 0; }));
  click(yes);
  ASSERT_TRUE(runUntil([&] { return calls.back() == "yes card"; }));
  EXPECT_FALSE(wasSeen(SDL_MOUSEBUTTONDOWN) || wasSeen(SDL_MOUSEBUTTONUP)) << "the game did not see the click";
  ASSERT_TRUE(runUntil([&] { return !overlay->needsRender() && pixels() == game; }));
  unconsumed.clear();
  click(yes);
  EXPECT_TRUE(runUntil([&] { return wasSeen(SDL_MOUSEBUTTONDOWN) && wasSeen(SDL_MOUSEBUTTONUP); }));
}

TEST_P(RendererGame, TextureIsMadeAgainWhenTheDeviceWasReset) {
  start({"card"});
  show("card");
  const auto covered = pixels();
  const std::uint64_t uploads = overlay->uploads();
  SDL_Event reset{};
  reset.type = SDL_RENDER_DEVICE_RESET;
  EXPECT_FALSE(send(reset)) << "the game has to know it, too";
  EXPECT_EQ(overlay->uploads(), uploads + 1);
  EXPECT_EQ(pixels(), covered);
}

INSTANTIATE_TEST_SUITE_P(Sdl, RendererGame, ::testing::Values("software", "opengl", "opengles2"),
                         [](const auto& driver) { return std::string(driver.param); });

/// A game without odd state, for tests that are not about pixels.
class InputGame : public test::Game {
 protected:
  InputGame() {
    SDL_SetHint(SDL_HINT_RENDER_DRIVER, "software");
    openWindow();
    renderer = SDL_CreateRenderer(window, -1, 0);
    overlay = sdl::attach(window, renderer, options());
  }
  void draw() override {
    SDL_RenderClear(renderer);
    overlay->render();
    SDL_RenderPresent(renderer);
  }
  SDL_Event ofKey(Uint32 type, SDL_Keycode sym, Uint16 modifiers = 0) const {
    SDL_Event event{};
    event.type = type;
    event.key.windowID = SDL_GetWindowID(window);
    event.key.keysym.sym = sym;
    event.key.keysym.scancode = SDL_GetScancodeFromKey(sym);
    event.key.keysym.mod = modifiers;
    return event;
  }
  bool press(SDL_Keycode sym) { return send(ofKey(SDL_KEYDOWN, sym)) && send(ofKey(SDL_KEYUP, sym)); }
  SDL_Event ofFinger(Uint32 type, SDL_FingerID finger, CGPoint point) const {
    SDL_Event event{};
    event.type = type;
    event.tfinger.windowID = SDL_GetWindowID(window);
    event.tfinger.touchId = 77;
    event.tfinger.fingerId = finger;
    event.tfinger.x = static_cast<float>(point.x / kWidth);
    event.tfinger.y = static_cast<float>(point.y / kHeight);
    return event;
  }
  /// The mouse event that SDL makes of a finger before the finger's own event.
  SDL_Event ofCopy(Uint32 type, CGPoint point) const {
    SDL_Event event{};
    event.type = type;
    event.button.windowID = SDL_GetWindowID(window);
    event.button.which = SDL_TOUCH_MOUSEID;
    event.button.button = SDL_BUTTON_LEFT;
    event.button.x = static_cast<int>(point.x);
    event.button.y = static_cast<int>(point.y);
    return event;
  }
  SDL_Renderer* renderer = nullptr;
};

TEST_F(InputGame, KeysBelongToAMessageWhileItIsShown) {
  start({"one", "card"});
  EXPECT_FALSE(send(ofKey(SDL_KEYDOWN, SDLK_SPACE))) << "no message is shown";
  show("one");
  EXPECT_FALSE(send(ofKey(SDL_KEYUP, SDLK_SPACE))) << "the game saw the press, so it sees the release";
  EXPECT_TRUE(press(SDLK_w)) << "also keys that do nothing";
  SDL_Event text{};
  text.type = SDL_TEXTINPUT;
  text.text.windowID = SDL_GetWindowID(window);
  EXPECT_TRUE(send(text));
  EXPECT_TRUE(press(SDLK_TAB));
  EXPECT_TRUE(press(SDLK_TAB));
  EXPECT_TRUE(send(ofKey(SDL_KEYDOWN, SDLK_RETURN)));
  ASSERT_TRUE(runUntil([&] { return calls.back() == "yes one"; }));
  EXPECT_TRUE(send(ofKey(SDL_KEYUP, SDLK_RETURN))) << "the release belongs to the press";
  EXPECT_FALSE(send(ofKey(SDL_KEYUP, SDLK_RETURN)));
  show("card");
  EXPECT_TRUE(press(SDLK_ESCAPE));
  EXPECT_TRUE(runUntil([&] { return calls.back() == "closed card"; }));
}

TEST_F(InputGame, GameControllerMovesTheFocusPressesAndCloses) {
  start({"one", "card"});
  const int index = SDL_JoystickAttachVirtual(SDL_JOYSTICK_TYPE_GAMECONTROLLER, SDL_CONTROLLER_AXIS_MAX,
                                              SDL_CONTROLLER_BUTTON_MAX, 0);
  ASSERT_GE(index, 0) << SDL_GetError();
  SDL_GameController* controller = SDL_GameControllerOpen(index);
  ASSERT_TRUE(controller) << SDL_GetError();
  SDL_Joystick* joystick = SDL_GameControllerGetJoystick(controller);
  const auto set = [&](int button, Uint8 isDown) {
    SDL_JoystickSetVirtualButton(joystick, button, isDown);
    SDL_GameControllerUpdate();
    run(2);
  };
  const auto push = [&](int button) { set(button, 1), set(button, 0); };
  show("one");
  unconsumed.clear();
  push(SDL_CONTROLLER_BUTTON_DPAD_DOWN);
  push(SDL_CONTROLLER_BUTTON_DPAD_RIGHT);
  push(SDL_CONTROLLER_BUTTON_DPAD_LEFT);
  push(SDL_CONTROLLER_BUTTON_X);
  EXPECT_FALSE(wasSeen(SDL_CONTROLLERBUTTONDOWN) || wasSeen(SDL_JOYBUTTONDOWN));
  push(SDL_CONTROLLER_BUTTON_A);
  EXPECT_TRUE(runUntil([&] { return calls.back() == "no one"; }));
  show("card");
  SDL_JoystickSetVirtualAxis(joystick, SDL_CONTROLLER_AXIS_LEFTX, 30000);
  run(2);
  EXPECT_FALSE(wasSeen(SDL_CONTROLLERAXISMOTION));
  SDL_JoystickSetVirtualAxis(joystick, SDL_CONTROLLER_AXIS_LEFTX, 0);
  run(2);
  EXPECT_TRUE(wasSeen(SDL_CONTROLLERAXISMOTION)) << "the game sees that the stick went back";
  push(SDL_CONTROLLER_BUTTON_B);
  EXPECT_TRUE(runUntil([&] { return calls.back() == "closed card"; }));
  unconsumed.clear();
  push(SDL_CONTROLLER_BUTTON_A);
  EXPECT_TRUE(wasSeen(SDL_CONTROLLERBUTTONDOWN)) << "without a message the buttons belong to the game";
  SDL_GameControllerClose(controller);
  SDL_JoystickDetachVirtual(index);
}

TEST_F(InputGame, FingersPressOnceAlthoughSdlCopiesThemToTheMouse) {
  start({"one"});
  EXPECT_FALSE(send(ofFinger(SDL_FINGERDOWN, 3, {300, 400})));
  EXPECT_FALSE(send(ofFinger(SDL_FINGERUP, 3, {300, 400})));
  show("one");
  const CGPoint yes = find("Yes"), outside{10, 10};
  EXPECT_TRUE(send(ofFinger(SDL_FINGERDOWN, 4, outside))) << "a second finger, which a message keeps from the game";
  EXPECT_TRUE(send(ofCopy(SDL_MOUSEBUTTONDOWN, yes)));
  EXPECT_TRUE(send(ofFinger(SDL_FINGERDOWN, 3, yes)));
  EXPECT_TRUE(send(ofFinger(SDL_FINGERMOTION, 3, {yes.x + 2, yes.y})));
  EXPECT_TRUE(send(ofCopy(SDL_MOUSEBUTTONUP, yes)));
  EXPECT_EQ(calls, (std::vector<std::string>{"shown one"})) << "the copy presses nothing";
  EXPECT_TRUE(send(ofFinger(SDL_FINGERUP, 3, yes)));
  EXPECT_TRUE(send(ofFinger(SDL_FINGERUP, 4, outside)));
  ASSERT_TRUE(runUntil([&] { return calls.size() == 2; }));
  EXPECT_EQ(calls.back(), "yes one");
}

TEST_F(InputGame, LoopThatWaitsForEventsWakesUpForWorkAndForMessages) {
  start({"one"});
  ASSERT_TRUE(runUntil([&] { return overlay->timeout() == -1; })) << "nothing is scheduled";
  EXPECT_FALSE(overlay->needsRender());
  std::thread recorder([] { EXPECT_TRUE(Messages::record("one")); });
  SDL_Event event;
  bool isOurs = false;
  while (!isOurs && SDL_WaitEventTimeout(&event, 20'000)) isOurs = overlay->handleEvent(event);
  EXPECT_TRUE(isOurs);
  recorder.join();
  EXPECT_TRUE(runUntil([&] { return !calls.empty(); }));
}

TEST_F(InputGame, HiddenPointerIsShownWhileAMessageIsOnScreen) {
  start({"card", "again"});
  SDL_ShowCursor(SDL_DISABLE);
  SDL_SetRelativeMouseMode(SDL_TRUE);
  show("card");
  EXPECT_EQ(SDL_ShowCursor(SDL_QUERY), SDL_ENABLE);
  EXPECT_FALSE(SDL_GetRelativeMouseMode());
  EXPECT_TRUE(press(SDLK_ESCAPE));
  ASSERT_TRUE(runUntil([&] { return calls.back() == "closed card"; }));
  const auto isHidden = [] { return SDL_ShowCursor(SDL_QUERY) == SDL_DISABLE && SDL_GetRelativeMouseMode(); };
  EXPECT_TRUE(runUntil(isHidden));
  show("again");
  EXPECT_FALSE(isHidden());
  overlay.reset();
  EXPECT_TRUE(isHidden()) << "also if the overlay is destroyed first";
}

TEST_F(InputGame, MessageFollowsTheWindowsSizeAndWaitsWhileItIsHidden) {
  start({"one"});
  SDL_HideWindow(window);
  run(2);
  ASSERT_TRUE(Messages::record("one"));
  run(5);
  EXPECT_TRUE(calls.empty()) << "the user cannot see the window";
  SDL_ShowWindow(window);
  ASSERT_TRUE(runUntil([&] { return calls.size() == 1; }));
  SDL_SetWindowSize(window, 1200, 500);
  ASSERT_TRUE(runUntil([&] {
    int width = 0;
    SDL_GetRendererOutputSize(renderer, &width, nullptr);
    return width == 1200 && !overlay->needsRender();
  }));
  click({600, 250});  // the middle of the card
  EXPECT_TRUE(runUntil([&] { return !SDL_HasEvents(SDL_MOUSEMOTION, SDL_MOUSEBUTTONUP); }));
  EXPECT_FALSE(wasSeen(SDL_MOUSEBUTTONDOWN));
}

TEST_F(InputGame, OverlayOutlivesItsWindowAndRenderer) {
  start({"one"});
  show("one");
  SDL_DestroyRenderer(renderer);
  overlay->update();
  overlay->render();
  SDL_DestroyWindow(std::exchange(window, nullptr));
  SDL_Event event{};
  event.type = SDL_MOUSEBUTTONDOWN;
  event.button.button = SDL_BUTTON_LEFT;
  EXPECT_FALSE(overlay->handleEvent(event));
  overlay->update();
  overlay->render();
  EXPECT_EQ(overlay->paint().pixels, nullptr);
  EXPECT_TRUE(Messages::record("one"));
}

TEST_F(InputGame, AttachingRefusesWhatIsNoWindowWithAReason) {
  const auto refused = [](const std::unique_ptr<sdl::Overlay>& result) {
    const std::string reason = SDL_GetError();
    SDL_ClearError();
    return !result && reason.find("oq::sdl::attach(): ") == 0;
  };
  SDL_Window* other = SDL_CreateWindow("Other", 0, 0, 100, 100, SDL_WINDOW_HIDDEN);
  EXPECT_TRUE(refused(sdl::attach(nullptr, options())));
  EXPECT_TRUE(refused(sdl::attach(window, options()))) << "it has an overlay";
  EXPECT_TRUE(refused(sdl::attach(other, nullptr, options())));
  EXPECT_TRUE(refused(sdl::attach(other, renderer, options()))) << "another window's renderer";
  std::thread([&] { EXPECT_TRUE(refused(sdl::attach(other, options()))); }).join();
  EXPECT_TRUE(sdl::attach(other, options()));
  SDL_DestroyWindow(other);
  overlay.reset();
  EXPECT_TRUE(overlay = sdl::attach(window, renderer, options())) << "it can be attached again";
}

TEST_F(InputGame, RawPixelsAreThoseOfTheWindowWithWhatHasChanged) {
  start({"one"});
  EXPECT_EQ(overlay->paint().pixels, nullptr);
  show("one");
  const sdl::OverlayPixels shown = overlay->paint();
  ASSERT_TRUE(shown.pixels);
  EXPECT_EQ(shown.width * 10000 + shown.height, kWidth * 10000 + kHeight);
  EXPECT_EQ(shown.damage.width, 0) << "render() has painted it already";
  const std::uint32_t dimmed = shown.pixels[0], alpha = dimmed >> 24;
  EXPECT_TRUE(alpha > 0 && alpha < 255);
  EXPECT_TRUE((dimmed & 255) <= alpha) << "multiplied by alpha";
  const CGPoint yes = find("Yes");
  SDL_Event press{};
  press.type = SDL_MOUSEBUTTONDOWN;
  press.button = ofCopy(SDL_MOUSEBUTTONDOWN, yes).button;
  press.button.which = 0;
  EXPECT_TRUE(overlay->handleEvent(press));
  overlay->update();
  const sdl::PixelArea damage = overlay->paint().damage;
  EXPECT_TRUE(damage.width > 20 && damage.width < kWidth / 2 && damage.height < 200) << "only the pressed button";
  EXPECT_TRUE(yes.x >= damage.x && yes.x < damage.x + damage.width);
}

}  // namespace
}  // namespace oq
