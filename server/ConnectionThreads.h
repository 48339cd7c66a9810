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

// Runs each connection of one listener on a thread of its own, since a kept-alive connection occupies its
// thread while it is idle: with a fixed small pool a few idle clients would lock everybody else out. Threads
// are made when needed, up to a limit, and reused; at the limit, a new connection ends the one that has been
// idle longest.
class ConnectionThreads : public httplib::TaskQueue {
 public:
  explicit ConnectionThreads(std::size_t mostThreads) : _mostThreads(mostThreads) {}

  void enqueue(std::function<void()> connection) override;

  // Lets every connection finish the request that it is answering, ends idle ones at once, and joins.
  void shutdown() override;

  // These tell the calling thread's pool how its connection fares. No effect on other threads.
  static void noteSocket(int socket);
  static void noteRequest();
  static void noteAnswer();  // idle until the next request
  static void noteEnd();     // the socket is about to be closed, and its number may soon be another's

 private:
  using Clock = std::chrono::steady_clock;

  struct Connection {
    int socket = -1;
    bool ends = false;  // its thread is as good as free
    std::optional<Clock::time_point> idleSince;
  };

  // What runs on the calling thread.
  struct Current {
    ConnectionThreads* pool = nullptr;
    Connection* connection = nullptr;
  };
  static thread_local Current _current;

  void _work();
  void _makeRoom();
  void _end(Connection& connection);

  const std::size_t _mostThreads;
  std::mutex _mutex;  // guards everything below
  std::condition_variable _arrived;
  std::deque<std::function<void()>> _waiting;
  std::vector<std::thread> _threads;
  std::set<Connection*> _connections;  // those that have a thread
  bool _stopping = false;
};

}  // namespace oq::server
