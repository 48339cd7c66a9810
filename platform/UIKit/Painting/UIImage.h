// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>

#include "CoreGraphics/Geometry.h"
#include "Foundation/Values/Data.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

namespace oq {

/// A picture. Immutable and thread-safe. On the main queue creation reads only the header, and the first call that
/// needs pixels decodes the picture. Decoding takes long, so code on the main queue lets a background queue make that
/// call if it can wait. On other queues creation decodes immediately.
class UIImage {
 public:
  /// nullptr for data that is not a picture, and for a picture of more than 8192 pixels per side or 32 million in all
  /// (refused before memory is allocated). Also nullptr for a truncated or corrupt picture, except on the main queue:
  /// there only decoding finds out. An animated picture becomes its first frame.
  static std::shared_ptr<const UIImage> imageWithData(const Data& data);
  /// Whether the data begins as an acceptable picture but is truncated or corrupt. Decodes, which takes long: do not
  /// call it on the main queue.
  static bool isBroken(const Data& data);
  /// A file name that ends in "@2x" or "@3x" before its extension sets the scale: that many pixels per point.
  static std::shared_ptr<const UIImage> imageWithContentsOfFile(const std::filesystem::path& file);
  ~UIImage();
  UIImage(const UIImage&) = delete;
  UIImage& operator=(const UIImage&) = delete;

  /// In points. Decodes the picture. Zero if decoding finds that the picture is broken after its header.
  CGSize size() const;
  double scale() const { return _scale; }
  /// The pixels: 32 bits each, with premultiplied alpha, owned by the image. Decodes the picture. nullptr if it is
  /// broken.
  cairo_surface_t* surface() const;

 private:
  UIImage(Data data, double scale) : _data(std::move(data)), _scale(scale) {}
  static std::shared_ptr<const UIImage> make(Data data, double scale);

  mutable std::once_flag _decoded;
  mutable Data _data;  ///< kept until it has been decoded
  mutable cairo_surface_t* _surface = nullptr;
  const double _scale;
};

/// Draws the image, scaled to the rectangle.
void drawImage(cairo_t* cr, const UIImage& image, CGRect rect);

}  // namespace oq
