// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bindings/ProgramTest.h"
#include "gobject/Json.h"
#include "oqsdk/OQObserverListener.h"
#include "oqsdk/c/gobject.h"

namespace oq {
namespace {

using test::buttonsCampaign;
using Calls = std::vector<std::string>;

/// A program that uses the library's object. At the end of each test the object must be finalised.
class GObjectInterface : public test::ProgramTest {
 protected:
  GObjectInterface() { observeMessages(); }
  ~GObjectInterface() override {
    if (!isFinalised) g_object_run_dispose(G_OBJECT(messages));
    EXPECT_TRUE(isFinalised) << "a reference was not released";
  }

  /// Makes `isFinalised` true when `messages` is finalised. (A weak reference would end earlier, when it is disposed.)
  void observeMessages() {
    messages = oqsdk_messages_get_default();
    isFinalised = false;
    g_object_set_data_full(G_OBJECT(messages), "test", &isFinalised,
                           [](gpointer flag) { *static_cast<bool*>(flag) = true; });
  }
  void startLibrary() override {
    g_autoptr(GError) error = nullptr;
    ASSERT_TRUE(oqsdk_messages_set_user(messages, "user-1", &error)) << error->message;
    ASSERT_TRUE(oqsdk_messages_start(messages, "my-application", "https://messages.example", &error)) << error->message;
  }
  /// Connects a callback whose data is this test. `destroyed` counts the closures that were freed.
  template <class Callback>
  gulong connect(const char* signal, Callback* callback) {
    const auto destroy = [](gpointer self, GClosure*) { ++static_cast<GObjectInterface*>(self)->destroyed; };
    return g_signal_connect_data(messages, signal, G_CALLBACK(callback), this, destroy, GConnectFlags{});
  }
  static void note(const OqsdkMessage* message, const std::string& what, gpointer self) {
    auto& test = *static_cast<GObjectInterface*>(self);
    test.calls.push_back(what + " " + message->campaign + " " + message->event);
  }
  static void noteShown(OqsdkMessages*, const OqsdkMessage* message, gpointer self) { note(message, "shown", self); }
  static void noteRemoved(OqsdkMessages*, const OqsdkMessage* message, gpointer self) {
    note(message, "removed", self);
  }
  static gboolean noteAsked(OqsdkMessages*, const OqsdkMessage* message, gpointer self) {
    note(message, "asked", self);
    return TRUE;
  }
  static void noteClicked(OqsdkMessages*, const OqsdkMessage* message, OqsdkPart part, gpointer self) {
    note(message, "clicked " + std::to_string(part), self);
  }
  [[nodiscard]] bool runUntilCalled(const std::string& last) {
    return runUntil([&] { return !calls.empty() && calls.back() == last; });
  }

  /// The properties of an event, without an owner.
  static GVariant* floatingDictionary(bool* isFreed) {
    g_autoptr(GVariant) dictionary = g_variant_ref_sink(g_variant_new_parsed("{'price': <12>}"));
    GBytes* bytes = g_variant_get_data_as_bytes(dictionary);
    return g_variant_new_from_data(G_VARIANT_TYPE_VARDICT, g_bytes_get_data(bytes, nullptr), g_bytes_get_size(bytes),
                                   TRUE, noteFreed, new std::pair(bytes, isFreed));
  }
  static void noteFreed(gpointer data) {
    const std::unique_ptr<std::pair<GBytes*, bool*>> freed(static_cast<std::pair<GBytes*, bool*>*>(data));
    g_bytes_unref(freed->first);
    *freed->second = true;
  }

