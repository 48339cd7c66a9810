// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <glib.h>

#include <chrono>
#include <functional>

namespace oq::test {

/// Runs GLib's default main context until the condition is true. Returns false after the timeout. The condition is
/// checked after every iteration, and at least every few milliseconds.
inline bool runLoopUntil(const std::function<bool()>& condition,
                         std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
  auto end = std::chrono::steady_clock::now() + timeout;
  guint tick = g_timeout_add(
      5, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  bool holds = condition();
  while (!holds && std::chrono::steady_clock::now() < end) {
    g_main_context_iteration(nullptr, TRUE);
    holds = condition();
  }
  g_source_remove(tick);
  return holds;
}

}  // namespace oq::test
