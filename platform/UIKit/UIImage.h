#pragma once

#include <filesystem>
#include <memory>

#include "CoreGraphics/Geometry.h"
#include "Foundation/Data.h"

typedef struct _cairo cairo_t;
typedef struct _cairo_surface cairo_surface_t;

namespace oq {

/// A decoded picture. Immutable; any thread may decode, hold and drop it.
class UIImage {
 public:
  /// nullptr for bytes that are no picture, and for a picture of more than 8192 pixels a side.
  static std::shared_ptr<const UIImage> imageWithData(const Data& data);
  /// A file name that ends in "@2x" or "@3x" before its extension gives that many pixels a point.
  static std::shared_ptr<const UIImage> imageWithContentsOfFile(const std::filesystem::path& file);
  ~UIImage();

  /// Points.
  CGSize size() const { return _size; }
  double scale() const { return _scale; }
  /// 32-bit premultiplied pixels, owned by the image.
  cairo_surface_t* surface() const { return _surface; }

 private:
  UIImage(cairo_surface_t* surface, CGSize size, double scale)
      : _surface(surface), _size(size), _scale(scale) {}
  static std::shared_ptr<const UIImage> decode(const Data& data, double scale);
  cairo_surface_t* _surface;
  CGSize _size;
  double _scale;
};

/// Draws the image over the rectangle.
void drawImage(cairo_t* cr, const UIImage& image, CGRect rect);

}  // namespace oq
