// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Networking/CurlTransport.h"

#include <openssl/crypto.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <shared_mutex>
#include <utility>

#include "Dispatch/BackgroundThread.h"
#include "Foundation/Networking/CurlTransfer.h"

namespace oq {

namespace {

constexpr std::size_t kMostIdleHandles = 16;
constexpr auto kLongestPause = std::chrono::minutes(1);

/// Held shared while libcurl works. At process exit it is locked exclusively and never unlocked, so that nothing is
/// freed while a transfer uses it.
std::shared_mutex& processEndGate() {
  static auto* gate = new std::shared_mutex;
  return *gate;
}

/// Makes process exit wait until libcurl is not at work; false if that is impossible. Called before the first use of
/// libcurl, on the thread that makes the first request; takes microseconds. By default OpenSSL frees its state at
/// process exit, even while another thread is still loading it, and that thread crashes. OPENSSL_INIT_NO_ATEXIT leaves
/// the clean-up to the system. If the host initialized OpenSSL earlier, OpenSSL's exit handler was registered earlier
/// too, and so runs after the gate has closed.
bool settleProcessEnd() {
  static const pid_t process = ::getpid();
  static const bool isSettled = [] {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    return std::atexit([] {
             // A forked process has no transfers, and could wait for ever for a gate that was locked (shared) at the
             // fork.
             static std::once_flag closed;
             if (::getpid() == process) std::call_once(closed, [] { processEndGate().lock(); });
           }) == 0;
  }();
  return isSettled;
}

}  // namespace

std::shared_ptr<CurlTransport> CurlTransport::make(const Limits& limits) {
  return {new CurlTransport(limits), [](CurlTransport*) {}};
}

std::shared_ptr<CurlTransport> CurlTransport::shared() {
  static auto* transport = new std::shared_ptr<CurlTransport>(make(Limits{}));
  return *transport;
}

void CurlTransport::perform(URLRequest request, URLCompletion completion) {
  auto transfer = std::make_shared<CurlTransfer>(std::move(request), std::move(completion), _connections,
                                                 _limits.bodyBytes, _limits.wholeTransfer);
  const bool isSettled = settleProcessEnd();
  std::unique_lock lock(_mutex);
  if (!isSettled) _isBroken = true;
  if (!_hasThread) _hasThread = startBackgroundThread("oq-http", [this] { runThread(); });
  if (!_hasThread || _isBroken) {
    lock.unlock();
    return transfer->completeWithError(URLErrorUnknown, "There is no thread for the request");
  }
  _submitted.push_back(std::move(transfer));
  // The thread is woken only for the first of the submitted transfers. If others are submitted already, it has been
  // woken for them and has not taken them yet. Without _multi it is still starting, and takes the transfers afterwards.
  if (_submitted.size() == 1 && _multi) _curl->multiWakeUp(_multi);
}

void CurlTransport::cancelAll() {
  std::vector<std::shared_ptr<CurlTransfer>> cancelled;
  {
    std::lock_guard lock(_mutex);
    cancelled.swap(_submitted);
    _isCancelling = true;
    if (_multi) _curl->multiWakeUp(_multi);
  }
  for (const auto& transfer : cancelled) transfer->cancel();
}

bool CurlTransport::setUp() {
  std::shared_lock gate(processEndGate());
  _curl = CurlLibrary::shared();
  if (!_curl) return false;
  if (!_tlsSessions) _tlsSessions = _curl->shareInit();
  CURLM* multi = _tlsSessions ? _curl->multiInit() : nullptr;
  if (!multi) return false;
  _curl->multiSetOption(multi, CURLMOPT_PIPELINING, static_cast<long>(CURLPIPE_NOTHING));
  _curl->multiSetOption(multi, CURLMOPT_MAX_HOST_CONNECTIONS, static_cast<long>(_limits.transfersPerHost));
  _curl->shareSetOption(_tlsSessions, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
  std::lock_guard lock(_mutex);
  _multi = multi;
  return true;
}

void CurlTransport::refuseAll() {
  std::vector<std::shared_ptr<CurlTransfer>> refused;
  {
    std::lock_guard lock(_mutex);
    _hasThread = false;  // the next request tries again
    refused.swap(_submitted);
  }
  for (auto& transfer : refused) {
    transfer->completeWithError(URLErrorUnknown, "The network library could not be set up");
  }
}

void CurlTransport::runThread() {
  if (!setUp()) return refuseAll();
  for (;;) {
    bool hasStarted;
    {
      std::shared_lock lock(processEndGate());
      int stillRunning = 0;
      cancelTaken();
      _curl->multiPerform(_multi, &stillRunning);
      finishDone();
      finishOverdue();
      takeSubmitted();
      hasStarted = startWaiting();
    }
    if (!hasStarted) _curl->multiPoll(_multi, nullptr, 0, millisecondsUntilDeadline(), nullptr);
  }
}

void CurlTransport::cancelTaken() {
  {
    std::lock_guard lock(_mutex);
    if (!std::exchange(_isCancelling, false)) return;
  }
  while (!_running.empty()) {
    const auto [handle, transfer] = *_running.begin();
    transfer->cancel();
    finish(handle, CURLE_ABORTED_BY_CALLBACK);
  }
  for (auto& [name, host] : _hosts) {
    for (Line& line : host.lines) {
      for (const auto& transfer : line) transfer->cancel();
      line.clear();
    }
  }
}

void CurlTransport::takeSubmitted() {
  std::lock_guard lock(_mutex);
  // Transfers submitted after cancelAll() must not be cancelled, so the thread takes them only after it has cancelled
  // the earlier ones. cancelAll() has woken the thread, so it comes here again at once.
  if (_isCancelling) return;
  for (auto& transfer : _submitted) {
    auto& lines = _hosts[transfer->host()].lines;
    lines[transfer->onlyFetches() ? 1 : 0].push_back(std::move(transfer));
  }
  _submitted.clear();
}

std::shared_ptr<CurlTransfer> CurlTransport::Host::takeNext() {
  for (Line& line : lines) {
    if (line.empty()) continue;
    auto transfer = std::move(line.front());
    line.pop_front();
    return transfer;
  }
  return nullptr;
}

bool CurlTransport::startWaiting() {
  bool hasStarted = false;
  for (auto& [name, host] : _hosts) {
    while (host.running < _limits.transfersPerHost) {
      const auto transfer = host.takeNext();
      if (!transfer) break;
      if (start(transfer)) {
        ++host.running;
        hasStarted = true;
      } else {
        transfer->completeWithError(URLErrorUnknown, "There is no memory for the request");
      }
    }
  }
  return hasStarted;
}

bool CurlTransport::start(const std::shared_ptr<CurlTransfer>& transfer) {
  CURL* handle = nullptr;
  if (_idleHandles.empty()) {
    handle = _curl->easyInit();
    if (!handle) return false;
  } else {
    handle = _idleHandles.back();
    _idleHandles.pop_back();
  }
  _curl->set<CURLOPT_SHARE>(handle, _tlsSessions);
  transfer->prepare(handle);
  if (_curl->multiAddHandle(_multi, handle) != CURLM_OK) {
    _curl->easyCleanup(handle);
    return false;
  }
  _running[handle] = transfer;
  return true;
}

void CurlTransport::finishDone() {
  int left = 0;
  while (CURLMsg* message = _curl->multiReadInfo(_multi, &left)) {
    if (message->msg != CURLMSG_DONE) continue;
    CURL* handle = message->easy_handle;
    const CURLcode result = message->data.result;
    if (!beginAgain(handle)) finish(handle, result);
  }
}

/// If the connection was unusable, sends the request on another one. This cannot repeat for ever: libcurl has closed
/// the unusable connection, and a new connection is always usable.
bool CurlTransport::beginAgain(CURL* handle) {
  if (!_running.find(handle)->second->prepareAgain()) return false;
  _curl->multiRemoveHandle(_multi, handle);
  return _curl->multiAddHandle(_multi, handle) == CURLM_OK;
}

void CurlTransport::finishOverdue() {
  auto now = Clock::now();
  std::vector<CURL*> overdue;
  for (const auto& [handle, transfer] : _running) {
    if (transfer->deadline() <= now) overdue.push_back(handle);
  }
  for (CURL* handle : overdue) finish(handle, CURLE_OPERATION_TIMEDOUT);
  for (auto& [name, host] : _hosts) {
    for (Line& line : host.lines) {
      for (; !line.empty() && line.front()->deadline() <= now; line.pop_front())
        line.front()->complete(CURLE_OPERATION_TIMEDOUT);
    }
  }
  std::erase_if(_hosts, [](const auto& entry) { return entry.second.isIdle(); });
}

void CurlTransport::finish(CURL* handle, CURLcode result) {
  auto found = _running.find(handle);
  auto transfer = found->second;
  _running.erase(found);
  --_hosts[transfer->host()].running;
  transfer->complete(result);
  _curl->multiRemoveHandle(_multi, handle);  // closes the connection if it is still in use
  _curl->easyReset(handle);
  if (_idleHandles.size() < kMostIdleHandles) {
    _idleHandles.push_back(handle);
  } else {
    _curl->easyCleanup(handle);
  }
}

int CurlTransport::millisecondsUntilDeadline() const {
  auto first = Clock::now() + kLongestPause;
  for (const auto& [handle, transfer] : _running) first = std::min(first, transfer->deadline());
  for (const auto& [name, host] : _hosts) {
    for (const Line& line : host.lines)
      if (!line.empty()) first = std::min(first, line.front()->deadline());
  }
  auto left = std::chrono::ceil<std::chrono::milliseconds>(first - Clock::now());
  return static_cast<int>(std::max<std::int64_t>(0, left.count()));
}

}  // namespace oq
