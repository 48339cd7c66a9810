// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cxxabi.h>

#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "oqsdk/c/oqsdk.h"

namespace oq::c {

/// The reason why a call fails. It is thrown inside the library. call() catches it and returns an oq_result instead.
class Failure : public std::exception {
 public:
  Failure(oq_result result, std::string reason) : _result(result), _reason(std::move(reason)) {}
  oq_result result() const { return _result; }
  const char* what() const noexcept override { return _reason.c_str(); }

 private:
  oq_result _result;
  std::string _reason;
};

/// While an instance exists, its thread is in a function of the C interface or in a callback that the library called.
class CallScope {
 public:
  CallScope() { ++_depth; }
  ~CallScope() { --_depth; }
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;
  /// Whether the program has made the current call in a callback.
  static bool isNested() { return _depth > 1; }

 private:
  static thread_local int _depth;
};

void setLastError(std::string_view reason) noexcept;

// Each of these functions checks a rule for calls of the C interface. It throws a Failure if the rule is broken.

/// A host must be installed.
void requireHost();
void requireMainThread();
/// The call must not have been made by a callback.
void requireNoCallback(const char* function);
/// The string must not be NULL or empty, and must be UTF-8. Returns a copy. `name` names the parameter in the reason.
std::string required(const char* string, const char* name);
/// The string must be UTF-8 or NULL. Returns a copy; "" for NULL.
std::string optional(const char* string, const char* name);
void requireFinite(double number, const char* name);

/// Runs the body of a function of the C interface and returns its value. If the body throws, stores the reason for
/// oq_last_error() and returns what `otherwise` returns for the oq_result. Only the forced unwinding of a cancelled
/// thread passes through.
template <class Body, class Otherwise>
auto call(Body&& body, Otherwise&& otherwise) -> decltype(body()) {
  const CallScope scope;
  setLastError("");
  try {
    auto result = body();
    setLastError("");  // a call of a callback may have failed
    return result;
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (const Failure& failure) {
    setLastError(failure.what());
    return otherwise(failure.result());
  } catch (const std::bad_alloc&) {
    setLastError("Out of memory.");
    return otherwise(OQ_ERROR_MEMORY);
  } catch (const std::exception& error) {
    setLastError(error.what());
    return otherwise(OQ_ERROR_INTERNAL);
  } catch (...) {
    setLastError("An unknown error.");
    return otherwise(OQ_ERROR_INTERNAL);
  }
}

/// The same for a function that returns an oq_result.
template <class Body>
oq_result call(Body&& body) {
  return call(
      [&] {
        body();
        return OQ_OK;
      },
      [](oq_result result) { return result; });
}

/// The same for a function that returns the value `otherwise` after an error.
template <class Value, class Body>
Value callOr(Value otherwise, Body&& body) {
  return call([&]() -> Value { return body(); }, [&](oq_result) { return otherwise; });
}

}  // namespace oq::c
