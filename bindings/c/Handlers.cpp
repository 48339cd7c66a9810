// SPDX-License-Identifier: Apache-2.0
#include "c/Handlers.h"

#include <memory>
#include <string>
#include <utility>

#include "c/Guard.h"
#include "c/Handles.h"
#include "c/Structs.h"
#include "oqsdk/Messages.h"
#include "oqsdk/ShownPage.h"

struct oq_reporter {
  const oq::MessageReporter reporter;
};

struct oq_page {
  oq::ShownPage page;
};

using namespace oq;
using namespace oq::c;

namespace {

// Never destroyed at exit: other threads of the program may still use the library then.
Handles<oq_reporter>& reporters() {
  static auto& all = *new Handles<oq_reporter>("The reporter");
  return all;
}

Handles<oq_page>& pages() {
  static auto& all = *new Handles<oq_page>("The page");
  return all;
}

/// The program's callbacks and their data. Each function that the library stores in MessageHandlers holds a copy.
struct Callbacks {
  oq_handlers handlers;
  std::shared_ptr<CallerData> caller;

  /// Calls one of the callbacks with the message as the C interface describes it.
  template <class Callback, class... Arguments>
  auto operator()(Callback callback, const Message& message, Arguments... arguments) const {
    const CallScope scope;
    const oq_message described{
        sizeof(oq_message), message.campaignId.c_str(), message.event.c_str(), message.style, {}};
    return callback(&described, arguments..., caller->get());
  }
};

std::function<void(const Message&)> plain(const Callbacks& callbacks, void (*callback)(const oq_message*, void*)) {
  if (!callback) return nullptr;
  return [callbacks, callback](const Message& message) { callbacks(callback, message); };
}

bool present(const Callbacks& callbacks, const Message& message, const Value& content, MessageReporter reporter) {
  oq_reporter* handle = reporters().add(std::make_shared<oq_reporter>(oq_reporter{std::move(reporter)}));
  bool isPresented = false;
  callHost([&] { isPresented = callbacks(callbacks.handlers.present, message, content.json().c_str(), handle); });
  // If this fails, the callback has already freed the reporter.
  if (!isPresented) oq_reporter_free(handle);
  return isPresented;
}

MessageHandlers messageHandlers(const Callbacks& callbacks) {
  const oq_handlers& given = callbacks.handlers;
  MessageHandlers handlers;
  handlers.shown = plain(callbacks, given.shown);
  handlers.shownWithoutPicture = plain(callbacks, given.shown_without_picture);
  handlers.closed = plain(callbacks, given.closed);
  handlers.removed = plain(callbacks, given.removed);
  if (given.may_show)
    handlers.mayShow = [callbacks](const Message& message) { return callbacks(callbacks.handlers.may_show, message); };
  if (given.clicked)
    handlers.clicked = [callbacks](const Message& message, MessageAction part) {
      callbacks(callbacks.handlers.clicked, message, static_cast<oq_action>(part));
    };
  if (given.link)
    handlers.link = [callbacks](const Message& message, const std::string& url) {
      return callbacks(callbacks.handlers.link, message, url.c_str());
    };
  if (given.present)
    handlers.present = [callbacks](const Message& message, const Value& content, MessageReporter reporter) {
      return present(callbacks, message, content, std::move(reporter));
    };
  return handlers;
}

}  // namespace

void oq::c::forgetReporters() {
  reporters().takeAll();
}

void oq::c::hidePages() {
  pages().takeAll();
}

extern "C" {

oq_result oq_set_handlers(const oq_handlers* handlers) {
  return call([&] {
    requireHost();
    if (!handlers) return Messages::setHandlers({});
    const auto given = readStruct(handlers, OQ_FIRST_SIZE(oq_handlers, present), "handlers");
    const auto caller = std::make_shared<CallerData>(given.data);
    Messages::setHandlers(messageHandlers({given, caller}));
    caller->accept(given.release);
  });
}

oq_result oq_reporter_report(oq_reporter* reporter, int action) {
  return call([&] {
    requireHost();
    const auto handle = reporters().get(reporter);
    if (action < OQ_SHOWN || action > OQ_MIDDLE_BUTTON) throw Failure(OQ_ERROR_ARGUMENT, "There is no such action.");
    if (!handle->reporter.report(static_cast<MessageAction>(action)))
      throw Failure(OQ_ERROR_STATE, "The message is gone, or OQ_SHOWN was not the first report or not the only one.");
  });
}

oq_result oq_reporter_free(oq_reporter* reporter) {
  return call([&] {
    if (reporter) reporters().take(reporter);
  });
}

oq_result oq_set_log_handler(void (*handler)(oq_log_level level, const char* entry, void* data), void* data,
                             void (*release)(void* data)) {
  return call([&] {
    requireHost();
    const auto caller = std::make_shared<CallerData>(data);
    if (handler)
      Messages::setLogHandler([handler, caller](Messages::LogLevel level, std::string_view entry) {
        const CallScope scope;
        handler(level == Messages::LogLevel::Error ? OQ_LOG_ERROR : OQ_LOG_INFO, std::string(entry).c_str(),
                caller->get());
      });
    else
      Messages::setLogHandler(nullptr);
    caller->accept(release);
  });
}

oq_page* oq_page_show(const char* name) {
  return callOr<oq_page*>(nullptr, [&] {
    requireMainThread();
    return pages().add(std::shared_ptr<oq_page>(new oq_page{ShownPage(required(name, "name"))}));
  });
}

oq_result oq_page_hide(oq_page* page) {
  return call([&] {
    requireMainThread();
    if (page) pages().take(page);
  });
}

}  // extern "C"
