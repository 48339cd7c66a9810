// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <string>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Host/HostInstallation.h"
#include "c/Guard.h"
#include "c/Handlers.h"
#include "c/ProgramHost.h"
#include "c/Structs.h"
#include "c/Surface.h"
#include "oqsdk/oqsdk.h"

using namespace oq;
using namespace oq::c;

namespace {

/// Throws a Failure with the error of the status, if the status is an error.
void check(const Status& status, oq_result result = OQ_ERROR_ARGUMENT) {
  if (status) return;
  throw Failure(status.error == "Out of memory." ? OQ_ERROR_MEMORY : result, status.error);
}

/// Exists during each call of oq_start(). On another thread than the main thread such a call may wait for the main
/// queue.
class StartCall {
 public:
  StartCall() {
    const std::lock_guard lock(_mutex);
    ++_count;
  }
  ~StartCall() {
    const std::lock_guard lock(_mutex);
    --_count;
    _ended.notify_all();
  }
  StartCall(const StartCall&) = delete;
  StartCall& operator=(const StartCall&) = delete;
  /// Waits a moment for such calls to end. Returns whether there still is one. To be called outside of such a call.
  static bool isRunningElsewhere() {
    std::unique_lock lock(_mutex);
    return !_ended.wait_for(lock, std::chrono::milliseconds(1), [] { return _count == 0; });
  }

 private:
  static inline std::mutex _mutex;
  static inline std::condition_variable _ended;
  static inline int _count = 0;
};

/// Parses the program's JSON object; NULL stands for an empty one. `name` names the parameter in the reason of a
/// Failure.
Value objectIn(const char* json, const char* name) {
  if (!json) return Dictionary();
  std::string problem;
  Value object = Value::parse(json, &problem);
  if (!problem.empty()) throw Failure(OQ_ERROR_ARGUMENT, std::string(name) + " is not JSON: " + problem);
  if (!object.isDictionary()) throw Failure(OQ_ERROR_ARGUMENT, std::string(name) + " is not a JSON object.");
  return object;
}

std::uint64_t checkedEnvironment(int environment) {
  if (environment < OQ_ENVIRONMENT_PRODUCTION || environment > OQ_ENVIRONMENT_DEVELOPMENT)
    throw Failure(OQ_ERROR_ARGUMENT, "There is no such environment.");
  return static_cast<std::uint64_t>(environment);
}

void checkSeconds(double seconds, const char* name) {
  // Infinity is valid and means that there is no limit.
  if (!(seconds >= 0)) throw Failure(OQ_ERROR_ARGUMENT, std::string(name) + " is negative or not a number.");
}

/// For a function that only needs an installed host and passes the call on to the C++ interface, on any thread.
template <class Body>
oq_result forward(Body&& body) {
  return call([&] {
    requireHost();
    body();
  });
}

}  // namespace

