// SPDX-License-Identifier: Apache-2.0
#include "UI/UIImageView+OQWebCache.h"

#include <future>

#include "Foundation/Values/Base64.h"
#include "Storage/OQImageDiskCache.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "support/EngineTest.h"

namespace oq {
namespace {

/// Scripted responses arrive in parallel, so that a fast one can overtake a slow one.
class WebImage : public test::WorldTest {
 protected:
  WebImage() {
    network = std::make_shared<test::ScriptedTransport>(DispatchQueue::concurrent("test.pictures"));
    setURLTransport(network);
  }
  static std::optional<URL> url(const std::string& name) { return URL::withString("https://p.example/" + name); }

  /// A picture of one pixel.
  const std::string picture = stringFromData(*dataWithBase64(
      "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg=="));
  HeadlessHost host{{.dataDirectory = folder()}};
  std::shared_ptr<UIImageView> view = std::make_shared<UIImageView>();
};

TEST_F(WebImage, CachedPictureIsShownAtOnce) {
  OQImageDiskCache::cache().setImageData(dataFromString(picture), url("cached.png")->absoluteString());
  oq_setImageWithURL(view, url("cached.png"));
  EXPECT_EQ(oq_imageURL(*view), url("cached.png"));
  const auto shown = view->image();
  ASSERT_TRUE(shown);
  EXPECT_EQ(shown->size(), (CGSize{1, 1}));
  oq_setImageWithURL(view, std::nullopt);
  EXPECT_EQ(oq_imageURL(*view), std::nullopt);
  EXPECT_EQ(view->image(), shown);
  EXPECT_TRUE(logEntries().empty()) << "no address is not an error";

  std::weak_ptr<UIImageView> weak = view;
  oq_setImageWithURL(view, url("never.png"));
  view.reset();
  EXPECT_TRUE(weak.expired()) << "loading does not keep the view alive";
}

TEST_F(WebImage, SlowDownloadReplacesThePictureOfALaterRequest) {
  std::promise<void> released;
  network->script("/slow.png", [&, wait = released.get_future().share()](const auto&) {
    wait.wait();
    return test::ScriptedTransport::Answer{picture};
  });
  network->answer("/fast.png", picture);
  network->answer("/missing.png", "", 404);
  network->answer("/text.png", "not a picture");
  network->fail("/broken.png", Error{"test", 7, "down"});
  oq_setImageWithURL(view, url("slow.png"));
  oq_setImageWithURL(view, url("fast.png"));
  ASSERT_TRUE(host.runUntil([&] { return view->image() != nullptr; }, 20));
  const auto first = view->image();
  for (const char* nothing : {"missing.png", "text.png", "broken.png"}) oq_setImageWithURL(view, url(nothing));
  released.set_value();
  ASSERT_TRUE(network->settle());
  ASSERT_TRUE(host.runUntil([&] { return view->image() != first; }, 20));
  EXPECT_TRUE(view->image());
}

}  // namespace
}  // namespace oq
