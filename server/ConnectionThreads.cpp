// SPDX-License-Identifier: Apache-2.0
#include "ConnectionThreads.h"

#include <sys/socket.h>

#include <algorithm>
#include <iostream>

namespace oq::server {

thread_local ConnectionThreads::Current ConnectionThreads::_current;

void ConnectionThreads::enqueue(std::function<void()> connection) {
  std::lock_guard lock(_mutex);
  _waiting.push_back(std::move(connection));
  if (!_stopping) {
    const auto free = _threads.size() - _connections.size();
    if (free < _waiting.size() && _threads.size() < _mostThreads) {
      _threads.emplace_back([this] { _work(); });
    } else {
      _freeThread();
    }
  }
  _arrived.notify_one();
}

void ConnectionThreads::shutdown() {
  std::vector<std::thread> threads;
  {
    std::lock_guard lock(_mutex);
    _stopping = true;
    for (auto* connection : _connections) _end(*connection);
    threads.swap(_threads);
  }
  _arrived.notify_all();
  for (auto& thread : threads) thread.join();
}

void ConnectionThreads::noteSocket(int socket) {
  if (!_current.pool || socket < 0) return;
  std::lock_guard lock(_current.pool->_mutex);
  _current.connection->socket = socket;
  if (_current.pool->_stopping) _current.pool->_end(*_current.connection);
}

void ConnectionThreads::noteRequest() {
  if (!_current.pool) return;
  std::lock_guard lock(_current.pool->_mutex);
  _current.connection->idleSince.reset();
}

void ConnectionThreads::noteAnswer() {
  if (!_current.pool) return;
  std::lock_guard lock(_current.pool->_mutex);
  _current.connection->idleSince = Clock::now();
  _current.pool->_freeThread();
}

void ConnectionThreads::noteEnd() {
  if (!_current.pool) return;
  std::lock_guard lock(_current.pool->_mutex);
  _current.connection->socket = -1;
  _current.connection->ends = true;
}

// Shuts down only the reading side: an idle connection ends at once, a connection that is sending a response can finish
// it, and a request that has already arrived is still answered.
void ConnectionThreads::_end(Connection& connection) {
  if (connection.socket < 0) return;
  ::shutdown(connection.socket, SHUT_RD);
  connection.ends = true;
}

// If a connection waits for a thread, ends the connection that has been idle longest. Called each time a connection
// starts to wait or becomes idle, so ending one per call is enough. No connection is ended before its first response,
// so that each client of a burst gets a response.
void ConnectionThreads::_freeThread() {
  if (_stopping) return;
  const auto ends = [](const Connection* connection) { return connection->ends; };
  const auto free =
      _threads.size() - _connections.size() + static_cast<std::size_t>(std::ranges::count_if(_connections, ends));
  if (_waiting.size() <= free) return;
  Connection* longest = nullptr;
  for (auto* connection : _connections) {
    if (connection->ends || connection->socket < 0 || !connection->idleSince) continue;
    if (!longest || connection->idleSince < longest->idleSince) longest = connection;
  }
  if (longest) _end(*longest);
}

void ConnectionThreads::_work() {
  std::unique_lock lock(_mutex);
  for (;;) {
    _arrived.wait(lock, [this] { return !_waiting.empty() || _stopping; });
    if (_waiting.empty()) return;
    const auto connection = std::move(_waiting.front());
    _waiting.pop_front();
    Connection own;
    _connections.insert(&own);
    _current = {this, &own};
    lock.unlock();
    try {
      connection();
    } catch (const std::exception& problem) {
      std::cerr << "a connection failed: " << problem.what() << std::endl;
    }
    lock.lock();
    _current = {};
    _connections.erase(&own);
  }
}

}  // namespace oq::server
