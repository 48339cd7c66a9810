#include "Dispatch/BackgroundThread.h"

#include <pthread.h>
#include <signal.h>

#include <thread>

namespace oq {

bool startBackgroundThread(const char* name, std::function<void()> function) {
  // A thread inherits the mask of the one that makes it: no signal can slip in before it has blocked them
  // itself.
  sigset_t all;
  sigset_t callers;
  sigfillset(&all);
  // What a fault raises is for the thread that is at fault, and for the host's crash reporter.
  for (int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) sigdelset(&all, fault);
  pthread_sigmask(SIG_SETMASK, &all, &callers);
  bool started = true;
  try {
    // A thread names itself with one system call; another thread would have to open a file for it.
    std::thread([name, function = std::move(function)] {
      pthread_setname_np(pthread_self(), name);
      function();
    }).detach();
  } catch (...) {  // no thread, or no memory for one: the caller's mask has to come back
    started = false;
  }
  pthread_sigmask(SIG_SETMASK, &callers, nullptr);
  return started;
}

}  // namespace oq
