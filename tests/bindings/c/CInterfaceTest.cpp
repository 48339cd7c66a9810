// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/c/oqsdk.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bindings/ProgramTest.h"

namespace oq {
namespace {

using test::buttonsCampaign;
using Calls = std::vector<std::string>;

/// A program that records the calls of its callbacks.
class CInterface : public test::ProgramTest {
 public:
  void paintWanted(oq_surface* given) {
    EXPECT_EQ(given, surface) << "the program knows the surface already";
    paint();
  }

 protected:
  oq_handlers recordingHandlers() {
    oq_handlers handlers = OQ_HANDLERS_INIT;
    handlers.data = this;
    handlers.release = [](void* self) { ++static_cast<CInterface*>(self)->released; };
    handlers.shown = [](const oq_message* message, void* self) { note(self, "shown", message); };
    handlers.closed = [](const oq_message* message, void* self) { note(self, "closed", message); };
    handlers.removed = [](const oq_message* message, void* self) { note(self, "removed", message); };
    handlers.clicked = [](const oq_message* message, oq_action part, void* self) {
      note(self, "clicked " + std::to_string(part), message);
    };
    handlers.link = [](const oq_message* message, const char* url, void* self) {
      note(self, url, message);
      return true;
    };
    return handlers;
  }
  static void note(void* self, const std::string& what, const oq_message* message) {
    auto& test = *static_cast<CInterface*>(self);
    test.calls.push_back(what + " " + message->campaign + " " + message->event);
    if (test.inCallback) test.inCallback();
  }
  [[nodiscard]] bool runUntilCalled(const Calls& expected) {
    const bool met = runUntil([&] { return calls.size() >= expected.size(); });
    EXPECT_EQ(calls, expected);
    return met && calls == expected;
  }

