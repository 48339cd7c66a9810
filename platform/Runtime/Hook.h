#pragma once

#include <cstdint>

#include "oqsdk/Runtime.h"

/// What the library's own hooks need of the class runtime, so that they live beside the hooks of others. Any
/// thread.
namespace oq::detail {

/// The hook that stood on `was` in a method now stands on `is`. Called without a lock.
using HookMoved = void (*)(IMP hook, IMP was, IMP is);

/// Makes an implementation a hook on the selector's methods, before it is put into the first of them. It
/// stays in a method in which another library puts back what lay there before, or exchanges what lies below;
/// and from now on the selector's messages are counted.
void registerHook(SEL selector, IMP hook, HookMoved moved);
/// How many messages of the hooked selector the calling thread has sent. As long as the number stays, a call
/// that reaches the hook is still the same one, passed on from implementation to implementation.
std::uint64_t sendCount(SEL selector);
/// What the method was made with, whatever lies on it now; nullptr without a method.
IMP firstImplementation(const Method* method);

}  // namespace oq::detail
