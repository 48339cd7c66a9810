// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQNetwork.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "Engine/OQSDKManager.h"
#include "Foundation/Values/Base64.h"
#include "Storage/OQImageDiskCache.h"
#include "oqsdk/Exception.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

class OQNetworkTest : public WorldTest {
 protected:
  struct Outcome {
    int successes = 0, failures = 0;
    std::int64_t status = 0;
    std::string body;
    std::optional<Error> error;
  };
  OQNetwork::SuccessBlock success() {
    return [this](const URLResponse& response, const Data& data) {
      ++outcome.successes;
      outcome.status = response.statusCode;
      outcome.body = stringFromData(data);
    };
  }
  OQNetwork::FailureBlock failure() {
    return [this](const Error& error) {
      ++outcome.failures;
      outcome.error = error;
    };
  }
  Outcome outcome;
};

TEST_F(OQNetworkTest, AddressesFollowTheStoredEnvironment) {
  struct Case {
    std::uint64_t environment;
    JSONValue parameters;
    std::string ending;
  };
  const std::vector<Case> cases = {
      {0, nullptr, ":8088/p"},
      {1, JSONDictionary{}, ":28088/p"},
      {2, {{"a", 1}, {"b", "x&y"}, {"c", nullptr}}, ":38088/p?a=1&b=x&y&c=(null)"},
  };
  OQNetwork client;
  for (const Case& each : cases) {
    TorvelinOqConfig().setEnvType(each.environment);
    const auto url = client.getHttpURLWithRelativeUrl("/p", each.parameters);
    ASSERT_TRUE(url);
    EXPECT_TRUE(url->absoluteString().starts_with("https://")) << url->absoluteString();
    EXPECT_TRUE(url->absoluteString().ends_with(each.ending)) << url->absoluteString();
  }
  EXPECT_EQ(client.getHttpURLWithRelativeUrl("/p", {{"a", "x y"}}), std::nullopt) << "spaces are not escaped";
}

TEST_F(OQNetworkTest, PostSendsJSONWithItsOwnContentType) {
  const JSONValue body = {{"k", JSONArray{1, "ä"}}};
  OQNetwork::randomNetwork()->postRequestWithRelativeURLStr("/p", {{"content-type", "text/plain"}, {"X-Key", 7}}, body,
                                                            success(), failure());
  ASSERT_TRUE(network->settle());
  const auto request = network->requests().at(0);
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.json, body);
  EXPECT_EQ(request.headers.size(), 2u);
  for (const auto& [field, value] : request.headers) {
    EXPECT_EQ(value, field == "X-Key" ? "7" : "application/json") << field;
  }
  EXPECT_EQ(request.cachePolicy, URLRequestCachePolicy::ReloadIgnoringLocalCacheData);
  EXPECT_EQ(request.timeout, 30.0);
  EXPECT_EQ(outcome.successes, 1);
  ASSERT_EQ(logEntries().size(), 1u);
  EXPECT_TRUE(logEntries()[0].starts_with("请求URL：" + request.url + "\n参数：{")) << logEntries()[0];
}

TEST_F(OQNetworkTest, TypesZeroAndOneSetTheMethod) {
  OQNetwork client;
  EXPECT_NE(client.session(), OQNetwork::randomNetwork()->session());
  const std::pair<std::uint64_t, const char*> cases[] = {{0, "GET"}, {1, "POST"}, {2, "GET"}, {~0ull, "GET"}};
  for (const auto& [type, method] : cases) {
    const std::string path = "/t" + std::to_string(type);
    client.requestWithRelativeUrl(path, type, {{"q", 1}}, nullptr, {{"k", 1}}, success(), failure());
    ASSERT_TRUE(network->settle());
    const auto request = network->requests(path).at(0);
    EXPECT_EQ(request.method, method) << type;
    EXPECT_TRUE(request.url.ends_with("?q=1")) << request.url;
    EXPECT_EQ(request.body, "{\n  \"k\" : 1\n}") << "in the readable form";
  }
  EXPECT_EQ(outcome.successes, 4);
}

TEST_F(OQNetworkTest, AnyStatusIsASuccess) {
  network->answer("/p", "oops", 500);
  OQNetwork client;
  client.getRequestWithRelativeURLStr("/p", nullptr, success(), failure());
  ASSERT_TRUE(network->settle());
  EXPECT_EQ(network->requests().at(0).method, "GET");
  EXPECT_EQ(network->requests().at(0).body, "");
  EXPECT_EQ(outcome.status, 500);
  EXPECT_EQ(outcome.body, "oops");
  client.getRequestWithRelativeURLStr("/p", nullptr, nullptr, nullptr);
  network->fail("/p", Error{URLErrorDomain, -1001, "timed out"});
  client.getRequestWithRelativeURLStr("/p", nullptr, nullptr, nullptr);
  client.getRequestWithRelativeURLStr("/p", nullptr, success(), failure());
  ASSERT_TRUE(network->settle());
  EXPECT_EQ(outcome.failures, 1);
  EXPECT_EQ(outcome.error->code, -1001);
}

