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

/// Why a call fails. Thrown inside the library, and turned into an oq_result where it leaves it.
class Failure : public std::exception {
 public:
  Failure(oq_result result, std::string reason) : _result(result), _reason(std::move(reason)) {}
  oq_result result() const { return _result; }
  const char* what() const noexcept override { return _reason.c_str(); }

 private:
  oq_result _result;
  std::string _reason;
};

/// While one exists, the calling thread is inside the library or in a callback of the program.
class CallScope {
 public:
  CallScope() { ++_depth; }
  ~CallScope() { --_depth; }
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;
  /// Whether the current call was made by a callback.
  static bool isNested() { return _depth > 1; }

 private:
  static thread_local int _depth;
};

void setLastError(std::string_view reason) noexcept;

// The rules of a call; each throws a Failure if its rule is broken.

/// A host must be installed.
void requireHost();
void requireMainThread();
/// The call must not have been made by a callback.
void requireNoCallback(const char* function);
/// A string that must be there. `name` is used for the reason, as in the next function.
std::string required(const char* string, const char* name);
/// A string that may be missing; then it is "".
std::string optional(const char* string, const char* name);
void requireFinite(double number, const char* name);

/// Runs the body of a function of the C interface. No exception leaves it; after one, the function returns what
/// `otherwise` makes of the result. The forced unwinding of a cancelled thread is not stopped.
template <class Body, class Otherwise>
auto call(Body&& body, Otherwise&& otherwise) -> decltype(body()) {
  const CallScope scope;
  setLastError("");
  try {
    return body();
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

/// The same for a function that returns this value after an error.
template <class Value, class Body>
Value callOr(Value otherwise, Body&& body) {
  return call([&]() -> Value { return body(); }, [&](oq_result) { return otherwise; });
}

}  // namespace oq::c
