// SPDX-License-Identifier: Apache-2.0
#include "Utils/OQLogHandler.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Text.h"
#include "Utils/OQGuard.h"

namespace oq {

namespace {

constexpr std::size_t kMostSecrets = 16;
constexpr std::string_view kSubstitute = "***";

using Strings = std::vector<std::string>;

struct Installed {
  explicit Installed(OQLogHandler::Handler function) : handler(std::move(function)) {}

  const OQLogHandler::Handler handler;
  int running = 0;  ///< the number of calls that are running, on all threads
};

struct State {
  std::atomic<bool> hasHandler{false};
  /// Guards the members below.
  std::mutex mutex;
  std::condition_variable callEnded;
  std::shared_ptr<Installed> installed;
  std::vector<std::shared_ptr<Installed>> former;  ///< removed handlers that still run
  std::deque<std::string> secrets;                 ///< oldest first
  /// Each secret, unchanged and escaped as in JSON. Longest first, because one string may contain another.
  std::shared_ptr<const Strings> hidden = std::make_shared<const Strings>();
};

State& state() {
  static auto* shared = new State;  // never destroyed: threads may use it until the process ends
  return *shared;
}

thread_local bool isInHandler = false;

/// A call of the handler. It is counted, so that a thread that removes the handler can wait for its end.
class Call {
 public:
  explicit Call(std::shared_ptr<Installed> installed) : _installed(std::move(installed)) { isInHandler = true; }
  ~Call() {
    isInHandler = false;
    {
      std::lock_guard lock(state().mutex);
      if (--_installed->running > 0 || std::erase(state().former, _installed) == 0) return;
    }
    state().callEnded.notify_all();
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  void run(OQLogLevel level, std::string_view message) const { _installed->handler(level, message); }

 private:
  const std::shared_ptr<Installed> _installed;
};

std::string inJSON(const std::string& text) {
  const std::string quoted = compactJSON(JSONValue(text));
  return quoted.substr(1, quoted.size() - 2);
}

}  // namespace

void OQLogHandler::set(Handler handler) {
  auto next = handler ? std::make_shared<Installed>(std::move(handler)) : nullptr;
  State& shared = state();
  std::unique_lock lock(shared.mutex);
  shared.hasHandler = next != nullptr;
  shared.installed.swap(next);
  if (next && next->running > 0) shared.former.push_back(std::move(next));
  // Inside a call of a handler, this wait might never end: it would wait for that call itself, or for a call on another
  // thread that waits for that call.
  if (!isInHandler) shared.callEnded.wait(lock, [&] { return shared.former.empty(); });
}

bool OQLogHandler::isWanted() {
  return state().hasHandler.load(std::memory_order_relaxed) && !isInHandler;
}

void OQLogHandler::pass(OQLogLevel level, std::string_view message) {
  if (!isWanted()) return;
  std::shared_ptr<Installed> installed;
  std::shared_ptr<const Strings> hidden;
  {
    std::lock_guard lock(state().mutex);
    if (!state().installed) return;
    hidden = state().hidden;
    installed = state().installed;
    ++installed->running;
  }
  const Call call(std::move(installed));
  guarded([&] {
    std::string text(message);
    for (const std::string& secret : *hidden) text = replacingAll(std::move(text), secret, kSubstitute);
    call.run(level, text);
  });
}

void OQLogHandler::hide(const std::string& secret) {
  if (secret.empty()) return;
  State& shared = state();
  std::lock_guard lock(shared.mutex);
  std::erase(shared.secrets, secret);
  shared.secrets.push_back(secret);
  if (shared.secrets.size() > kMostSecrets) shared.secrets.pop_front();
  Strings hidden;
  for (const std::string& each : shared.secrets) hidden.insert(hidden.end(), {each, inJSON(each)});
  std::ranges::sort(hidden, std::ranges::greater(), &std::string::size);
  shared.hidden = std::make_shared<const Strings>(std::move(hidden));
}

}  // namespace oq
