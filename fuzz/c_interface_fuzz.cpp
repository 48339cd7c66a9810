// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "../tests/support/ImmediateTransport.h"
#include "oqsdk/c/oqsdk.h"

/// Uses the bytes to choose calls of the C interface and their arguments, valid and invalid ones: freed handles, wrong
/// sizes, numbers that are not finite, strings that are not UTF-8 or JSON, calls inside callbacks and after the end. A
/// call that fails must have a reason, and one that succeeds must have none.
namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

class Choices {
 public:
  Choices(const std::uint8_t* bytes, std::size_t size) : _bytes(bytes), _end(bytes + size) {}
  bool empty() const { return _bytes == _end; }
  unsigned below(unsigned most) { return empty() ? 0 : *_bytes++ % most; }
  bool flag() { return below(2) == 1; }

  double number() {
    static constexpr double kNumbers[] = {0,
                                          1,
                                          100,
                                          187.5,
                                          350,
                                          375,
                                          700,
                                          -1,
                                          1e300,
                                          0.001,
                                          40,
                                          1.5,
                                          1e-9,
                                          std::numeric_limits<double>::infinity(),
                                          std::numeric_limits<double>::quiet_NaN()};
    return kNumbers[below(std::size(kNumbers))];
  }
  /// A known string, bytes of the input, or nullptr. Valid until the next call.
  const char* string() {
    static constexpr const char* kStrings[] = {"buy",
                                               "leave",
                                               "user",
                                               "",
                                               "{}",
                                               R"({"price":12})",
                                               "[1]",
                                               "{\"a\":",
                                               "https://a.example",
                                               "http://a.example",
                                               "\xff\xfe",
                                               "CartPage"};
    const unsigned choice = below(16);
    if (choice < std::size(kStrings)) return kStrings[choice];
    if (choice == 15) return nullptr;
    _string.clear();
    for (unsigned count = below(24); count > 0; --count) _string += static_cast<char>(below(256));
    return _string.c_str();
  }

 private:
  const std::uint8_t* _bytes;
  const std::uint8_t* _end;
  std::string _string;
};

/// The program that calls the library.
struct Program {
  Choices* choices = nullptr;
  std::vector<oq_surface*> surfaces;  ///< freed ones stay in the list
  std::vector<oq_page*> pages;
  std::vector<oq_reporter*> reporters;
  int depth = 0;
  int accepted = 0, released = 0;  ///< sets of callbacks
} program;

/// The data of all callbacks.
void* const kData = &program;

void release(void* data) {
  require(data == kData);
  ++program.released;
}

void call();

void require(oq_result result) {
  require((result == OQ_OK) == (*oq_last_error() == '\0'));
  require(result != OQ_ERROR_INTERNAL);
}

/// What a callback does.
bool callBack() {
  if (!program.choices || program.depth > 2) return false;
  ++program.depth;
  for (unsigned count = program.choices->below(3); count > 0; --count) call();
  --program.depth;
  return program.choices->flag();
}

template <class Handle>
Handle* chosen(const std::vector<Handle*>& handles) {
  static int other = 0;
  const unsigned choice = program.choices->below(8);
  if (choice == 7) return nullptr;
  if (choice == 6 || handles.empty()) return reinterpret_cast<Handle*>(&other);
  return handles[handles.size() - 1 - choice % handles.size()];
}

/// Sometimes a wrong size.
template <class Struct>
Struct* sized(Struct& value) {
  static constexpr std::size_t kSizes[] = {0, 8, 16, SIZE_MAX, 2000};
  const unsigned choice = program.choices->below(32);
  if (choice < std::size(kSizes)) value.size = kSizes[choice];
  return choice == 31 ? nullptr : &value;
}

void setHandlers() {
  oq_handlers handlers = OQ_HANDLERS_INIT;
  const auto plain = [](const oq_message*, void*) { callBack(); };
  if (program.choices->flag()) handlers.may_show = [](const oq_message*, void*) { return !callBack(); };
  handlers.shown = handlers.closed = handlers.removed = handlers.shown_without_picture = plain;
  handlers.clicked = [](const oq_message*, oq_action, void*) { callBack(); };
  handlers.link = [](const oq_message*, const char* url, void*) {
    require(url != nullptr);
    callBack();
    return true;  // otherwise a browser would be started
  };
  if (program.choices->flag()) {
    handlers.present = [](const oq_message*, const char* content, oq_reporter* reporter, void*) {
      require(content && *content == '{');
      program.reporters.push_back(reporter);
      return callBack();
    };
  }
  handlers.data = kData;
  handlers.release = release;
  oq_handlers* given = sized(handlers);
  const oq_result result = oq_set_handlers(given);
  require(result);
  if (given && result == OQ_OK) ++program.accepted;
}