  Calls calls;
  std::function<void()> inCallback;
};

TEST_F(CInterface, MessageIsPaintedAndItsButtonsWork) {
  const oq_handlers handlers = recordingHandlers();
  ASSERT_EQ(oq_set_handlers(&handlers), OQ_OK);
  makeSurface();
  start({buttonsCampaign("1", "buy"), buttonsCampaign("2", "leave"), buttonsCampaign("3", "stay")});
  ASSERT_TRUE(runUntil([&] { return oq_surface_state(surface) == OQ_SURFACE_EMPTY; }));
  EXPECT_FALSE(oq_surface_key(surface, OQ_KEY_OTHER)) << "without a message, keys belong to the program";
  EXPECT_FALSE(oq_surface_touch(surface, 1, OQ_TOUCH_BEGAN, 100, 100));

  ASSERT_EQ(oq_record("buy", R"({"price":12})"), OQ_OK) << oq_last_error();
  ASSERT_TRUE(runUntilCalled({"shown 1 buy"}));
  EXPECT_EQ(oq_surface_state(surface) & (OQ_SURFACE_EMPTY | OQ_SURFACE_DIALOG), unsigned{OQ_SURFACE_DIALOG});
  EXPECT_GT(pixels.at(0) >> 24, 0u) << "the window is dimmed";
  EXPECT_TRUE(oq_surface_key(surface, OQ_KEY_OTHER));
  const oq_element button = find("Yes");
  EXPECT_TRUE(button.role == OQ_ROLE_BUTTON && button.takes_input && button.is_enabled);
  EXPECT_TRUE(oq_surface_pointer(surface, true, button.x + 5, button.y + 5)) << "the pointer is a hand";
  ASSERT_TRUE(tap("Yes"));
  ASSERT_TRUE(runUntilCalled({"shown 1 buy", "clicked 5 1 buy", "https://shop.example/yes 1 buy"}));
  ASSERT_TRUE(runUntil([&] { return oq_surface_state(surface) == OQ_SURFACE_EMPTY; }));
  EXPECT_EQ(paint(), OQ_FRAME_NOTHING);
  EXPECT_EQ(pixels, std::vector<std::uint32_t>(pixels.size()));
  EXPECT_EQ(paint(), OQ_FRAME_NOTHING);
  EXPECT_EQ(damage.width, 0) << "nothing has changed since";

  calls.clear();
  ASSERT_EQ(oq_pump(1), INFINITY) << "nothing is scheduled";
  const int wakesBefore = wakes;
  std::thread([] { EXPECT_EQ(oq_record("leave", nullptr), OQ_OK); }).join();
  EXPECT_GT(wakes, wakesBefore);
  ASSERT_TRUE(runUntilCalled({"shown 2 leave"}));
  ASSERT_EQ(oq_surface_set_size(surface, 1200, 700, 1), OQ_OK);
  ASSERT_TRUE(runUntil([&] { return pixels.size() == 1200u * 700u; }));
  EXPECT_TRUE(oq_surface_activate(surface, find("No").id));
  ASSERT_TRUE(runUntilCalled({"shown 2 leave", "clicked 4 2 leave"}));
  ASSERT_EQ(oq_record("stay", nullptr), OQ_OK);
  ASSERT_TRUE(runUntil([&] { return calls.back() == "shown 3 stay"; }));
  EXPECT_EQ(oq_dismiss(), OQ_OK);
  ASSERT_TRUE(runUntil([&] { return calls.back() == "removed 3 stay"; }));
  EXPECT_EQ(reports(), 5u) << "three times shown and two clicks";

  EXPECT_EQ(oq_surface_free(surface), OQ_OK);
  EXPECT_EQ(released, 1);
  EXPECT_EQ(oq_set_handlers(nullptr), OQ_OK);
  EXPECT_EQ(released, 2);
}

TEST_F(CInterface, ProgramCanDrawAMessageItselfAndReportWhatHappens) {
  static oq_reporter* reporter = nullptr;
  static std::string content;
  oq_handlers handlers = recordingHandlers();
  handlers.present = [](const oq_message*, const char* json, oq_reporter* given, void*) {
    content = json;
    if (reporter) return false;
    reporter = given;
    return true;
  };
  ASSERT_EQ(oq_set_handlers(&handlers), OQ_OK);
  makeSurface();
  start({buttonsCampaign("1", "buy"), buttonsCampaign("2", "leave")});
  ASSERT_EQ(oq_record("buy", nullptr), OQ_OK);
  ASSERT_TRUE(runUntil([] { return reporter != nullptr; }));
  const Value described = Value::parse(content);
  EXPECT_EQ(described.at("buttonRight").at("text"), "Yes");
  EXPECT_EQ(oq_reporter_report(reporter, OQ_LEFT_BUTTON), OQ_ERROR_STATE) << "it is not shown yet";
  EXPECT_EQ(oq_reporter_report(reporter, 7), OQ_ERROR_ARGUMENT);
  EXPECT_EQ(oq_reporter_report(reporter, OQ_SHOWN), OQ_OK);
  EXPECT_EQ(oq_reporter_report(reporter, OQ_RIGHT_BUTTON), OQ_OK);
  EXPECT_EQ(oq_reporter_report(reporter, OQ_CLOSED), OQ_ERROR_STATE) << "it is gone";
  EXPECT_EQ(oq_reporter_free(reporter), OQ_OK);
  EXPECT_EQ(oq_reporter_free(reporter), OQ_ERROR_ARGUMENT);
  EXPECT_EQ(oq_reporter_report(reporter, OQ_SHOWN), OQ_ERROR_ARGUMENT);
  ASSERT_TRUE(runUntil([&] { return calls.size() == 3; }));
  EXPECT_EQ(calls, (Calls{"shown 1 buy", "clicked 5 1 buy", "https://shop.example/yes 1 buy"}));

  // For the next message `present` returns false, so the library shows it.
  ASSERT_EQ(oq_record("leave", nullptr), OQ_OK);
  ASSERT_TRUE(runUntil([&] { return calls.size() == 4; }));
  EXPECT_NE(find("Yes").id, 0u);
  reporter = nullptr;
}

TEST_F(CInterface, CallbacksMayCallTheLibraryAndThrow) {
  oq_handlers handlers = recordingHandlers();
  handlers.may_show = [](const oq_message*, void*) -> bool { throw std::runtime_error("of a program in C++"); };
  ASSERT_EQ(oq_set_handlers(&handlers), OQ_OK);
  makeSurface();
  start({buttonsCampaign("1", "buy")});
  std::vector<int> results;
  inCallback = [&] {
    results.push_back(oq_pump(0) == -1 ? OQ_ERROR_STATE : OQ_OK);
    results.push_back(oq_shutdown());
    results.push_back(oq_record("another", nullptr));
    results.push_back(oq_surface_free(surface));
    results.push_back(oq_set_handlers(nullptr));
    results.push_back(oq_surface_free(surface));
    isFrameWanted = false;  // there is no surface to paint any more
    throw std::runtime_error("after all that");
  };
  ASSERT_EQ(oq_record("buy", nullptr), OQ_OK);
  ASSERT_TRUE(runUntil([&] { return !results.empty(); }));
  EXPECT_STREQ(oq_last_error(), "") << "the failures belong to the calls of the callback";
  EXPECT_EQ(results, (std::vector<int>{OQ_ERROR_STATE, OQ_ERROR_STATE, OQ_OK, OQ_OK, OQ_OK, OQ_ERROR_ARGUMENT}));
  inCallback = nullptr;
  EXPECT_FALSE(isFrameWanted);
  oq_pump(1);
  EXPECT_EQ(released, 2) << "the surface's and the handlers', after their last callback";
  EXPECT_EQ(oq_surface_state(surface), 0u);
  EXPECT_STRNE(oq_last_error(), "");
}

/// A call that must fail with this result, and with a reason in oq_last_error().
struct BadCall {
  const char* name;
  oq_result expected;
  std::function<oq_result()> call;
};

/// The result of a bad call of a function that returns no oq_result. The call has failed as expected if `hasFailed` is
/// true and oq_last_error() contains a reason.
oq_result failed(bool hasFailed) {
  return hasFailed && *oq_last_error() ? OQ_ERROR_ARGUMENT : OQ_OK;
}

TEST_F(CInterface, InvalidArgumentsAreRefusedWithAReason) {
  makeSurface();
  start({});
  const std::size_t requests = network->requests().size();
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  int other = 0;
  auto* noSurface = reinterpret_cast<oq_surface*>(&other);
  const auto startWith = [](auto change) {
    oq_start_options options = OQ_START_OPTIONS_INIT;
    options.app_key = "key";
    change(options);
    return oq_start(&options);
  };
  const auto paintWith = [&](auto change) {
    std::uint32_t memory[4] = {1, 2, 3, 4};
    oq_buffer buffer = OQ_BUFFER_INIT;
    buffer.pixels = memory;
    buffer.width = buffer.height = 2;
    buffer.stride = 8;
    change(buffer);
    const bool hasFailed = oq_surface_paint(surface, &buffer, nullptr) == OQ_FRAME_ERROR && memory[0] == 1;
    return failed(hasFailed);
  };
  const auto surfaceWith = [](auto change) {
    oq_surface_options options = OQ_SURFACE_OPTIONS_INIT;
    change(options);
    return failed(oq_surface_new(&options) == nullptr);
  };
  oq_init_options again = OQ_INIT_OPTIONS_INIT;
  again.application = "com.example.again";
  const std::vector<BadCall> badCalls = {
      {"second init", OQ_ERROR_STATE, [&] { return oq_init(&again); }},
      {"no options", OQ_ERROR_ARGUMENT, [] { return oq_start(nullptr); }},
      {"no key", OQ_ERROR_ARGUMENT, [&] { return startWith([](auto& o) { o.app_key = nullptr; }); }},
      {"empty key", OQ_ERROR_ARGUMENT, [&] { return startWith([](auto& o) { o.app_key = ""; }); }},
      {"http", OQ_ERROR_ARGUMENT, [&] { return startWith([](auto& o) { o.server = "http://a.example"; }); }},
      {"struct too small", OQ_ERROR_ARGUMENT, [&] { return startWith([](auto& o) { o.size = 8; }); }},
      {"size not set", OQ_ERROR_ARGUMENT, [&] { return startWith([](auto& o) { o.size = 0; }); }},
      {"size is garbage", OQ_ERROR_ARGUMENT, [&] { return startWith([](auto& o) { o.size = SIZE_MAX; }); }},
      {"environment", OQ_ERROR_ARGUMENT, [] { return oq_set_environment(3); }},
      {"server's environment", OQ_ERROR_ARGUMENT, [] { return oq_set_server(-1, "https://a.example"); }},
      {"server is NULL", OQ_ERROR_ARGUMENT, [] { return oq_set_server(OQ_ENVIRONMENT_TEST, nullptr); }},
      {"server is no URL", OQ_ERROR_ARGUMENT, [] { return oq_set_server(OQ_ENVIRONMENT_TEST, "example"); }},
      {"user is NULL", OQ_ERROR_ARGUMENT, [] { return oq_set_user(nullptr); }},
      {"user is empty", OQ_ERROR_ARGUMENT, [] { return oq_set_user(""); }},
      {"user is not UTF-8", OQ_ERROR_ARGUMENT, [] { return oq_set_user("\xff"); }},
      {"event is NULL", OQ_ERROR_ARGUMENT, [] { return oq_record(nullptr, nullptr); }},
      {"event is empty", OQ_ERROR_ARGUMENT, [] { return oq_record("", nullptr); }},
      {"properties are no JSON", OQ_ERROR_ARGUMENT, [] { return oq_record("buy", "{"); }},
      {"properties are an array", OQ_ERROR_ARGUMENT, [] { return oq_record("buy", "[]"); }},
      {"properties are null", OQ_ERROR_ARGUMENT, [] { return oq_record("buy", "null"); }},
      {"properties are empty", OQ_ERROR_ARGUMENT, [] { return oq_record("buy", ""); }},
      {"push", OQ_ERROR_ARGUMENT, [] { return oq_track_push(true, "1"); }},
      {"page", OQ_ERROR_ARGUMENT, [] { return failed(!oq_page_show("")); }},
      {"unknown page", OQ_ERROR_ARGUMENT, [&] { return oq_page_hide(reinterpret_cast<oq_page*>(&other)); }},
      {"unknown reporter", OQ_ERROR_ARGUMENT, [] { return oq_reporter_report(nullptr, OQ_SHOWN); }},
      {"flush", OQ_ERROR_ARGUMENT, [] { return oq_flush(-1, nullptr); }},
      {"flush for NaN", OQ_ERROR_ARGUMENT, [] { return oq_flush(nan, nullptr); }},
      {"pump", OQ_ERROR_ARGUMENT, [] { return failed(oq_pump(nan) == -1); }},
      {"surface without a scale", OQ_ERROR_ARGUMENT,
       [&] { return surfaceWith([](auto& o) { o.pixels_per_point = 0; }); }},
      {"surface of a negative size", OQ_ERROR_ARGUMENT, [&] { return surfaceWith([](auto& o) { o.width = -1; }); }},
      {"surface without a maximum", OQ_ERROR_ARGUMENT,
       [&] { return surfaceWith([](auto& o) { o.maximum_scale = nan; }); }},
      {"unknown surface", OQ_ERROR_ARGUMENT, [&] { return oq_surface_set_visible(noSurface, true); }},
      {"surface is NULL", OQ_ERROR_ARGUMENT, [] { return oq_surface_set_focused(nullptr, true); }},
      {"resized to infinity", OQ_ERROR_ARGUMENT, [&] { return oq_surface_set_size(surface, INFINITY, 1, 1); }},
      {"pixel size", OQ_ERROR_ARGUMENT, [&] { return oq_surface_pixel_size(surface, nullptr, &other); }},
      {"no pixels", OQ_ERROR_ARGUMENT, [&] { return paintWith([](auto& b) { b.pixels = nullptr; }); }},
      {"stride", OQ_ERROR_ARGUMENT, [&] { return paintWith([](auto& b) { b.stride = 4; }); }},
      {"touch", OQ_ERROR_ARGUMENT, [&] { return failed(!oq_surface_touch(surface, 1, 4, 1, 1)); }},
      {"position", OQ_ERROR_ARGUMENT, [&] { return failed(!oq_surface_touch(surface, 1, OQ_TOUCH_BEGAN, nan, 1)); }},
      {"scrolling", OQ_ERROR_ARGUMENT, [&] { return failed(!oq_surface_scroll(surface, 1, 1, 0, INFINITY)); }},
      {"key", OQ_ERROR_ARGUMENT, [&] { return failed(!oq_surface_key(surface, 12)); }},
      {"elements", OQ_ERROR_ARGUMENT, [&] { return oq_surface_list_elements(surface, nullptr, nullptr); }},
  };
  for (const BadCall& bad : badCalls) {
    EXPECT_EQ(oq_hold(), OQ_OK);
    EXPECT_STREQ(oq_last_error(), "") << "before " << bad.name;
    EXPECT_EQ(bad.call(), bad.expected) << bad.name;
    EXPECT_STRNE(oq_last_error(), "") << bad.name;
  }
  ASSERT_TRUE(network->settle());
  EXPECT_EQ(network->requests().size(), requests) << "nothing was sent";
}

TEST_F(CInterface, StructsOfNewerHeadersAreAcceptedIfTheirAddedFieldsAreZero) {
  // As in a program that was compiled with a newer header, whose struct has one more field.
  struct Newer {
    oq_start_options known = OQ_START_OPTIONS_INIT;
    const char* added = nullptr;
  } newer;
  newer.known.size = sizeof newer;
  newer.known.app_key = "key";
  newer.added = "not understood";
  EXPECT_EQ(oq_start(&newer.known), OQ_ERROR_ARGUMENT);
  newer.added = nullptr;
  EXPECT_EQ(oq_start(&newer.known), OQ_OK) << oq_last_error();
}

TEST_F(CInterface, FlagThatIsNeitherZeroNorOneMeansTrue) {
  oq_start_options options = OQ_START_OPTIONS_INIT;
  options.app_key = "key";
  std::memset(&options.require_consent, 2, 1);  // as a program in another language may do
  EXPECT_TRUE(oq_has_consent());
  EXPECT_EQ(oq_start(&options), OQ_OK) << oq_last_error();
  EXPECT_FALSE(oq_has_consent());
}

TEST_F(CInterface, FreedHandleIsNeverValidAgain) {
  oq_surface* first = makeSurface();
  EXPECT_EQ(oq_surface_free(first), OQ_OK);
  makeSurface();
  EXPECT_EQ(oq_surface_free(first), OQ_ERROR_ARGUMENT);
  EXPECT_EQ(oq_surface_set_visible(surface, true), OQ_OK);
}

TEST_F(CInterface, ProgramMayPaintWheneverAFrameIsWanted) {
  oq_handlers handlers = recordingHandlers();
  ASSERT_EQ(oq_set_handlers(&handlers), OQ_OK);
  oq_surface_options options = OQ_SURFACE_OPTIONS_INIT;
  options.width = options.height = 700;
  options.data = this;
  options.frame_wanted = [](oq_surface* given, void* self) { static_cast<CInterface*>(self)->paintWanted(given); };
  surface = oq_surface_new(&options);
  start({buttonsCampaign("1", "buy")});
  ASSERT_EQ(oq_record("buy", nullptr), OQ_OK);
  EXPECT_TRUE(runUntilCalled({"shown 1 buy"}));
}

TEST_F(CInterface, CallsOnOtherThreadsOrAfterShutdownAreRefused) {
  oq_handlers handlers = recordingHandlers();
  handlers.release = [](void*) {
    const oq_surface_options options = OQ_SURFACE_OPTIONS_INIT;
    EXPECT_EQ(oq_surface_new(&options), nullptr) << "during oq_shutdown()";
  };
  ASSERT_EQ(oq_set_handlers(&handlers), OQ_OK);
  makeSurface();
  start({});
  oq_page* page = oq_page_show("CartPage");
  ASSERT_TRUE(page) << oq_last_error();
  std::thread other([&] {
    EXPECT_EQ(oq_surface_set_visible(surface, false), OQ_ERROR_THREAD);
    EXPECT_EQ(oq_surface_free(surface), OQ_ERROR_THREAD);
    EXPECT_EQ(oq_page_hide(page), OQ_ERROR_THREAD);
    EXPECT_EQ(oq_shutdown(), OQ_ERROR_THREAD);
    EXPECT_EQ(oq_pump(0), -1);
    EXPECT_EQ(oq_record("buy", R"({"a":[1,{}]})"), OQ_OK) << oq_last_error();
    EXPECT_EQ(oq_record("buy", "no"), OQ_ERROR_ARGUMENT);
    EXPECT_STRNE(oq_last_error(), "");
  });
  other.join();
  EXPECT_EQ(oq_hold(), OQ_OK);
  EXPECT_STREQ(oq_last_error(), "") << "each thread has its own";

  EXPECT_EQ(oq_shutdown(), OQ_OK) << oq_last_error();
  isShutDown = true;
  EXPECT_EQ(released, 1) << "the surface's";
  EXPECT_EQ(oq_shutdown(), OQ_ERROR_STATE);
  EXPECT_EQ(oq_record("buy", nullptr), OQ_ERROR_STATE);
  EXPECT_EQ(oq_surface_set_visible(surface, true), OQ_ERROR_STATE);
  EXPECT_EQ(oq_surface_free(surface), OQ_ERROR_STATE);
  EXPECT_EQ(oq_page_hide(page), OQ_ERROR_STATE);
  EXPECT_EQ(oq_pump(0), -1);
  EXPECT_FALSE(oq_has_consent());
  EXPECT_STRNE(oq_last_error(), "");

  oq_init_options options = OQ_INIT_OPTIONS_INIT;
  EXPECT_EQ(oq_init(&options), OQ_ERROR_ARGUMENT) << "without an application";
  options.application = "com.example.c";
  const std::string data = folder().string();
  options.data_folder = data.c_str();
  EXPECT_EQ(oq_init(&options), OQ_OK) << oq_last_error();
  isShutDown = false;
  EXPECT_EQ(oq_surface_set_visible(surface, true), OQ_ERROR_ARGUMENT) << "a surface of before";
  EXPECT_TRUE(makeSurface());
}

TEST_F(CInterface, ShutdownWaitsForAStartOnAnotherThread) {
  ASSERT_EQ(oq_pump(1), INFINITY);
  const int wakesBefore = wakes;
  std::thread starting([&] { startLibrary(); });
  while (wakes == wakesBefore) std::this_thread::yield();  // until the start waits for the main queue
  EXPECT_EQ(oq_shutdown(), OQ_OK) << oq_last_error();
  isShutDown = true;
  starting.join();
}

TEST_F(CInterface, LogEntriesReachTheHandlerUntilItIsRemoved) {
  static std::string log;
  log.clear();
  int releases = 0;
  ASSERT_EQ(oq_set_log_handler([](oq_log_level, const char* entry, void*) { log += entry; }, &releases,
                               [](void* count) { ++*static_cast<int*>(count); }),
            OQ_OK);
  start({});
  EXPECT_NE(log.find("login"), std::string::npos) << log;
  EXPECT_EQ(oq_set_log_handler(nullptr, nullptr, nullptr), OQ_OK);
  EXPECT_EQ(releases, 1);
  log.clear();
  EXPECT_EQ(oq_refresh(), OQ_OK);
  ASSERT_TRUE(network->settle());
  oq_pump(1);
  EXPECT_EQ(log, "");
}

}  // namespace
}  // namespace oq
