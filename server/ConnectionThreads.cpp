#include "ConnectionThreads.h"

#include <sys/socket.h>

#include <iostream>

namespace oq::server {

namespace {

constexpr std::size_t mostThreads = 256;

struct Current {
  ConnectionThreads* pool = nullptr;
  int socket = -1;
};
thread_local Current current;

}  // namespace

void ConnectionThreads::enqueue(std::function<void()> connection) {
  std::lock_guard lock(_mutex);
  _waiting.push_back(std::move(connection));
  if (_waiting.size() > _idle && _threads.size() < mostThreads && !_stopping) {
    _threads.emplace_back([this] { _work(); });
  }
  _arrived.notify_one();
}

void ConnectionThreads::shutdown() {
  std::vector<std::thread> threads;
  {
    std::lock_guard lock(_mutex);
    _stopping = true;
    // Reading side only: an idle connection sees the end at once, one that is answering can still write.
    for (const int socket : _sockets) ::shutdown(socket, SHUT_RD);
    threads.swap(_threads);
  }
  _arrived.notify_all();
  for (auto& thread : threads) thread.join();
}

void ConnectionThreads::noteSocket(int socket) {
  if (current.pool && socket >= 0) current.pool->_remember(socket);
}

void ConnectionThreads::_remember(int socket) {
  std::lock_guard lock(_mutex);
  current.socket = socket;
  _sockets.insert(socket);
  if (_stopping) ::shutdown(socket, SHUT_RD);
}

void ConnectionThreads::_work() {
  std::unique_lock lock(_mutex);
  for (;;) {
    ++_idle;
    _arrived.wait(lock, [this] { return !_waiting.empty() || _stopping; });
    --_idle;
    if (_waiting.empty()) return;
    const auto connection = std::move(_waiting.front());
    _waiting.pop_front();
    lock.unlock();
    current = {this, -1};
    try {
      connection();
    } catch (const std::exception& problem) {
      std::cerr << "a connection failed: " << problem.what() << std::endl;
    }
    lock.lock();
    // The number may be in use again by now: the new connection has an entry of its own.
    const auto entry = _sockets.find(current.socket);
    if (entry != _sockets.end()) _sockets.erase(entry);
  }
}

}  // namespace oq::server