  OqsdkMessages* messages = nullptr;
  Calls calls;
  int destroyed = 0;
  bool isFinalised = false;
};

TEST_F(GObjectInterface, EachStepOfAMessageIsASignal) {
  static OqsdkMessage* kept = nullptr;
  connect("shown", &noteShown);
  connect("clicked", &noteClicked);
  connect("removed", &noteRemoved);
  connect(
      "shown", +[](OqsdkMessages*, const OqsdkMessage* message, gpointer) { kept = oqsdk_message_copy(message); });
  connect(
      "may-show", +[](OqsdkMessages*, const OqsdkMessage* message, gpointer) -> gboolean {
        return std::string("2") != message->campaign;
      });
  connect("may-show", &noteAsked);
  connect(
      "link", +[](OqsdkMessages*, const OqsdkMessage* message, const char* url, gpointer self) -> gboolean {
        note(message, url, self);
        return FALSE;
      });
  connect(
      "link", +[](OqsdkMessages*, const OqsdkMessage* message, const char*, gpointer self) -> gboolean {
        note(message, "handled", self);
        return TRUE;
      });
  connect(
      "link", +[](OqsdkMessages*, const OqsdkMessage* message, const char*, gpointer self) -> gboolean {
        note(message, "not reached", self);
        return TRUE;
      });
  makeSurface();
  start({buttonsCampaign("1", "buy"), buttonsCampaign("2", "leave"), buttonsCampaign("3", "stay")});

  ASSERT_TRUE(oqsdk_messages_record(messages, "leave", nullptr, nullptr));
  bool isFreed = false;
  ASSERT_TRUE(oqsdk_messages_record(messages, "buy", floatingDictionary(&isFreed), nullptr));
  EXPECT_TRUE(isFreed);
  ASSERT_TRUE(runUntilCalled("shown 1 buy"));
  ASSERT_TRUE(tap("Yes"));
  ASSERT_TRUE(runUntilCalled("handled 1 buy"));
  EXPECT_EQ(calls, (Calls{"asked 1 buy", "shown 1 buy", "clicked 5 1 buy", "https://shop.example/yes 1 buy",
                          "handled 1 buy"}));
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->campaign + std::string(kept->event), "1buy") << "a copy stays valid";
  EXPECT_EQ(kept->style, 3);
  g_clear_pointer(&kept, oqsdk_message_free);

