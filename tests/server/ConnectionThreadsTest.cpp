// SPDX-License-Identifier: Apache-2.0
#include "ConnectionThreads.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <future>

namespace oq::server {
namespace {

constexpr int patience = 30'000;  // timeout in milliseconds

// A client and its connection in a pool. The connection obeys single characters and echoes each one: '?' starts a
// request, '.' sends a response.
class Client {
 public:
  explicit Client(ConnectionThreads& pool) {
    int sockets[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
    _socket = sockets[0];
    auto work = std::make_shared<std::packaged_task<void()>>([socket = sockets[1]] { serve(socket); });
    _done = work->get_future();
    pool.enqueue([work] { (*work)(); });
  }
  ~Client() { close(_socket); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Waits until the connection has a thread.
  bool begins() { return receives('!'); }

  // Sends a command. Returns false if the connection was ended.
  bool obeys(char what) { return send(_socket, &what, 1, MSG_NOSIGNAL) == 1 && receives(what); }

  bool isEnded() { return _done.wait_for(std::chrono::milliseconds(patience)) == std::future_status::ready; }

 private:
  static void serve(int socket) {
    ConnectionThreads::noteSocket(socket);
    char what = '!';
    do {
      if (what == '?') ConnectionThreads::noteRequest();
      if (what == '.') ConnectionThreads::noteAnswer();
      send(socket, &what, 1, MSG_NOSIGNAL);
    } while (read(socket, &what, 1) == 1);
    ConnectionThreads::noteEnd();
    close(socket);
  }

  bool receives(char expected) {
    pollfd wait{_socket, POLLIN, 0};
    char what = 0;
    return poll(&wait, 1, patience) == 1 && read(_socket, &what, 1) == 1 && what == expected;
  }

  int _socket = -1;
  std::future<void> _done;
};

class Pool : public ConnectionThreads {
 public:
  using ConnectionThreads::ConnectionThreads;
  ~Pool() override { shutdown(); }
};

TEST(ConnectionThreads, NewConnectionEndsTheLongestIdleOne) {
  Pool pool(4);
  Client first(pool), second(pool), answering(pool), silent(pool);
  for (auto* client : {&first, &second, &answering, &silent}) ASSERT_TRUE(client->begins());
  ASSERT_TRUE(answering.obeys('.') && answering.obeys('?'));
  ASSERT_TRUE(first.obeys('.') && second.obeys('.') && first.obeys('?') && first.obeys('.'));
  Client waiting(pool);
  ASSERT_TRUE(waiting.begins());
  EXPECT_TRUE(second.isEnded());
  // A connection without a response so far is not idle: new clients must not end each other.
  for (auto* client : {&first, &answering, &silent, &waiting}) EXPECT_TRUE(client->obeys('?'));
}

TEST(ConnectionThreads, BusyConnectionFinishesItsResponseBeforeItEnds) {
  Pool pool(1);
  Client busy(pool);
  ASSERT_TRUE(busy.begins() && busy.obeys('.') && busy.obeys('?'));
  Client waiting(pool);
  EXPECT_TRUE(busy.obeys('.'));
  ASSERT_TRUE(waiting.begins());
  EXPECT_TRUE(busy.isEnded());
}

}  // namespace
}  // namespace oq::server