void setLogHandler() {
  const auto handler = [](oq_log_level, const char* entry, void* data) { require(entry && data == kData); };
  require(oq_set_log_handler(program.choices->flag() ? handler : nullptr, kData, release));
  ++program.accepted;
}

void setWake() {
  const auto wake = [](void* data) { require(data == kData); };
  require(oq_on_wake(program.choices->flag() ? wake : nullptr, kData, release));
  ++program.accepted;
}

void makeSurface() {
  oq_surface_options options = OQ_SURFACE_OPTIONS_INIT;
  options.width = program.choices->flag() ? 375 : program.choices->number();
  options.height = program.choices->flag() ? 700 : program.choices->number();
  if (program.choices->below(4) == 0) options.pixels_per_point = program.choices->number();
  options.frame_wanted = options.changed = [](oq_surface*, void*) { callBack(); };
  options.data = kData;
  options.release = release;
  oq_surface* surface = oq_surface_new(sized(options));
  require((surface != nullptr) == (*oq_last_error() == '\0'));
  if (!surface) return;
  program.surfaces.push_back(surface);
  ++program.accepted;
}

void paint() {
  static std::vector<std::uint32_t> memory(400 * 400);
  oq_buffer buffer = OQ_BUFFER_INIT;
  buffer.pixels = program.choices->below(8) == 0 ? nullptr : memory.data();
  buffer.width = static_cast<int>(program.choices->below(200));
  buffer.height = static_cast<int>(program.choices->below(200));
  buffer.stride = buffer.width * 4 + static_cast<int>(program.choices->below(3));
  buffer.holds_last_frame = program.choices->flag();
  oq_rect damage{};
  require((oq_surface_paint(chosen(program.surfaces), sized(buffer), &damage) == OQ_FRAME_ERROR) ==
          (*oq_last_error() != '\0'));
  require(damage.x >= 0 && damage.y >= 0 && damage.x + damage.width <= 200 && damage.y + damage.height <= 200);
}

void callSurface() {
  Choices& choices = *program.choices;
  oq_surface* surface = chosen(program.surfaces);
  const double x = choices.number(), y = choices.number();
  std::int32_t width = 0, height = 0;
  switch (choices.below(12)) {
    case 0:
      return require(oq_surface_free(surface));
    case 1:
      return require(oq_surface_set_size(surface, x, y, choices.number()));
    case 2:
      return require(oq_surface_set_visible(surface, choices.flag()));
    case 3:
      return require(oq_surface_set_focused(surface, choices.flag()));
    case 4:
      return require(oq_surface_pixel_size(surface, &width, choices.flag() ? &height : nullptr));
    case 5:
      oq_surface_touch(surface, choices.below(3), static_cast<int>(choices.below(5)), x, y);
      return;
    case 6:
      oq_surface_pointer(surface, choices.flag(), x, y);
      return;
    case 7:
      oq_surface_scroll(surface, x, y, choices.number(), choices.number());
      return;
    case 8:
      oq_surface_key(surface, static_cast<int>(choices.below(13)));
      return;
    case 9:
      require(oq_surface_list_elements(
          surface,
          [](const oq_element* element, void* owner) {
            oq_surface_activate(static_cast<oq_surface*>(owner), element->id);
          },
          surface));
      return;
    case 10:
      oq_surface_covers(surface, x, y);
      return;
    default:
      oq_surface_state(surface);
  }
}

