// How the sanitizers behave in every test program, compiled in so that a program run by hand behaves the same. No
// suppression names a frame of ours.

#define SANITIZER_HOOK extern "C" __attribute__((visibility("default"))) const char*

SANITIZER_HOOK __asan_default_options();
SANITIZER_HOOK __lsan_default_options();
SANITIZER_HOOK __lsan_default_suppressions();
SANITIZER_HOOK __tsan_default_options();
SANITIZER_HOOK __tsan_default_suppressions();
SANITIZER_HOOK __ubsan_default_options();

SANITIZER_HOOK __asan_default_options() {
  return "detect_leaks=1";
}

// A program whose standard error is looked at stays quiet.
SANITIZER_HOOK __lsan_default_options() {
  return "print_suppressions=0";
}

// Caches that the text libraries keep until the process ends.
SANITIZER_HOOK __lsan_default_suppressions() {
  return "leak:libfontconfig\n"
         "leak:libpango\n"
         "leak:libcairo\n";
}

// Left alone, a process that ends waits a second for its other threads, and each case is a process. Without that wait
// it would take threads of libraries that are about to end for leaks.
SANITIZER_HOOK __tsan_default_options() {
  return "halt_on_error=1:atexit_sleep_ms=20:report_thread_leaks=0";
}

// These are not built for the sanitizer: what they do between their own locks and threads is not seen. The locks of
// cairo and OpenSSL are, since others count on them; they call nothing of ours.
SANITIZER_HOOK __tsan_default_suppressions() {
  return "called_from_lib:libglib-2.0.so.0\n"
         "called_from_lib:libcpp-httplib.so\n"
         "race:libcairo.so.2\n"
         "race:libcrypto.so.3\n"
         "called_from_lib:libfontconfig.so.1\n"
         "called_from_lib:libharfbuzz.so.0\n";
}

SANITIZER_HOOK __ubsan_default_options() {
  return "halt_on_error=1:print_stacktrace=1";
}
