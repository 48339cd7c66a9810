// SPDX-License-Identifier: Apache-2.0

// Sanitizer options for all test programs. They are compiled in, so that a program started by hand behaves as in CTest.
// No suppression names our own code.

#define SANITIZER_HOOK(name)                                            \
  extern "C" __attribute__((visibility("default"))) const char* name(); \
  const char* name()

SANITIZER_HOOK(__asan_default_options) {
  return "detect_leaks=1";
}

// Some tests check a program's standard error, so it must not contain reports about suppressions.
SANITIZER_HOOK(__lsan_default_options) {
  return "print_suppressions=0";
}

// The text libraries have caches that they never free.
SANITIZER_HOOK(__lsan_default_suppressions) {
  return "leak:libfontconfig\n"
         "leak:libpango\n"
         "leak:libcairo\n";
}

// By default a process waits one second for its other threads when it ends. This is too long, because each test is a
// process of its own. After the shorter wait some library threads have not ended yet, so thread leaks are not reported.
SANITIZER_HOOK(__tsan_default_options) {
  return "halt_on_error=1:atexit_sleep_ms=20:report_thread_leaks=0";
}

// These libraries are not built for the sanitizer, so it does not see their synchronisation. For cairo and OpenSSL only
// reports of races are suppressed: "called_from_lib" would also hide their locks, on which other libraries rely.
// Suppressing reports is enough for these two, because they do not call our code.
SANITIZER_HOOK(__tsan_default_suppressions) {
  return "called_from_lib:libglib-2.0.so.0\n"
         "called_from_lib:libcpp-httplib.so\n"
         "race:libcairo.so.2\n"
         "race:libcrypto.so.3\n"
         "called_from_lib:libfontconfig.so.1\n"
         "called_from_lib:libharfbuzz.so.0\n";
}

SANITIZER_HOOK(__ubsan_default_options) {
  return "halt_on_error=1:print_stacktrace=1";
}
