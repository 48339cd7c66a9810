/* SPDX-License-Identifier: Apache-2.0 */
#include <oqsdk/c/oqsdk.h>
#include <stdio.h>

int main(void) {
  oq_init_options options = OQ_INIT_OPTIONS_INIT;
  if (oq_init(&options) != OQ_ERROR_ARGUMENT) return 1;
  printf("%s: %s\n", oq_version(), oq_last_error());
  options.application = "com.example.consumer";
  return oq_init(&options) == OQ_OK && oq_pump(0) >= 0 && oq_shutdown() == OQ_OK ? 0 : 1;
}
