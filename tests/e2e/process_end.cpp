// SPDX-License-Identifier: Apache-2.0

// Ends processes at different moments while another thread of the process starts its first request or its first text
// layout. This is a separate program, because the other test programs have already loaded the libraries for both.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "Foundation/Networking/URLSession.h"
#include "oqsdk/headless/HeadlessHost.h"

namespace {

void makeRequest() {
  oq::URLRequest request(oq::URL::withString("https://localhost:1/"));
  auto session = oq::URLSession::sessionWithConfiguration({});
  session->dataTaskWithRequest(request, [](auto&, auto&, auto&) {})->resume();
}

void makeHost() {
  // The host is not deleted, like in a program that ends with exit().
  static auto* host = new oq::HeadlessHost(oq::HeadlessHost::Options{});
  (void)host;
}

/// Starts processes one after the other; each ends `step` microseconds later than the one before. Returns the number of
/// those that did not exit normally.
int deathsAfter(void (*begin)(), int processes, int step) {
  int died = 0;
  for (int i = 0; i < processes; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      begin();
      ::usleep(static_cast<useconds_t>(step * i));  // the process must be able to end at any moment
      std::exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    died += status == 0 ? 0 : 1;
  }
  return died;
}

}  // namespace

int main() {
  const int requests = deathsAfter(makeRequest, 200, 60), texts = deathsAfter(makeHost, 60, 1500);
  std::printf("%d of 200 processes with a first request and %d of 60 with a first text did not exit normally\n",
              requests, texts);
  return requests + texts == 0 ? 0 : 1;
}
