// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Foundation/Networking/CurlConnections.h"
#include "Foundation/Networking/CurlLibrary.h"
#include "Foundation/Networking/URLSession.h"

namespace oq {

class CurlTransfer;

/// HTTPS through libcurl. One background thread drives all transfers, so that they share connections and TLS sessions.
/// At most six transfers per host run in parallel; the others are queued in order, and transfers that send something to
/// the server go before those that only fetch.
class CurlTransport final : public URLTransport {
 public:
  struct Limits {
    std::chrono::milliseconds wholeTransfer = std::chrono::minutes(5);  ///< including time in the queue
    std::size_t bodyBytes = std::size_t{64} << 20;                      ///< of a response, after decompression
    std::size_t transfersPerHost = 6;
    std::function<Moment()> clock = Moment::now;  ///< measures the idle time of connections; on the transport's thread
  };

  static std::shared_ptr<CurlTransport> shared();
  /// The transport lives as long as the process, as does its thread.
  static std::shared_ptr<CurlTransport> make(const Limits& limits);

  void perform(URLRequest request, URLCompletion completion) override;
  void cancelAll() override;

 private:
  using Clock = std::chrono::steady_clock;

  explicit CurlTransport(const Limits& limits) : _limits(limits), _connections(limits.clock) {}
  ~CurlTransport() override = default;

  /// Transfers that wait to be started, in order of submission. All have the same time limit, so the first has the
  /// earliest deadline.
  using Line = std::deque<std::shared_ptr<CurlTransfer>>;
  /// The transfers to one host and port.
  struct Host {
    std::size_t running = 0;
    /// lines[0] has the transfers that send something, which go first: a report must not wait for a campaign's
    /// pictures. lines[1] has those that only fetch.
    std::array<Line, 2> lines;

    std::shared_ptr<CurlTransfer> takeNext();
    bool isIdle() const { return running == 0 && lines[0].empty() && lines[1].empty(); }
  };

  void runThread();
  bool setUp();
  void refuseAll();
  void cancelTaken();
  void takeSubmitted();
  bool startWaiting();
  bool start(const std::shared_ptr<CurlTransfer>& transfer);
  void finishDone();
  void finishOverdue();
  bool beginAgain(CURL* handle);
  void finish(CURL* handle, CURLcode result);
  int millisecondsUntilDeadline() const;

  const Limits _limits;

  std::mutex _mutex;  // guards the next five
  std::vector<std::shared_ptr<CurlTransfer>> _submitted;
  bool _isCancelling = false;  ///< the transfers that the thread had taken when cancelAll() was called must end
  CURLM* _multi = nullptr;     ///< nullptr until the thread has initialized it
  bool _hasThread = false;
  bool _isBroken = false;  ///< no exit handler could be registered, so process exit would not wait for libcurl

  /// Set before _multi: a thread that sees _multi may use _curl.
  const CurlLibrary* _curl = nullptr;

  // For the transport's thread only.
  CurlConnections _connections;
  CURLSH* _tlsSessions = nullptr;
  std::vector<CURL*> _idleHandles;
  std::map<CURL*, std::shared_ptr<CurlTransfer>> _running;
  std::map<std::string, Host> _hosts;
};

}  // namespace oq
