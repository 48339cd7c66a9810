#pragma once

#include <functional>

namespace oq {

/// Runs the function on a thread of its own that lives beside the process: it blocks all signals but those of faults,
/// so that the host's handlers run on the host's threads, and it is detached, so that it never holds up the process's
/// end. What it uses must live as long as the process; so must its name, of at most 15 bytes. False when the system has
/// no thread to give.
bool startBackgroundThread(const char* name, std::function<void()> function);

}  // namespace oq