TEST_F(OQNetworkTest, OnlyDictionariesAreAllowedAsBodies) {
  OQNetwork client;
  EXPECT_EQ(client.httpRequestBody("text"), "text");
  EXPECT_EQ(client.httpRequestBody({{"a", 1}, {"b", "x"}}), "a=1&b=x");
  EXPECT_EQ(client.httpRequestBody(JSONDictionary{}), "");
  EXPECT_EQ(client.httpRequestBody(JSONArray{1}), std::nullopt);
  EXPECT_EQ(client.httpRequestBody(nullptr), std::nullopt);
  EXPECT_THROW(client.postRequestWithRelativeURLStr("/p", nullptr, "text", success(), failure()), Exception);
  EXPECT_TRUE(network->requests().empty());
}

TEST_F(OQNetworkTest, UnknownEnvironmentFailsOnce) {
  setURLTransport(nullptr);
  TorvelinOqConfig().setEnvType(3);
  std::promise<Error> failed;
  OQNetwork::randomNetwork()->postRequestWithRelativeURLStr("/push/sdk/login", nullptr, JSONDictionary{}, success(),
                                                            [&](const Error& error) { failed.set_value(error); });
  auto answer = failed.get_future();
  ASSERT_EQ(answer.wait_for(std::chrono::seconds(60)), std::future_status::ready);
  EXPECT_EQ(outcome.successes, 0);
  EXPECT_EQ(answer.get().domain, URLErrorDomain);
  EXPECT_TRUE(logEntries().at(0).starts_with("请求URL：(null)/push/sdk/login\n")) << logEntries()[0];
}

class OQNetworkImageTest : public OQNetworkTest {
 protected:
  struct Picture {
    int calls = 0;
    bool image = false, finished = false;
    Data data;
    std::optional<Error> error;
  };
  OQNetwork::ImageCompletion keep(Picture& picture) {
    return [&picture](std::shared_ptr<const UIImage> image, const Data& data, const std::optional<Error>& error,
                      bool finished) {
      ++picture.calls;
      picture = {picture.calls, image != nullptr, finished, data, error};
    };
  }
  const Data png = *dataWithBase64(
      "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==");
};

TEST_F(OQNetworkImageTest, MissingAddressFailsAndIsLogged) {
  Picture picture;
  OQNetwork client;
  client.downloadImageWithURL(std::nullopt, keep(picture));
  client.downloadImageWithURL(std::nullopt, nullptr);
  EXPECT_EQ(picture.calls, 1);
  EXPECT_TRUE(picture.finished);
  ASSERT_TRUE(picture.error);
  EXPECT_EQ(picture.error->domain, "OQErrorDomain");
  EXPECT_EQ(picture.error->code, 1000);
  EXPECT_EQ(logEntries(), std::vector<std::string>(2, "code:1000\ndescripton:Image url is nil\n"));
}

TEST_F(OQNetworkImageTest, PictureIsFetchedOnceAndThenCached) {
  network->answer("/once.png", stringFromData(png));
  const auto url = URL::withString("https://pictures.invalid/once.png");
  Picture fetched, cached;
  OQNetwork client;
  client.downloadImageWithURL(url, keep(fetched));
  ASSERT_TRUE(network->settle());
  EXPECT_TRUE(fetched.image);
  EXPECT_EQ(fetched.data, png);
  client.downloadImageWithURL(url, keep(cached));
  EXPECT_EQ(cached.calls, 1) << "called before the function returns";
  EXPECT_TRUE(cached.image);
  EXPECT_EQ(cached.data, png);
  ASSERT_EQ(network->requests().size(), 1u);
  EXPECT_EQ(network->requests()[0].cachePolicy, URLRequestCachePolicy::ReloadIgnoringLocalAndRemoteCacheData);
  EXPECT_TRUE(logEntries().empty());
}

TEST_F(OQNetworkImageTest, CachesInvalidPicturesButNotErrors) {
  const auto url = URL::withString("https://pictures.invalid/broken.png");
  network->fail("/broken.png", Error{URLErrorDomain, -1004, "refused"});
  Picture first, second, third;
  OQNetwork client;
  client.downloadImageWithURL(url, keep(first));
  ASSERT_TRUE(network->settle());
  EXPECT_FALSE(first.image);
  EXPECT_EQ(first.error->code, -1004);
  EXPECT_EQ(logEntries(), std::vector<std::string>{"code:-1004\ndescripton:refused\n"});
  network->answer("/broken.png", "no picture", 404);
  client.downloadImageWithURL(url, keep(second));
  ASSERT_TRUE(network->settle());
  EXPECT_EQ(network->requests().size(), 2u);
  EXPECT_FALSE(second.image);
  EXPECT_FALSE(second.error);
  client.downloadImageWithURL(url, keep(third));
  EXPECT_EQ(stringFromData(third.data), "no picture");
  EXPECT_EQ(network->requests().size(), 2u);
}

}  // namespace
}  // namespace oq::test