  ASSERT_TRUE(oqsdk_messages_record_json(messages, "stay", R"({"price":12})", nullptr));
  ASSERT_TRUE(runUntilCalled("shown 3 stay"));
  g_clear_pointer(&kept, oqsdk_message_free);
  ASSERT_TRUE(oqsdk_messages_dismiss(messages, nullptr));
  ASSERT_TRUE(runUntilCalled("removed 3 stay"));

  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(g_signal_handlers_disconnect_matched(messages, G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, this), 9u);
  EXPECT_EQ(destroyed, 9);
}

TEST_F(GObjectInterface, NothingIsEmittedAfterDispose) {
  connect("shown", &noteShown);
  connect("clicked", &noteClicked);
  makeSurface();
  start({buttonsCampaign("1", "buy"), buttonsCampaign("2", "leave")});
  ASSERT_TRUE(oqsdk_messages_record(messages, "buy", nullptr, nullptr));
  ASSERT_TRUE(runUntilCalled("shown 1 buy"));

  g_object_run_dispose(G_OBJECT(messages));
  EXPECT_EQ(destroyed, 2);
  EXPECT_TRUE(isFinalised);
  ASSERT_TRUE(tap("No"));
  ASSERT_TRUE(runUntil([&] { return reports() == 2; }));
  EXPECT_EQ(calls, Calls{"shown 1 buy"});

  // The next object works.
  observeMessages();
  connect("shown", &noteShown);
  startLibrary();
  ASSERT_TRUE(oqsdk_messages_record(messages, "leave", nullptr, nullptr));
  ASSERT_TRUE(runUntilCalled("shown 2 leave"));
}

TEST_F(GObjectInterface, ObjectLivesUntilACallbackOnAnotherThreadReturns) {
  static std::promise<std::thread::id> asked;
  static std::promise<void> disposed;
  connect(
      "may-show", +[](OqsdkMessages*, const OqsdkMessage*, gpointer) -> gboolean {
        asked.set_value(std::this_thread::get_id());
        disposed.get_future().wait();
        return FALSE;
      });
  makeSurface();
  start({buttonsCampaign("1", "buy")});
  std::thread recorder([this] { EXPECT_TRUE(oqsdk_messages_record(messages, "buy", nullptr, nullptr)); });
  EXPECT_EQ(asked.get_future().get(), recorder.get_id());
  g_object_run_dispose(G_OBJECT(messages));
  EXPECT_FALSE(isFinalised);
  disposed.set_value();
  recorder.join();
  EXPECT_TRUE(isFinalised);
}

TEST_F(GObjectInterface, PropertiesReachTheLibrary) {
  int changes = 0;
  g_signal_connect_swapped(messages, "notify::user", G_CALLBACK(+[](int* count) { ++*count; }), &changes);
  // Before a window is attached.
  ASSERT_EQ(oq_shutdown(), OQ_OK);
  g_object_set(messages, "require-consent", TRUE, "one-at-a-time", TRUE, nullptr);
  initialise();

  connect("shown", &noteShown);
  connect("may-show", &noteAsked);
  makeSurface();
  const auto list = test::listAnswer({buttonsCampaign("1", "buy"), buttonsCampaign("2", "leave")});
  network->answer("/push/sdk/in_app", test::textOf(list));
  startLibrary();
  const auto flag = [&](const char* name) {
    gboolean value = FALSE;
    g_object_get(messages, name, &value, nullptr);
    return value != FALSE;
  };
  ASSERT_TRUE(network->settle());
  oq_pump(1);
  EXPECT_EQ(network->requests().size(), 0u);
  EXPECT_FALSE(flag("consent"));
  g_object_set(messages, "consent", TRUE, "held", TRUE, nullptr);
  EXPECT_TRUE(flag("consent") && flag("held") && oq_is_held());
  ASSERT_TRUE(runUntil([&] { return network->requests("/push/sdk/in_app").size() == 1; }));
  ASSERT_TRUE(network->settle());
  g_object_set(messages, "held", FALSE, nullptr);
  EXPECT_FALSE(oq_is_held());
  ASSERT_TRUE(oqsdk_messages_record(messages, "buy", nullptr, nullptr));
  ASSERT_TRUE(runUntilCalled("shown 1 buy"));
  ASSERT_TRUE(oqsdk_messages_record(messages, "leave", nullptr, nullptr));
  EXPECT_EQ(calls, (Calls{"asked 1 buy", "shown 1 buy"})) << "one at a time";
  g_object_set(messages, "one-at-a-time", FALSE, nullptr);
  ASSERT_TRUE(oqsdk_messages_record(messages, "leave", nullptr, nullptr));
  EXPECT_EQ(calls.back(), "asked 2 leave");

  g_object_set(messages, "user", "user-2", nullptr);
  g_autofree char* user = nullptr;
  g_object_get(messages, "user", &user, nullptr);
  EXPECT_STREQ(user, "user-2");
  EXPECT_EQ(changes, 2);
  ASSERT_TRUE(oqsdk_messages_forget(messages, TRUE, nullptr));
  g_free(user);
  g_object_get(messages, "user", &user, nullptr);
  EXPECT_FALSE(user);
}

TEST_F(GObjectInterface, ThereIsOneObjectAndAFailedStartLeavesItAsItWas) {
  g_autoptr(GObject) constructed = G_OBJECT(g_object_new(OQSDK_TYPE_MESSAGES, nullptr));
  EXPECT_EQ(constructed, G_OBJECT(messages));
  const guint references = G_OBJECT(messages)->ref_count;
  EXPECT_FALSE(oqsdk_messages_start(messages, "", nullptr, nullptr));
  EXPECT_EQ(G_OBJECT(messages)->ref_count, references) << "the library has no callbacks of it";
}

TEST_F(GObjectInterface, PagesOfBeforeAShutdownCannotBeHiddenByMistake) {
  start({});
  ASSERT_TRUE(oqsdk_messages_page_shown(messages, "CartPage", nullptr));
  ASSERT_EQ(oq_shutdown(), OQ_OK);
  initialise();
  oq_page* other = oq_page_show("OtherPage");
  EXPECT_FALSE(oqsdk_messages_page_hidden(messages, "CartPage", nullptr));
  EXPECT_EQ(oq_page_hide(other), OQ_OK) << "it is still shown";
}

TEST_F(GObjectInterface, EventPropertiesBecomeJson) {
  struct Case {
    const char* variant;
    const char* json;  // nullptr: refused
  };
  const Case cases[] = {
      {"@a{sv} {}", "{}"},
      {R"({'a': <'"\\\n\u0001ä'>, '"': <true>})", R"({"a":"\"\\\u000a\u0001ä","\"":true})"},
      {"{'y': <byte 7>, 'n': <int16 -5>, 't': <uint64 18446744073709551615>, 'x': <int64 -9223372036854775808>}",
       R"({"y":7,"n":-5,"t":18446744073709551615,"x":-9223372036854775808})"},
      {"{'d': <12.0>, 'e': <1e300>, 's': <-0.5>}", R"({"d":12.0,"e":1.0000000000000001e+300,"s":-0.5})"},
      {"{'l': <['a', 'b']>, 'v': <[<1>, <<false>>]>, 'o': <{'i': {'j': 1}}>, 'n': <@as []>}",
       R"({"l":["a","b"],"v":[1,false],"o":{"i":{"j":1}},"n":[]})"},
      {"{'plain': 'strings'}", R"({"plain":"strings"})"},
      {"{'a': <inf>}", nullptr},
      {"{'a': <nan>}", nullptr},
      {"{1: <2>}", nullptr},
      {"{'a': <(1, 2)>}", nullptr},
      {"{'a': <@mi nothing>}", nullptr},
      {"{'a': <objectpath '/a'>}", nullptr},
  };
  for (const Case& one : cases) {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) variant = g_variant_parse(nullptr, one.variant, nullptr, nullptr, &error);
    ASSERT_TRUE(variant) << one.variant << ": " << error->message;
    g_autofree char* json = gobject::jsonOf(variant, &error);
    EXPECT_STREQ(json, one.json) << one.variant;
    EXPECT_EQ(g_error_matches(error, OQSDK_ERROR, OQSDK_ERROR_ARGUMENT), !one.json) << one.variant;
  }
  GVariant* deep = g_variant_new_boolean(TRUE);
  for (int level = 0; level < 100'000; ++level) deep = g_variant_new_variant(deep);
  g_autoptr(GVariant) bottomless = g_variant_ref_sink(deep);
  EXPECT_FALSE(gobject::jsonOf(bottomless, nullptr));
}

