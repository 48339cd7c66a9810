// SPDX-License-Identifier: Apache-2.0
#include "MessageUI/MailThread.h"

#include <glib.h>

#include <mutex>
#include <utility>

#include "Dispatch/BackgroundThread.h"

namespace oq {

MailThread* MailThread::shared() {
  static std::mutex mutex;
  static MailThread* thread = nullptr;
  std::lock_guard lock(mutex);
  if (thread) return thread;
  GMainContext* context = g_main_context_new();
  const bool isRunning = startBackgroundThread("oq.mail", [context] {
    g_main_context_push_thread_default(context);
    for (;;) g_main_context_iteration(context, TRUE);
  });
  if (isRunning) return thread = new MailThread(context);
  g_main_context_unref(context);
  return nullptr;
}

void MailThread::async(Block block) {
  auto run = +[](gpointer data) -> gboolean {
    (*static_cast<Block*>(data))();
    return G_SOURCE_REMOVE;
  };
  auto drop = +[](gpointer data) { delete static_cast<Block*>(data); };
  g_main_context_invoke_full(_context, G_PRIORITY_DEFAULT, run, new Block(std::move(block)), drop);
}

void deliver(MailReport report, MailOutcome outcome, std::optional<Error> error) {
  DispatchQueue::main().async([report = std::move(report), outcome, error = std::move(error)] {
    if (const auto completion = std::exchange(*report, nullptr)) completion(outcome, error);
  });
}

}  // namespace oq
