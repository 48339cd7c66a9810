// SPDX-License-Identifier: Apache-2.0
#include "HttpsListener.h"

#include <gtest/gtest.h>

#include <list>

#include "support/ScratchFolder.h"

namespace oq::server {
namespace {

class HttpsListenerTest : public testing::Test {
 protected:
  const test::ScratchFolder folder;
  Certificates certificates{folder.path(), {"127.0.0.1"}};
  HttpsListener listener{(certificates.ensure(), certificates), {.threads = 2, .idleSeconds = 3600}};
};

TEST_F(HttpsListenerTest, ServesMoreKeptConnectionsThanThreads) {
  listener.routes().Get("/", [](const auto&, auto& response) { response.set_content("x", "text/plain"); });
  const int port = listener.bind("127.0.0.1", 0);
  listener.start();
  std::list<httplib::SSLClient> clients;
  for (int i = 0; i < 5; ++i) {
    auto& client = clients.emplace_back("127.0.0.1", port);
    client.set_ca_cert_path(certificates.authorityFile());
    client.set_keep_alive(true);
    client.set_connection_timeout(30);
    client.set_read_timeout(30);
    ASSERT_TRUE(client.Get("/")) << i;
  }
}

TEST_F(HttpsListenerTest, StartReturnsIfItCannotListen) {
  // Without a bound address, listening ends at once. This may happen before or after start() first
  // checks whether it has ended.
  for (int i = 0; i < 300; ++i) {
    listener.start();
    listener.stop();
  }
}

}  // namespace
}  // namespace oq::server
