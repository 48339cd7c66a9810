// SPDX-License-Identifier: Apache-2.0
#include "Dispatch/DispatchQueue.h"

#include <glib.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <future>

#include "support/MainLoop.h"
#include "support/Threads.h"

namespace oq {
namespace {

using namespace std::chrono_literals;
using test::runLoopUntil;

constexpr auto kPatience = 30s;

TEST(DispatchQueue, MainBlocksAreKeptUntilAMainThreadIsInstalled) {
  // An earlier test in the same process may have called installMain(). CTest runs each test in its own process.
  if (DispatchQueue::currentLabel() == DispatchQueue::main().label()) GTEST_SKIP() << "a host is installed";
  std::vector<int> ran;
  for (int i : {1, 2}) DispatchQueue::main().async([&, i] { ran.push_back(i); });
  EXPECT_FALSE(g_main_context_iteration(nullptr, FALSE));
  EXPECT_TRUE(ran.empty());
  DispatchQueue::installMain();
  ASSERT_TRUE(runLoopUntil([&] { return ran.size() == 2; }));
  EXPECT_EQ(ran, (std::vector<int>{1, 2}));
}

TEST(DispatchQueue, LabelsAndSpecificsBelongToTheRunningQueue) {
  DispatchQueue::installMain();
  auto outer = DispatchQueue::serial("same label");
  auto inner = DispatchQueue::concurrent("same label");
  int key = 0;
  int outerValue = 0;
  outer->setSpecific(&key, &outerValue);
  EXPECT_NE(outer->label(), inner->label());
  EXPECT_EQ(DispatchQueue::currentSpecific(&key), nullptr);

  auto check = [&] {
    EXPECT_EQ(DispatchQueue::currentLabel(), outer->label());
    EXPECT_EQ(DispatchQueue::currentSpecific(&key), &outerValue);
    inner->sync([&] {
      EXPECT_EQ(DispatchQueue::currentLabel(), inner->label());
      EXPECT_EQ(DispatchQueue::currentSpecific(&key), nullptr);
    });
    EXPECT_EQ(DispatchQueue::currentLabel(), outer->label());
  };
  outer->sync(check);  // the current queue is `outer`, not the main queue, although the main thread calls
  outer->sync([] {
    DispatchQueue::main().sync(
        [] { EXPECT_EQ(DispatchQueue::currentLabel(), DispatchQueue::main().label()) << "runs at once"; });
  });
  EXPECT_EQ(DispatchQueue::currentLabel(), DispatchQueue::main().label());
  std::jthread([&] {
    outer->sync(check);
    EXPECT_NE(DispatchQueue::currentLabel(), DispatchQueue::main().label());
  });
}

TEST(DispatchQueue, SerialQueueKeepsOrderWithAsyncAndSyncCallers) {
  auto queue = DispatchQueue::serial("order");
  std::vector<int> seen[4];
  int inside = 0;  // intentionally unguarded: the queue serializes access
  test::inThreads(4, [&](int t) {
    for (int i = 0; i < 400; ++i) {
      auto block = [&, t, i] {
        EXPECT_EQ(++inside, 1);
        seen[t].push_back(i);
        --inside;
      };
      i % 7 == 3 ? queue->sync(block) : queue->async(block);
    }
  });
  queue->sync([] {});
  for (const auto& numbers : seen) EXPECT_TRUE(numbers.size() == 400 && std::ranges::is_sorted(numbers));
}

// Far more blocks than the pool has threads wait for other queues at the same time: all of them must complete.
TEST(DispatchQueue, WaitingForOtherQueuesDoesNotExhaustThePool) {
  DispatchQueue::installMain();
  auto concurrent = DispatchQueue::concurrent("wide");
  auto gateQueue = DispatchQueue::serial("gate"), needed = DispatchQueue::serial("needed");
  std::promise<void> gate;
  gateQueue->async([opened = gate.get_future().share()] { opened.wait(); });
  std::atomic<int> done{0}, answered{0};
  constexpr int blocks = 40;
  for (int i = 0; i < blocks; ++i) {
    concurrent->async([&] {
      gateQueue->sync([] {});
      DispatchQueue::main().sync([&] { ++done; });
    });
  }
  // This block is queued after all blocks above. It runs only if waiting blocks do not count as running.
  concurrent->async([&] { gate.set_value(); });
  EXPECT_TRUE(runLoopUntil([&] { return done == blocks; }));
  // These blocks wait for a future, which the pool cannot notice. It must still have a thread for the queue `needed`.
  for (int i = 0; i < blocks; ++i) {
    concurrent->async([&] {
      std::promise<void> answer;
      needed->async([&] { answer.set_value(); });
      answer.get_future().wait();
      ++answered;
    });
  }
  EXPECT_TRUE(runLoopUntil([&] { return answered == blocks; }));
}

TEST(DispatchQueue, MainBlockThatRepostsItselfDoesNotStarveRedraw) {
  DispatchQueue::installMain();
  int reposts = 0;
  bool hasDrawn = false;
  std::function<void()> repost = [&] {
    if (++reposts < 10000 && !hasDrawn) DispatchQueue::main().async(repost);
  };
  DispatchQueue::main().async(repost);
  EXPECT_EQ(DispatchQueue::drainMain(), 1u);  // ran the first block, but not the block that it has posted
  g_idle_add_full(
      G_PRIORITY_HIGH_IDLE + 20,  // the priority of GTK's redraw
      [](gpointer flag) -> gboolean {
        *static_cast<bool*>(flag) = true;
        return G_SOURCE_REMOVE;
      },
      &hasDrawn, nullptr);
  ASSERT_TRUE(runLoopUntil([&] { return hasDrawn; }));
  EXPECT_LT(reposts, 100);
  DispatchQueue::drainMain();
}

/// Media libraries iterate the default main context on threads of their own.
TEST(DispatchQueue, MainBlocksNeverRunOnAnotherThreadThatIteratesTheDefaultContext) {
  std::atomic<bool> isOver = false;
  std::thread other([&] {
    while (!isOver) g_main_context_iteration(nullptr, FALSE);
  });
  for (MainLoop loop : {MainLoop::GLib, MainLoop::OfHost}) {
    DispatchQueue::installMain(loop);
    const auto mainThread = std::this_thread::get_id();
    int ran = 0;
    std::thread([&] {
      for (int i = 0; i < 1000; ++i) {
        DispatchQueue::main().async([&] {
          EXPECT_EQ(std::this_thread::get_id(), mainThread);
          ++ran;
        });
      }
    }).join();
    const auto step = [&] {
      loop == MainLoop::GLib ? g_main_context_iteration(nullptr, FALSE) : DispatchQueue::drainMain();
    };
    while (ran < 1000) step();
  }
  isOver = true;
  g_main_context_wakeup(nullptr);
  other.join();
  DispatchQueue::installMain();
}

TEST(DispatchQueue, HostWithItsOwnLoopIsWokenOnlyWhenTheEmptyMainQueueGetsABlock) {
  DispatchQueue::installMain(MainLoop::OfHost);
  auto& main = DispatchQueue::main();
  std::atomic<int> wakes = 0;
  main.async([] {});
  DispatchQueue::setMainWake([&] { ++wakes; });
  EXPECT_EQ(wakes, 1) << "a block waits already";
  std::thread([&] { main.async([&] { main.async([] {}); }); }).join();
  EXPECT_EQ(wakes, 1);
  EXPECT_EQ(DispatchQueue::drainMain(), 2u) << "a block that posts itself must not hold up the frame";
  EXPECT_FALSE(DispatchQueue::isMainEmpty());
  main.async([] {});
  EXPECT_EQ(DispatchQueue::drainMain(0), 1u) << "no time left";
  EXPECT_EQ(DispatchQueue::drainMain(), 1u);
  EXPECT_TRUE(DispatchQueue::isMainEmpty());
  EXPECT_EQ(wakes, 2) << "the queue was empty while the posting block ran";

  // setMainWake() returns only when no call of the former function is running. The host may then destroy what that
  // function uses.
  std::promise<void> called, mayReturn;
  DispatchQueue::setMainWake([&] {
    called.set_value();
    mayReturn.get_future().wait();
    ++wakes;
  });
  std::thread poster([&] { main.async([] {}); });
  called.get_future().wait();
  std::thread releaser([&] { mayReturn.set_value(); });
  DispatchQueue::setMainWake(nullptr);
  EXPECT_EQ(wakes, 3);
  poster.join();
  releaser.join();
  DispatchQueue::drainMain();
  DispatchQueue::installMain();
}

TEST(DispatchQueue, LoopThatABlockRunsKeepsTheOrderOfBlocks) {
  DispatchQueue::installMain();
  std::vector<int> ran;
  DispatchQueue::main().async([&] {
    ran.push_back(1);
    EXPECT_TRUE(runLoopUntil([&] { return ran.size() == 3; }));
    ran.push_back(4);
  });
  for (int i : {2, 3}) DispatchQueue::main().async([&, i] { ran.push_back(i); });
  ASSERT_TRUE(runLoopUntil([&] { return ran.size() == 4; }));
  EXPECT_EQ(ran, (std::vector<int>{1, 2, 3, 4}));
}

TEST(DispatchQueue, AfterRunsInOrderOfDelaysAndNeverEarly) {
  auto queue = DispatchQueue::serial("later");
  auto start = std::chrono::steady_clock::now();
  std::vector<int> order;
  std::promise<void> done;
  auto note = [&](int milliseconds) {
    EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds * 1ms);
    order.push_back(milliseconds);
    if (order.size() == 3) done.set_value();
  };
  queue->after(-1, [&] { note(0); });
  queue->after(1e300, [&] { ADD_FAILURE() << "ran a block with an endless delay"; });
  // Half a second is long enough that the next line runs earlier, even on a busy machine.
  queue->after(0.5, [&] { note(500); });
  queue->after(0.02, [&] { note(20); });
  ASSERT_EQ(done.get_future().wait_for(kPatience), std::future_status::ready);
  EXPECT_EQ(order, (std::vector<int>{0, 20, 500}));
}

TEST(DispatchQueue, PoolThreadsBlockSignals) {
  std::promise<sigset_t> mask;
  DispatchQueue::concurrent("released immediately")->async([&] {
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    mask.set_value(blocked);
  });
  auto blocked = mask.get_future().get();
  for (int signal : {SIGTERM, SIGINT, SIGPIPE, SIGUSR1, SIGCHLD}) EXPECT_EQ(sigismember(&blocked, signal), 1);
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  EXPECT_EQ(sigismember(&blocked, SIGTERM), 0) << "on this thread";
}

}  // namespace
}  // namespace oq
