// SPDX-License-Identifier: Apache-2.0

// POSTs through the library's client to an HTTPS server on the loopback interface (a separate process), compared with
// one libcurl handle that keeps its connection and sends the same POSTs one after the other. The client sends them one
// by one, then several in parallel, as the engine sends reports when many events happen.
#include <curl/curl.h>
#include <fcntl.h>
#include <httplib.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/JSONSerialization.h"
#include "Measure.h"
#include "Requests/OQNetwork.h"
#include "Storage/OQUserDefaults.h"
#include "oqsdk/TorvelinOqConfig.h"
#include "support/TestCertificates.h"

namespace {

using namespace oq;
using namespace oq::bench;

constexpr int kPort = 38088;  // the port of the development environment
constexpr int kRounds = 15;
constexpr int kPosts = 300;
constexpr const char* kPath = "/bench/report";
constexpr const char* kAnswer = R"({"code":0,"data":{}})";

/// The port is fixed. This lock makes a second run wait for the first.
void waitForPort() {
  const auto file = std::filesystem::temp_directory_path() / ("oqsdk-test-port-" + std::to_string(kPort));
  const int lock = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  require(lock >= 0 && ::flock(lock, LOCK_EX) == 0, "cannot lock the port");
}

/// Serves until the parent process ends. Writes one byte to the pipe `ready`: 1 when the server can be reached, 0 if
/// the port is taken.
[[noreturn]] void serve(const test::Identity& identity, int ready) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  httplib::SSLServer server(identity.certificate.get(), identity.key.get());
  server.set_tcp_nodelay(true);
  server.set_keep_alive_max_count(100'000'000);
  server.set_keep_alive_timeout(60);
  server.new_task_queue = [] { return new httplib::ThreadPool(8); };
  server.set_socket_options([](int socket) {
    int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  server.Post(kPath, [](const httplib::Request&, httplib::Response& response) {
    response.set_content(kAnswer, "application/json");
  });
  const char isUp = server.bind_to_port("127.0.0.1", kPort) ? 1 : 0;
  if (::write(ready, &isUp, 1) == 1 && isUp) server.listen_after_bind();
  ::_exit(1);
}

class ServerProcess {
 public:
  ServerProcess() {
    auto& authority = test::TestAuthority::trusted();
    authority.trust();
    const test::Identity identity = authority.issue("DNS:localhost,IP:127.0.0.1");
    int ends[2];
    require(::pipe2(ends, O_CLOEXEC) == 0, "no pipe");
    _process = ::fork();
    if (_process == 0) serve(identity, ends[1]);
    char isUp = 0;
    require(::read(ends[0], &isUp, 1) == 1 && isUp == 1, "port 38088 is taken");
    ::close(ends[0]);
    ::close(ends[1]);
  }
  ~ServerProcess() {
    ::kill(_process, SIGKILL);
    ::waitpid(_process, nullptr, 0);
  }
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

 private:
  pid_t _process = -1;
};

const JSONValue& body() {
  static const JSONValue value{{"xwho", "user-0815"},
                               {"appid", "com.example.shop"},
                               {"token", "0123456789abcdef0123456789abcdef"},
                               {"xwhat", "oq_window_click"},
                               {"xwhen", 1'770'000'000'000},
                               {"xcontext", {{"windowId", "1002"}, {"page", "ProductListController"}, {"type", 2}}}};
  return value;
}

std::size_t collect(char* bytes, std::size_t size, std::size_t count, void* text) {
  static_cast<std::string*>(text)->append(bytes, size * count);
  return size * count;
}

/// The other side of the comparison: one libcurl handle with a kept connection.
class KeptHandle {
 public:
  KeptHandle() : _body(stringFromData(dataWithJSONObject(body()))) {
    _fields = curl_slist_append(_fields, "Content-Type: application/json");
    _fields = curl_slist_append(_fields, "Expect:");
    const std::string url = "https://localhost:" + std::to_string(kPort) + kPath;
    curl_easy_setopt(_handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(_handle, CURLOPT_CAINFO, ::getenv("SSL_CERT_FILE"));
    curl_easy_setopt(_handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(_handle, CURLOPT_HTTPHEADER, _fields);
    curl_easy_setopt(_handle, CURLOPT_POSTFIELDS, _body.c_str());
    curl_easy_setopt(_handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(_handle, CURLOPT_WRITEFUNCTION, &collect);
    curl_easy_setopt(_handle, CURLOPT_WRITEDATA, &_answer);
  }
  ~KeptHandle() {
    curl_easy_cleanup(_handle);
    curl_slist_free_all(_fields);
  }
  KeptHandle(const KeptHandle&) = delete;
  KeptHandle& operator=(const KeptHandle&) = delete;

  void post() {
    _answer.clear();
    require(curl_easy_perform(_handle) == CURLE_OK && _answer == kAnswer, "the peer's POST failed");
  }

 private:
  CURL* _handle = curl_easy_init();
  curl_slist* _fields = nullptr;
  std::string _answer;
  const std::string _body;
};

/// A counting semaphore. The standard library's one would spin before it waits, and so take processor time from the
/// threads that it waits for.
class Places {
 public:
  explicit Places(int count) : _free(count) {}
  void take(int count = 1) {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [&] { return _free >= count; });
    _free -= count;
  }
  void giveBack() {
    std::lock_guard lock(_mutex);
    ++_free;
    _changed.notify_one();
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  int _free;
};

/// POSTs with at most `atOnce` requests in parallel. Every request has its own client, as all requests of the engine
/// do.
void postThroughClient(int atOnce) {
  Places places(atOnce);
  std::atomic<int> answered{0};
  for (int i = 0; i < kPosts; ++i) {
    places.take();
    OQNetwork::randomNetwork()->postRequestWithRelativeURLStr(
        kPath, nullptr, body(),
        [&](const URLResponse& response, const Data& data) {
          if (response.statusCode == 200 && stringFromData(data) == kAnswer) ++answered;
          places.giveBack();
        },
        [&](const Error&) { places.giveBack(); });
  }
  places.take(atOnce);
  require(answered == kPosts, "not every POST was answered");
}

}  // namespace

int main() {
  waitForPort();
  const ServerProcess server;
  const ScratchFolder folder;
  setApplicationDataDirectory(folder.path());
  TorvelinOqConfig::defaultConfig()->setEnvType(OQEnvironmentDevelopment);

  KeptHandle peer;
  auto [oneByOne, six, handle] = inTurns(
      kRounds, [] { return secondsOf([] { postThroughClient(1); }); },
      [] { return secondsOf([] { postThroughClient(6); }); },
      [&] {
        return secondsOf([&] {
          for (int i = 0; i < kPosts; ++i) peer.post();
        });
      });
  atLeast("https_posts_6_under_way_vs_libcurl_handle", medianRatio(handle, six), 0.85);
  // This figure has no goal. It measures the latency of three thread switches per request, not the possible rate.
  note("https_posts_one_by_one_vs_libcurl_handle", medianRatio(handle, oneByOne), "of its rate");
  note("https_posts_6_under_way", kPosts / median(six), "POSTs/s");
  note("https_posts_one_by_one", kPosts / median(oneByOne), "POSTs/s");
  note("https_posts_libcurl_handle", kPosts / median(handle), "POSTs/s");
}
