// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <vector>

namespace oq::server {

// Runs each connection of one listener on its own thread. A kept-alive connection occupies its thread while it is idle,
// so with a small fixed pool a few idle clients would lock out all others. Threads are created on demand, up to a
// limit, and reused. At the limit, a new connection ends the one that has been idle longest.
class ConnectionThreads : public httplib::TaskQueue {
 public:
  explicit ConnectionThreads(std::size_t mostThreads) : _mostThreads(mostThreads) {}

  void enqueue(std::function<void()> connection) override;

  // Ends idle connections at once, lets the others finish their current response, and joins all threads.
  void shutdown() override;

  // These functions report the state of the connection that the calling thread serves. They have no effect on a thread
  // that belongs to no pool.
  static void noteSocket(int socket);
  static void noteRequest();
  static void noteAnswer();  // the connection is now idle until its next request
  static void noteEnd();     // the socket is about to be closed, and its number may be reused

 private:
  using Clock = std::chrono::steady_clock;

  struct Connection {
    int socket = -1;
    bool ends = false;  // the connection is ending, so its thread will soon be free
    std::optional<Clock::time_point> idleSince;
  };

  // The connection that the calling thread serves.
  struct Current {
    ConnectionThreads* pool = nullptr;
    Connection* connection = nullptr;
  };
  static thread_local Current _current;

  void _work();
  void _freeThread();
  void _end(Connection& connection);

  const std::size_t _mostThreads;
  std::mutex _mutex;  // guards everything below
  std::condition_variable _arrived;
  std::deque<std::function<void()>> _waiting;
  std::vector<std::thread> _threads;
  std::set<Connection*> _connections;  // the connections that have a thread
  bool _stopping = false;
};

}  // namespace oq::server
