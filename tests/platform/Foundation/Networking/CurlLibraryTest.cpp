// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "Requests.h"
#include "support/LoopbackServer.h"

namespace oq {
namespace {

using namespace test;

TEST(CurlLibrary, FailedLoadIsRetriedAtALaterRequest) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer needs a pipe to inspect types, and reports an error without one";
#endif
  LoopbackServer server;
  server.answer("/", "{}");
  rlimit usual{};
  ::getrlimit(RLIMIT_NOFILE, &usual);
  const rlimit noMore{0, usual.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &noMore), 0);
  EXPECT_EQ(perform(get(server.url("/"))).errorCode, URLErrorUnknown);
  ::setrlimit(RLIMIT_NOFILE, &usual);
  EXPECT_EQ(perform(get(server.url("/"))).text, "{}");
}

}  // namespace
}  // namespace oq
