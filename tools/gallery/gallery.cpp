// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Artwork.h"
#include "Backdrop.h"
#include "Storage/OQImageDiskCache.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Windows/MainObject.h"
#include "oqsdk/headless/HeadlessHost.h"

/// Draws every style of message (with short, long and right-to-left text, in windows of several shapes) as PNG files
/// into a folder.

namespace {

using namespace oq;

const char* kPoster = "https://shop.example/poster.png";
const char* kStillLife = "https://shop.example/mug.png";

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

JSONValue button(const char* text, const char* color, const char* background) {
  return {{"text", text}, {"color", color}, {"background", background}};
}

/// A message in Arabic.
JSONValue rightToLeftRecord(int style) {
  return {{"style", style},
          {"picture", kStillLife},
          {"title", {{"text", "وصل حديثًا: أكواب مصنوعة يدويًا"}, {"color", "#1F2937"}}},
          {"content",
           {{"text", "كل كوب يُشكَّل باليد، ولا يتشابه اثنان منها. التوصيل مجاني هذا الأسبوع لأعضاء المتجر."},
            {"color", "#4B5563"}}},
          {"buttonLeft", button("لاحقًا", "#374151", "#EEF2F6")},
          {"buttonMiddle", button("تسوق الآن", "#FFFFFF", "#0F766E")},
          {"buttonRight", button("حسنًا", "#FFFFFF", "#0F766E")}};
}

JSONValue record(int style, bool isLong) {
  const std::string body =
      style == 2 ? "新品陶杯已经到店，会员免运费。The new stoneware is here, and delivery is on us this week."
                 : "您的订单今天发出，预计三天内送达。Your order is packed by hand and leaves us today.";
  const std::string more = " 每一只都由手工拉坯，釉色深浅不一。No two of them are quite the same.";
  return {{"style", style},
          {"picture", style == 1 ? kPoster : kStillLife},
          {"title",
           {{"text",
             isLong ? "新品上架：手工陶杯与它的朋友们 · New arrivals for slow mornings" : "新品上架 · New arrivals"},
            {"color", "#1F2937"}}},
          {"content", {{"text", body + repeated(more, isLong ? 9 : 0)}, {"color", "#4B5563"}}},
          {"buttonLeft", button("以后再说", "#374151", "#EEF2F6")},
          {"buttonMiddle", button("立即选购 Shop now", "#FFFFFF", "#0F766E")},
          {"buttonRight", button("好的 OK", "#FFFFFF", "#0F766E")}};
}

struct Screen {
  const char* name;
  double width, height, scale;
};

void draw(const Screen& screen, const JSONValue& content, const std::string& what,
          const std::filesystem::path& folder) {
  HeadlessHost::Options options;
  options.width = screen.width;
  options.height = screen.height;
  options.scale = screen.scale;
  options.stage = 1.5;
  options.dataDirectory = folder / "data";
  HeadlessHost host(options);
  gallery::addBackdrop();
  OQImageDiskCache::cache().setImageData(gallery::poster(1040, 1560), kPoster);
  OQImageDiskCache::cache().setImageData(gallery::stillLife(1040, 682), kStillLife);
  auto data = std::make_shared<OQWindowData>();
  data->setModelWithDic(content);
  auto window = makeMainObject<OQPopWindow>();
  window->popWithData(data, nullptr);
  host.advance(0.3);
  host.runUntil([&] { return window->imgView()->isImageReady(); }, 10);
  const std::string name = "window-" + what + "-" + screen.name + ".png";
  if (!host.writePng(folder / name)) std::fprintf(stderr, "%s cannot be written\n", name.c_str());
  std::printf("%s\n", name.c_str());
  window->closeWithCompletion(nullptr);
  host.advance(0.2);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: gallery FOLDER\n"), EXIT_FAILURE;
  const std::filesystem::path folder = argv[1];
  std::filesystem::create_directories(folder);
  const Screen screens[] = {{"phone", 390, 844, 1},           {"phone@2x", 390, 844, 2}, {"small", 320, 568, 1},
                            {"kiosk", 1080, 1920, 1},         {"square", 800, 800, 1},   {"desktop", 1280, 800, 1},
                            {"desktop@1.5x", 1280, 800, 1.5}, {"4k", 3840, 2160, 1}};
  for (const Screen& screen : screens) {
    for (int style = 1; style <= 4; ++style) {
      const std::string number = std::to_string(style);
      draw(screen, record(style, false), number, folder);
      if (style == 1 || style == 4) continue;
      draw(screen, record(style, true), number + "-long", folder);
      draw(screen, rightToLeftRecord(style), number + "-rtl", folder);
    }
  }
  std::filesystem::remove_all(folder / "data");
}
