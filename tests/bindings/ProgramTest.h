// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "oqsdk/c/oqsdk.h"
#include "support/EngineTest.h"

namespace oq::test {

constexpr double kWidth = 375, kHeight = 700, kScale = 1.25;

/// A program in C with a loop of its own, pixels in memory, and a scripted server.
class ProgramTest : public WorldTest {
 protected:
  ProgramTest() {
    network->answer("/push/sdk/login", R"({"code":0,"token":"token-1"})");
    initialise();
  }
  ~ProgramTest() override {
    EXPECT_TRUE(network->settle());
    if (!isShutDown) {
      EXPECT_EQ(oq_resume(), OQ_OK);
      EXPECT_EQ(oq_shutdown(), OQ_OK) << oq_last_error();
    }
    DispatchQueue::installMain();
  }

  void initialise() {
    oq_init_options options = OQ_INIT_OPTIONS_INIT;
    options.application = "com.example.c";
    const std::string data = folder().string();
    options.data_folder = data.c_str();
    EXPECT_EQ(oq_init(&options), OQ_OK) << oq_last_error();
    EXPECT_EQ(oq_on_wake(&ProgramTest::wake, this, nullptr), OQ_OK);
  }
  oq_surface* makeSurface() {
    oq_surface_options options = OQ_SURFACE_OPTIONS_INIT;
    options.width = kWidth;
    options.height = kHeight;
    options.pixels_per_point = kScale;
    options.data = this;
    options.release = [](void* self) { ++static_cast<ProgramTest*>(self)->released; };
    options.frame_wanted = [](oq_surface*, void* self) { static_cast<ProgramTest*>(self)->isFrameWanted = true; };
    surface = oq_surface_new(&options);
    EXPECT_TRUE(surface) << oq_last_error();
    return surface;
  }
  /// Sets the user and starts the library.
  virtual void startLibrary() {
    oq_start_options options = OQ_START_OPTIONS_INIT;
    options.app_key = "my-application";
    options.server = "https://messages.example";
    ASSERT_EQ(oq_set_user("user-1"), OQ_OK);
    ASSERT_EQ(oq_start(&options), OQ_OK) << oq_last_error();
  }
  void start(const JSONArray& records) {
    network->answer("/push/sdk/in_app", textOf(listAnswer(records)));
    startLibrary();
    ASSERT_TRUE(network->settle());
    ASSERT_TRUE(runUntil([&] { return oq_pump(1) > 0 && network->requests("/push/sdk/in_app").size() == 1; }));
    ASSERT_TRUE(network->settle());
    oq_pump(1);
  }
  /// Runs the loop until the condition is true. Each pass sleeps until the library wakes it, until the time that
  /// oq_pump() has returned, or for 50 ms. Returns false after half a minute.
  [[nodiscard]] bool runUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
      if (std::chrono::steady_clock::now() > end) return false;
      const double idle = oq_pump(0.004);
      if (isFrameWanted) paint();
      std::unique_lock lock(_mutex);
      _woken.wait_for(lock, std::chrono::duration<double>(std::clamp(idle, 0.0, 0.05)), [this] { return _isAwake; });
      _isAwake = false;
    }
    return true;
  }
  oq_frame paint() {
    isFrameWanted = false;
    oq_buffer buffer = OQ_BUFFER_INIT;
    EXPECT_EQ(oq_surface_pixel_size(surface, &buffer.width, &buffer.height), OQ_OK);
    const auto count = static_cast<std::size_t>(buffer.width) * static_cast<std::size_t>(buffer.height);
    buffer.holds_last_frame = pixels.size() == count;
    pixels.resize(count);
    buffer.pixels = pixels.data();
    buffer.stride = buffer.width * 4;
    return oq_surface_paint(surface, &buffer, &damage);
  }
  /// The element with this name; its id is 0 if there is none.
  oq_element find(const std::string& name) const {
    struct Search {
      const std::string& name;
      oq_element found{};
    } search{name};
    EXPECT_EQ(oq_surface_list_elements(
                  surface,
                  [](const oq_element* element, void* data) {
                    auto& wanted = *static_cast<Search*>(data);
                    if (element->name == wanted.name && element->role != OQ_ROLE_DIALOG) wanted.found = *element;
                  },
                  &search),
              OQ_OK);
    return search.found;
  }
  bool tap(const std::string& name) {
    const oq_element element = find(name);
    const double x = element.x + element.width / 2, y = element.y + element.height / 2;
    const bool isOurs = oq_surface_touch(surface, 7, OQ_TOUCH_BEGAN, x, y);
    return oq_surface_touch(surface, 7, OQ_TOUCH_ENDED, x, y) && isOurs;
  }
  std::size_t reports() const { return network->requests("/push/sdk/in_app/callback").size(); }

  oq_surface* surface = nullptr;
  std::vector<std::uint32_t> pixels;
  oq_rect damage{};
  int released = 0;
  std::atomic<int> wakes = 0;  ///< how often the library has woken the loop
  bool isFrameWanted = false, isShutDown = false;

 private:
  static void wake(void* self) {
    auto& test = *static_cast<ProgramTest*>(self);
    const std::lock_guard lock(test._mutex);
    test._isAwake = true;
    ++test.wakes;
    test._woken.notify_all();
  }

  std::mutex _mutex;
  std::condition_variable _woken;
  bool _isAwake = false;
};

/// A campaign of style 3 with the buttons "No" and "Yes"; "Yes" has a link.
inline JSONValue buttonsCampaign(const std::string& id, const std::string& event) {
  return campaign(id, event,
                  {{"style", 3},
                   {"count", 9},
                   {"title", {{"text", "Title " + id}}},
                   {"buttonLeft", {{"text", "No"}, {"clickEvent", ""}}},
                   {"buttonRight", {{"text", "Yes"}, {"clickEvent", "https://shop.example/yes"}}}});
}

}  // namespace oq::test