TEST_F(GObjectInterface, ErrorsHaveACodeAndAReason) {
  const auto code = [](auto&& call) {
    g_autoptr(GError) error = nullptr;
    if (call(&error)) return 0;
    EXPECT_TRUE(error && error->domain == OQSDK_ERROR && *error->message);
    return error ? error->code : -1;
  };
  EXPECT_EQ(code([&](GError** e) { return oqsdk_messages_record(messages, "buy", nullptr, e); }), OQSDK_ERROR_STATE);
  EXPECT_EQ(code([&](GError** e) { return oqsdk_messages_start(messages, "", nullptr, e); }), OQSDK_ERROR_ARGUMENT);
  start({});
  EXPECT_EQ(code([&](GError** e) { return oqsdk_messages_record_json(messages, "buy", "[]", e); }),
            OQSDK_ERROR_ARGUMENT);
  EXPECT_EQ(code([&](GError** e) { return oqsdk_messages_record(messages, "buy", g_variant_new_string("a"), e); }),
            OQSDK_ERROR_ARGUMENT);
  EXPECT_EQ(
      code([&](GError** e) { return oqsdk_messages_set_server(messages, OQSDK_ENVIRONMENT_TEST, "http://a", e); }),
      OQSDK_ERROR_ARGUMENT);
  EXPECT_EQ(code([&](GError** e) { return oqsdk_messages_flush(messages, -1, e) >= 0; }), OQSDK_ERROR_ARGUMENT);
  EXPECT_EQ(oqsdk_messages_flush(messages, 0, nullptr), 0);

  EXPECT_EQ(code([&](GError** e) { return oqsdk_messages_page_shown(messages, "", e); }), OQSDK_ERROR_ARGUMENT);
  EXPECT_EQ(code([&](GError** e) { return oqsdk_messages_page_hidden(messages, "CartPage", e); }),
            OQSDK_ERROR_ARGUMENT);
  EXPECT_TRUE(oqsdk_messages_page_shown(messages, "CartPage", nullptr));
  std::thread([&] {
    EXPECT_EQ(code([&](GError** e) { return oqsdk_messages_page_hidden(messages, "CartPage", e); }),
              OQSDK_ERROR_THREAD);
  }).join();
  EXPECT_TRUE(oqsdk_messages_page_hidden(messages, "CartPage", nullptr));
  EXPECT_EQ(code([&](GError** e) { return oqsdk_messages_page_hidden(messages, "CartPage", e); }),
            OQSDK_ERROR_ARGUMENT);

  ASSERT_EQ(oq_shutdown(), OQ_OK) << oq_last_error();
  isShutDown = true;
  EXPECT_EQ(code([&](GError** e) { return oqsdk_messages_start(messages, "key", nullptr, e); }), OQSDK_ERROR_STATE);
}

}  // namespace
}  // namespace oq
