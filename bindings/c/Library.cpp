// SPDX-License-Identifier: Apache-2.0
#include <limits>
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
  if (!status) throw Failure(result, status.error);
}

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
    const auto given = readStruct(options, OQ_FIRST_SIZE(oq_init_options, no_animations), "options");
    if (isProcessPrepared() && !ProgramHost::isGone()) throw Failure(OQ_ERROR_STATE, "A host is installed already.");
    const HostedApplication application{required(given.application, "application"), optional(given.version, "version"),
                                        optional(given.data_folder, "data_folder")};
    ProgramHost::install(application, !given.no_animations);
  });
}

oq_result oq_shutdown(void) {
  return call([&] {
    requireMainThread();
    requireNoCallback("oq_shutdown");
    Messages::setHandlers({});
    Messages::setLogHandler(nullptr);
    forgetReporters();
    hidePages();
    freeSurfaces();
    // Blocks that still wait may refer to the host, so they run before it is destroyed.
    if (ProgramHost::shared()) DispatchQueue::drainMain();
    ProgramHost::uninstall();
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
    requireHost();
    const auto given = readStruct(options, OQ_FIRST_SIZE(oq_start_options, one_at_a_time), "options");
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
  return forward([] { Messages::giveConsent(); });
}

oq_result oq_withdraw_consent(void) {
  return forward([] { Messages::withdrawConsent(); });
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

oq_result oq_set_log_file_limit(uint64_t bytes) {
  return forward([&] { Messages::setLogFileLimit(bytes); });
}

}  // extern "C"