extern "C" {

const char* oq_version(void) {
  return OQSDKVersion.c_str();
}

oq_result oq_init(const oq_init_options* options) {
  return call([&] {
    requireNoCallback("oq_init");
    const auto given =
        readStruct(options, OQ_FIRST_SIZE(oq_init_options, reserved), "options", {&oq_init_options::no_animations});
    const HostedApplication application{required(given.application, "application"), optional(given.version, "version"),
                                        optional(given.data_folder, "data_folder")};
    ProgramHost::install(application, !given.no_animations);
  });
}

oq_result oq_shutdown(void) {
  return call([&] {
    requireMainThread();
    requireNoCallback("oq_shutdown");
    ProgramHost::Closing closing;  // a `release` that is called below must not make new objects
    Messages::setHandlers({});
    Messages::setLogHandler(nullptr);
    forgetReporters();
    hidePages();
    freeSurfaces();
    // Blocks that still wait may refer to the host, so they run before it is destroyed. A start on another thread waits
    // for such a block.
    do {
      if (ProgramHost::shared()) DispatchQueue::drainMain();
    } while (StartCall::isRunningElsewhere());
    closing.uninstall();
  });
}

double oq_pump(double budget) {
  return callOr(-1.0, [&] {
    requireMainThread();
    requireNoCallback("oq_pump");
    checkSeconds(budget, "budget");
    return ProgramHost::required().pump(budget);
  });
}

oq_result oq_on_wake(void (*wake)(void* data), void* data, void (*release)(void* data)) {
  return call([&] {
    requireMainThread();
    ProgramHost::required();
    const auto caller = std::make_shared<CallerData>(data);
    if (wake)
      SurfaceHost::setWake([wake, caller] { callHost([&] { wake(caller->get()); }); });
    else
      SurfaceHost::setWake(nullptr);
    caller->accept(release);
  });
}

oq_result oq_start(const oq_start_options* options) {
  return call([&] {
    const StartCall running;  // before the host is checked, so that oq_shutdown() waits for it
    requireHost();
    const auto given = readStruct(options, OQ_FIRST_SIZE(oq_start_options, reserved), "options",
                                  {&oq_start_options::server_from_environment, &oq_start_options::require_consent,
                                   &oq_start_options::one_at_a_time});
    MessageOptions start;
    start.appKey = required(given.app_key, "app_key");
    start.server = optional(given.server, "server");
    start.serverFromEnvironment = given.server_from_environment;
    start.requireConsent = given.require_consent;
    start.oneAtATime = given.one_at_a_time;
    check(Messages::start(start));
  });
}

oq_result oq_set_environment(int environment) {
  return call([&] {
    requireMainThread();
    const std::uint64_t type = checkedEnvironment(environment);
    const auto configuration = TorvelinOqConfig::defaultConfig();
    configuration->setEnvType(type);
    if (configuration->envType() != type) throw Failure(OQ_ERROR_INTERNAL, "The environment could not be stored.");
  });
}

oq_result oq_set_server(int environment, const char* url) {
  return forward([&] {
    if (!url) throw Failure(OQ_ERROR_ARGUMENT, "url is NULL.");
    check(Messages::setServer(checkedEnvironment(environment), optional(url, "url")));
  });
}

oq_result oq_set_user(const char* user) {
  return forward([&] { check(Messages::setUser(required(user, "user"))); });
}

oq_result oq_record(const char* event, const char* properties) {
  return forward([&] {
    const std::string name = required(event, "event");
    check(Messages::record(name, objectIn(properties, "properties")), OQ_ERROR_STATE);
  });
}

oq_result oq_track_push(bool opened, const char* message) {
  return forward([&] { TorvelinOqManager::pushTrack(opened ? 1 : 0, objectIn(message, "message")); });
}

oq_result oq_hold(void) {
  return forward([] { Messages::hold(); });
}

oq_result oq_resume(void) {
  return forward([] { Messages::resume(); });
}

bool oq_is_held(void) {
  return callOr(false, [] {
    requireHost();
    return Messages::isHeld();
  });
}

oq_result oq_set_one_at_a_time(bool one_at_a_time) {
  return forward([&] { Messages::setOneAtATime(one_at_a_time); });
}

oq_result oq_dismiss(void) {
  return forward([] { Messages::dismiss(); });
}

oq_result oq_give_consent(void) {
  return forward([] { check(Messages::giveConsent(), OQ_ERROR_INTERNAL); });
}

oq_result oq_withdraw_consent(void) {
  return forward([] { check(Messages::withdrawConsent(), OQ_ERROR_INTERNAL); });
}

bool oq_has_consent(void) {
  return callOr(false, [] {
    requireHost();
    return Messages::hasConsent();
  });
}

oq_result oq_forget(bool keep_device) {
  return forward([&] { Messages::forget(keep_device ? Messages::Forget::KeepDevice : Messages::Forget::Everything); });
}

oq_result oq_refresh(void) {
  return forward([] { Messages::refresh(); });
}

oq_result oq_flush(double seconds, size_t* unsent) {
  return forward([&] {
    checkSeconds(seconds, "seconds");
    const std::size_t left = Messages::flush(seconds);
    if (unsent) *unsent = left;
  });
}

oq_result oq_list_decisions(void (*decision)(const char* json, void* data), void* data) {
  return forward([&] {
    if (!decision) throw Failure(OQ_ERROR_ARGUMENT, "decision is NULL.");
    const Value decisions = TorvelinOqManager::engine().recentDecisions();
    for (std::size_t i = 0; i < decisions.size(); ++i) {
      const std::string json = decisions.at(i).json();
      callHost([&] { decision(json.c_str(), data); });
    }
  });
}

oq_result oq_set_log_file_limit(uint64_t bytes) {
  return forward([&] { Messages::setLogFileLimit(bytes); });
}

}  // extern "C"
