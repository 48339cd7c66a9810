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

/// HTTPS through libcurl: one background thread drives all transfers, so that connections and TLS sessions
/// are shared. At most six transfers to a host run at a time; the others wait in line, in order, those that bring the
/// server something before those that only fetch.
class CurlTransport final : public URLTransport {
 public:
  struct Limits {
    std::chrono::milliseconds wholeTransfer = std::chrono::minutes(5);  ///< waiting in line included
    std::size_t bodyBytes = std::size_t{64} << 20;                      ///< of an answer, after decompression
    std::size_t transfersPerHost = 6;
    std::function<Moment()> clock = Moment::now;  ///< for idle connections; called on the transport's thread
  };

  static std::shared_ptr<CurlTransport> shared();
  /// Lives as long as the process, as its thread does.
  static std::shared_ptr<CurlTransport> make(const Limits& limits);

  void perform(URLRequest request, URLCompletion completion) override;

 private:
  using Clock = std::chrono::steady_clock;

  explicit CurlTransport(const Limits& limits) : _limits(limits), _connections(limits.clock) {}
  ~CurlTransport() override = default;

  /// In the order of their deadlines.
  using Line = std::deque<std::shared_ptr<CurlTransfer>>;
  /// The transfers to one host and port.
  struct Host {
    std::size_t running = 0;
    /// First what brings something: a report must not wait for a campaign's pictures.
    std::array<Line, 2> lines;

    std::shared_ptr<CurlTransfer> takeNext();
    bool isIdle() const { return running == 0 && lines[0].empty() && lines[1].empty(); }
  };

  void runThread();
  bool setUp();
  void refuseAll();
  void takeSubmitted();
  bool startWaiting();
  bool start(const std::shared_ptr<CurlTransfer>& transfer);
  void finishDone();
  void finishOverdue();
  bool beginAgain(CURL* handle);
  void finish(CURL* handle, CURLcode result);
  int millisecondsUntilDeadline() const;

  const Limits _limits;

  std::mutex _mutex;  // guards the next four
  std::vector<std::shared_ptr<CurlTransfer>> _submitted;
  CURLM* _multi = nullptr;  ///< nullptr until the thread has set itself up
  bool _hasThread = false;
  bool _isBroken = false;  ///< the end of the process would not wait

  /// Set before _multi: whoever sees that may use it.
  const CurlLibrary* _curl = nullptr;

  // For the thread only.
  CurlConnections _connections;
  CURLSH* _tlsSessions = nullptr;
  std::vector<CURL*> _idleHandles;
  std::map<CURL*, std::shared_ptr<CurlTransfer>> _running;
  std::map<std::string, Host> _hosts;
};

}  // namespace oq
