// Ends processes at every moment of what their other threads begin with: the first request, the first text. A program
// of its own, since test programs have loaded the libraries for both themselves.
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
  // Left as a host leaves it that ends with exit().
  static auto* host = new oq::HeadlessHost(oq::HeadlessHost::Options{});
  (void)host;
}

/// How many of so many processes do not end well; each ends so many microseconds later than the one before.
int deathsAfter(void (*begin)(), int processes, int step) {
  int died = 0;
  for (int i = 0; i < processes; ++i) {
    const pid_t child = ::fork();
    if (child == 0) {
      begin();
      ::usleep(static_cast<useconds_t>(step * i));  // nothing tells when: any moment must do
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
  std::printf("%d of 200 processes with a first request and %d of 60 with a first text did not end well\n", requests,
              texts);
  return requests + texts == 0 ? 0 : 1;
}
