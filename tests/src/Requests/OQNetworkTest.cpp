// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQNetwork.h"

#include <future>

#include "Engine/OQSDKManager.h"
#include "Foundation/Values/Base64.h"
#include "oqsdk/Exception.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

class OQNetworkTest : public WorldTest {
 protected:
  OQNetwork::SuccessBlock success() {
    return [this](const URLResponse& response, const Data& data) {
      answers.emplace_back(response.statusCode, stringFromData(data));
    };
  }
  OQNetwork::FailureBlock failure() {
    return [this](const Error& error) { errors.push_back(error.code); };
  }
  std::vector<std::pair<std::int64_t, std::string>> answers;
  std::vector<std::int64_t> errors;
};

TEST_F(OQNetworkTest, AddressesFollowTheStoredEnvironment) {
  OQNetwork client;
  std::uint64_t environment = 0;
  for (const char* ending : {":8088/p", ":28088/p", ":38088/p"}) {
    TorvelinOqConfig().setEnvType(environment++);
    const std::string address = client.getHttpURLWithRelativeUrl("/p", JSONDictionary{}).value().absoluteString();
    EXPECT_TRUE(address.starts_with("https://") && address.ends_with(ending)) << address;
  }
  const auto withQuery = client.getHttpURLWithRelativeUrl("/p", {{"a", 1}, {"b", "x&y"}, {"c", nullptr}});
  EXPECT_TRUE(withQuery.value().absoluteString().ends_with("/p?a=1&b=x&y&c=(null)"));
  EXPECT_EQ(client.getHttpURLWithRelativeUrl("/p", {{"a", "x y"}}), std::nullopt) << "spaces are not escaped";
}

TEST_F(OQNetworkTest, SendsJSONAndReplacesTheCallersContentType) {
  OQNetwork client;
  const JSONValue body = {{"k", JSONArray{1, "ä"}}};
  // Types 0 and 1 mean GET and POST. Other types leave the default method, GET.
  const std::pair<std::uint64_t, const char*> cases[] = {{0, "GET"}, {1, "POST"}, {2, "GET"}, {~0ull, "GET"}};
  for (const auto& [type, method] : cases) {
    client.requestWithRelativeUrl("/p", type, {{"q", 1}}, {{"content-type", "text/plain"}, {"X-Key", 7}}, body,
                                  success(), failure());
    ASSERT_TRUE(network->settle());
    const auto request = network->requests().back();
    EXPECT_EQ(request.method, method) << type;
    EXPECT_TRUE(request.url.ends_with("/p?q=1")) << request.url;
    EXPECT_EQ(request.json, body);
    EXPECT_TRUE(request.body.starts_with("{\n  \"k\" : [")) << "in the readable form: " << request.body;
    EXPECT_EQ(request.headers.size(), 2u);
    for (const auto& [field, value] : request.headers) {
      EXPECT_EQ(value, field == "X-Key" ? "7" : "application/json") << field;
    }
    EXPECT_EQ(request.cachePolicy, URLRequestCachePolicy::ReloadIgnoringLocalCacheData);
    EXPECT_EQ(request.timeout, 30.0);
    EXPECT_TRUE(logEntries().back().starts_with("请求URL：" + request.url + "\n参数：{")) << logEntries().back();
  }
  EXPECT_EQ(answers.size(), 4u);
}

