#pragma once

#include <httplib.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace oq::server {

// Runs each connection of one listener on a thread of its own, since a kept-alive connection occupies its
// thread while it is idle: with a fixed small pool a few idle clients would lock everybody else out. Threads
// are made when needed, up to a limit, and reused.
class ConnectionThreads : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> connection) override;

  // Lets every connection finish the request that it is answering, ends idle ones at once, and joins.
  void shutdown() override;

  // Tells the calling thread's pool which socket its connection has. No effect on other threads.
  static void noteSocket(int socket);

 private:
  void _work();
  void _remember(int socket);

  std::mutex _mutex;  // guards everything below
  std::condition_variable _arrived;
  std::deque<std::function<void()>> _waiting;
  std::vector<std::thread> _threads;
  std::multiset<int> _sockets;
  std::size_t _idle = 0;
  bool _stopping = false;
};

}  // namespace oq::server
