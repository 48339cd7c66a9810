// SPDX-License-Identifier: Apache-2.0
#ifdef __SANITIZE_ADDRESS__
// Libraries that SDL and OpenGL load stay loaded until the end. Otherwise a leak report cannot name the library, and
// lsan.supp cannot suppress it.
extern "C" __attribute__((visibility("default"))) int dlclose(void*) {
  return 0;
}
#endif
