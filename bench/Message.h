// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cairo.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "Model/OQWindowData.h"
#include "UIKit/Painting/UIImage.h"

namespace oq::bench {

/// A picture of 1200 x 800 pixels like a photograph: adjacent pixels always differ.
inline std::shared_ptr<const UIImage> picture() {
  constexpr int width = 1200, height = 800;
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
  auto* bytes = cairo_image_surface_get_data(surface);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const auto pixel = static_cast<std::uint32_t>((x * 255 / width) << 16 | (y * 255 / height) << 8 | (x * y) % 251);
      std::memcpy(bytes + y * cairo_image_surface_get_stride(surface) + 4 * x, &pixel, 4);
    }
  }
  cairo_surface_mark_dirty(surface);
  Data file;
  const auto append = +[](void* to, const unsigned char* data, unsigned int length) {
    static_cast<Data*>(to)->insert(static_cast<Data*>(to)->end(), data, data + length);
    return CAIRO_STATUS_SUCCESS;
  };
  cairo_surface_write_to_png_stream(surface, append, &file);
  cairo_surface_destroy(surface);
  return UIImage::imageWithData(file);
}

/// A message with a title, a long text and a button.
inline std::shared_ptr<OQWindowData> message() {
  std::string text;
  for (int i = 0; i < 12; ++i) text += "本季跑鞋已经到店，会员免运费。This season's running shoes are here. ";
  auto data = std::make_shared<OQWindowData>();
  data->setModelWithDic({{"style", 2},
                         {"title", {{"text", "新品上架 · New arrivals"}}},
                         {"content", {{"text", text}}},
                         {"buttonMiddle", {{"text", "立即选购 Shop now"}}}});
  return data;
}

}  // namespace oq::bench
