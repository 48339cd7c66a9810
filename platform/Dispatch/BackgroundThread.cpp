// SPDX-License-Identifier: Apache-2.0
#include "Dispatch/BackgroundThread.h"

#include <pthread.h>
#include <signal.h>

#include <thread>

namespace oq {

bool startBackgroundThread(const char* name, std::function<void()> function) {
  // A thread inherits the signal mask of its creator. The mask is therefore set here, before the thread exists, so that
  // the thread receives no signal before it could block the signal itself.
  sigset_t all;
  sigset_t callers;
  sigfillset(&all);
  // A fault's signal must reach the faulting thread and the host's crash reporter.
  for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) sigdelset(&all, fault);
  pthread_sigmask(SIG_SETMASK, &all, &callers);
  bool started = true;
  try {
    // A thread sets its own name with one system call; to set another thread's name, glibc opens a file.
    std::thread([name, function = std::move(function)] {
      pthread_setname_np(pthread_self(), name);
      function();
    }).detach();
  } catch (...) {  // no thread or no memory: the caller's mask must still be restored
    started = false;
  }
  pthread_sigmask(SIG_SETMASK, &callers, nullptr);
  return started;
}

}  // namespace oq
