// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

#include "Foundation/Networking/CurlTransport.h"
#include "Requests.h"
#include "support/LoopbackServer.h"

namespace oq {
namespace {

using namespace test;

/// User reports reach the server before the pictures of campaigns that may be shown later.
TEST(RequestLine, ReportsOvertakeFetches) {
  CurlTransport::Limits limits;
  limits.transfersPerHost = 1;
  setURLTransport(CurlTransport::make(limits));
  LoopbackServer server;
  std::promise<void> begun, release;
  server.handle("/first", [&](const auto&) {
    begun.set_value();
    release.get_future().wait();
    return LoopbackServer::Response{200, "ok"};
  });
  for (const char* path : {"/picture/1", "/picture/2", "/report/1", "/report/2"}) server.answer(path, "{}");
  std::vector<std::future<Outcome>> outcomes;
  outcomes.push_back(start(get(server.url("/first"))));
  begun.get_future().wait();
  for (const char* picture : {"/picture/1", "/picture/2"}) outcomes.push_back(start(get(server.url(picture))));
  for (const char* report : {"/report/1", "/report/2"}) outcomes.push_back(start(post(server.url(report), "{}")));
  release.set_value();
  for (auto& outcome : outcomes) EXPECT_EQ(outcome.get().status, 200);
  std::vector<std::string> order;
  for (const auto& request : server.requests()) order.push_back(request.path);
  EXPECT_EQ(order, (std::vector<std::string>{"/first", "/report/1", "/report/2", "/picture/1", "/picture/2"}));
  setURLTransport(nullptr);
}

}  // namespace
}  // namespace oq