void callMessages() {
  Choices& choices = *program.choices;
  switch (choices.below(19)) {
    case 0:
      return require(oq_set_user(choices.string()));
    case 1: {
      oq_start_options options = OQ_START_OPTIONS_INIT;
      options.app_key = choices.string();
      return require(oq_start(sized(options)));
    }
    case 2:
      return require(choices.flag() ? oq_hold() : oq_resume());
    case 3:
      return require(oq_set_one_at_a_time(choices.flag()));
    case 4:
      return require(oq_dismiss());
    case 5:
      return require(choices.flag() ? oq_give_consent() : oq_withdraw_consent());
    case 6:
      return require(oq_refresh());
    case 7:
      return require(oq_set_server(static_cast<int>(choices.below(4)), choices.string()));
    case 8:
      return require(oq_track_push(choices.flag(), choices.string()));
    case 9:
      if (oq_page* page = oq_page_show(choices.string())) program.pages.push_back(page);
      return;
    case 10:
      return require(oq_page_hide(chosen(program.pages)));
    case 11:
      return require(oq_reporter_free(chosen(program.reporters)));
    case 12:
      return setLogHandler();
    case 13:
      return setWake();
    case 14:
      return require(oq_forget(choices.flag()));
    case 15: {
      std::size_t unsent = 0;
      return require(oq_flush(choices.flag() ? 0 : -1, &unsent));
    }
    case 16:
      return require(oq_set_environment(static_cast<int>(choices.below(4))));
    case 17:
      return require(oq_list_decisions([](const char* json, void*) { require(json && *json == '{'); }, nullptr));
    default:
      return require(oq_reporter_report(chosen(program.reporters), static_cast<int>(choices.below(8))));
  }
}

void call() {
  Choices& choices = *program.choices;
  switch (choices.below(8)) {
    case 0:
    case 1:
      return callSurface();
    case 2:
      return paint();
    case 3: {
      // Another event each time: a campaign may show its message once per run for the same event.
      const char* event = choices.string();
      return require(oq_record(event, choices.flag() ? nullptr : choices.string()));
    }
    case 4:
      return makeSurface();
    case 5:
      return setHandlers();
    case 6:
      return callMessages();
    default:
      require((oq_pump(choices.below(16) == 0 ? choices.number() : 0.001) == -1) == (*oq_last_error() != '\0'));
  }
}

std::optional<std::string> answer(const std::string& path) {
  if (path.find("login") != std::string::npos) return R"({"code":0,"token":"t"})";
  if (path.find("callback") != std::string::npos || path.find("in_app") == std::string::npos) return R"({"code":0})";
  const auto campaign = [](const char* id, const char* event) {
    return std::string(R"({"id":")") + id + R"(","style":3,"count":1000000,"event":{"xwhat":")" + event +
           R"("},"startTime":"2020-01-01 00:00:00","endTime":"2099-12-31 23:59:59","title":{"text":"Title"},)"
           R"("buttonLeft":{"text":"No"},"buttonRight":{"text":"Yes","clickEvent":"https://a.example"}})";
  };
  return R"({"code":0,"data":[)" + campaign("1", "buy") + "," + campaign("2", "leave") + "]}";
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  static const std::string folder = std::filesystem::temp_directory_path() / ("oqsdk-fuzz-" + std::to_string(getpid()));
  std::filesystem::create_directory(folder);
  std::atexit([] { std::filesystem::remove_all(folder); });
  setenv("XDG_DATA_HOME", folder.c_str(), 1);
  oq::setURLTransport(std::make_shared<oq::test::ImmediateTransport>(answer));
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  Choices choices(bytes, size);
  program.choices = &choices;
  oq_init_options options = OQ_INIT_OPTIONS_INIT;
  options.application = "com.example.fuzz";
  options.no_animations = choices.flag();
  require(oq_init(&options));
  require(oq_set_log_file_limit(0));
  require(oq_set_user("user"));
  oq_start_options start = OQ_START_OPTIONS_INIT;
  start.app_key = "key";
  require(oq_start(&start));
  while (!choices.empty()) call();
  program.choices = nullptr;
  require(oq_set_environment(OQ_ENVIRONMENT_PRODUCTION));
  require(oq_set_log_handler(nullptr, nullptr, nullptr));
  require(oq_set_handlers(nullptr));
  require(oq_resume());
  require(oq_give_consent());
  require(oq_shutdown());
  require(program.accepted == program.released);
  // Nothing works after the end.
  for (oq_surface* surface : program.surfaces) require(oq_surface_free(surface) == OQ_ERROR_STATE);
  program = Program();
  return 0;
}
