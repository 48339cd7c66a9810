// Ends processes while they make their first request, at every moment of it. A program of its own, since test programs
// with servers have loaded the TLS library themselves.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "Foundation/URLSession.h"

namespace {

constexpr int Processes = 300;

[[noreturn]] void requestAndEnd(useconds_t later) {
  oq::URLRequest request(oq::URL::withString("https://localhost:1/"));
  auto session = oq::URLSession::sessionWithConfiguration({});
  session->dataTaskWithRequest(request, [](auto&, auto&, auto&) {})->resume();
  ::usleep(later);  // nothing tells when: any moment must do
  std::exit(0);
}

}  // namespace

int main() {
  int died = 0;
  for (int i = 0; i < Processes; ++i) {
    const pid_t child = ::fork();
    if (child == 0) requestAndEnd(static_cast<useconds_t>(30 * i));
    int status = -1;
    ::waitpid(child, &status, 0);
    died += status == 0 ? 0 : 1;
  }
  std::printf("%d of %d processes did not end well\n", died, Processes);
  return died == 0 ? 0 : 1;
}
