// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>

#include "Dispatch/DispatchQueue.h"
#include "MessageUI/MailMessage.h"

using GMainContext = struct _GMainContext;

namespace oq {

/// A thread with its own GLib main context, so that mail works with any loop that the host runs. It lives as long as
/// the process. Thread-safe.
class MailThread {
 public:
  /// nullptr if the system cannot create a thread now.
  static MailThread* shared();
  /// Runs the block on the thread. Asynchronous GLib calls in the block use the thread's context.
  void async(Block block);

 private:
  explicit MailThread(GMainContext* context) : _context(context) {}

  GMainContext* const _context;
};

/// The completion of a composition. The function is empty after it was called or the composition was cancelled. It is
/// used on the main thread only; the pointer may be released on any thread.
using MailReport = std::shared_ptr<MailCompletion>;

/// Calls the completion on the main queue, unless it was already called or the composition is cancelled before that.
void deliver(MailReport report, MailOutcome outcome, std::optional<Error> error = std::nullopt);

}  // namespace oq