TEST_F(OQNetworkTest, AnyStatusIsASuccess) {
  network->answer("/p", "oops", 500);
  OQNetwork client;
  client.getRequestWithRelativeURLStr("/p", nullptr, success(), failure());
  ASSERT_TRUE(network->settle());
  EXPECT_EQ(network->requests().at(0).method, "GET");
  EXPECT_EQ(network->requests().at(0).body, "");
  EXPECT_EQ(answers, (std::vector<std::pair<std::int64_t, std::string>>{{500, "oops"}}));
  client.getRequestWithRelativeURLStr("/p", nullptr, nullptr, nullptr);
  network->fail("/p", Error{URLErrorDomain, -1001, "timed out"});
  client.getRequestWithRelativeURLStr("/p", nullptr, nullptr, nullptr);
  client.getRequestWithRelativeURLStr("/p", nullptr, success(), failure());
  ASSERT_TRUE(network->settle());
  EXPECT_EQ(errors, std::vector<std::int64_t>{-1001});
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

TEST_F(OQNetworkTest, RequestInAnUnknownEnvironmentFailsOnce) {
  setURLTransport(nullptr);
  TorvelinOqConfig().setEnvType(3);
  std::promise<Error> failed;
  OQNetwork::randomNetwork()->postRequestWithRelativeURLStr("/push/sdk/login", nullptr, JSONDictionary{}, success(),
                                                            [&](const Error& error) { failed.set_value(error); });
  EXPECT_EQ(failed.get_future().get().domain, URLErrorDomain);
  EXPECT_TRUE(answers.empty());
  EXPECT_TRUE(logEntries().at(0).starts_with("请求URL：(null)/push/sdk/login\n")) << logEntries()[0];
}

class OQNetworkImageTest : public OQNetworkTest {
 protected:
  struct Picture {
    int calls = 0;
    bool hasImage = false, isFinished = false;
    std::string bytes;
    std::optional<Error> error;
  };
  /// Downloads the picture and returns the arguments of the completion. Expects one call of the completion: before all
  /// requests have ended, or, if `waits` is false, before downloadImageWithURL() returns.
  Picture download(const std::optional<URL>& url, bool waits = true) {
    auto picture = std::make_shared<Picture>();
    OQNetwork().downloadImageWithURL(
        url, [picture](const auto& image, const Data& data, const std::optional<Error>& error, bool isFinished) {
          *picture = {picture->calls + 1, image != nullptr, isFinished, stringFromData(data), error};
        });
    EXPECT_TRUE(!waits || network->settle());
    EXPECT_EQ(picture->calls, 1);
    EXPECT_TRUE(picture->isFinished);
    return *picture;
  }
  const std::string png = stringFromData(*dataWithBase64(
      "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg=="));
};

TEST_F(OQNetworkImageTest, MissingAddressFailsAndIsLogged) {
  const Picture picture = download(std::nullopt);
  OQNetwork().downloadImageWithURL(std::nullopt, nullptr);
  EXPECT_EQ(picture.error.value().domain, "OQErrorDomain");
  EXPECT_EQ(picture.error->code, 1000);
  EXPECT_EQ(logEntries(), std::vector<std::string>(2, "code:1000\ndescripton:Image url is nil\n"));
}

TEST_F(OQNetworkImageTest, CachesPicturesAndOtherBytesButNotErrors) {
  const auto url = URL::withString("https://pictures.invalid/once.png");
  network->fail("/once.png", Error{URLErrorDomain, -1004, "refused"});
  const Picture refused = download(url);
  EXPECT_FALSE(refused.hasImage);
  EXPECT_EQ(refused.error.value().code, -1004);
  EXPECT_EQ(logEntries(), std::vector<std::string>{"code:-1004\ndescripton:refused\n"});
  network->answer("/once.png", png);
  for (bool isFirst : {true, false}) {
    const Picture picture = download(url, isFirst);
    EXPECT_TRUE(picture.hasImage && !picture.error);
    EXPECT_EQ(picture.bytes, png);
    EXPECT_EQ(network->requests().size(), 2u);
  }
  EXPECT_EQ(network->requests()[1].cachePolicy, URLRequestCachePolicy::ReloadIgnoringLocalAndRemoteCacheData);
  EXPECT_EQ(network->requests()[1].timeout, 30.0);

  const auto broken = URL::withString("https://pictures.invalid/broken.png");
  network->answer("/broken.png", "no picture", 404);
  for (bool isFirst : {true, false}) {
    const Picture picture = download(broken, isFirst);
    EXPECT_FALSE(picture.hasImage || picture.error);
    EXPECT_EQ(picture.bytes, "no picture");
  }
  EXPECT_EQ(network->requests().size(), 3u);
  // A truncated picture is not cached.
  const auto cut = URL::withString("https://pictures.invalid/cut.png");
  network->answer("/cut.png", png.substr(0, png.size() - 4));
  download(cut);
  OQNetwork().downloadImageWithURL(cut, nullptr);
  ASSERT_TRUE(network->settle());
  network->answer("/cut.png", png);
  EXPECT_TRUE(download(cut).hasImage);
}

}  // namespace
}  // namespace oq::test
