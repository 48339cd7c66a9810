// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtWidgets/QWidget>

#include "Catalogue.h"

/// The picture of a product, with rounded corners: all four, or only the top ones. It is as high as fits to the wanted
/// width. If it gets more width, the background fills it.
class ArtView : public QWidget {
 public:
  enum class Corners { All, Top };
  ArtView(const Product& product, int width, Corners corners);

 protected:
  QSize sizeHint() const override;
  void paintEvent(QPaintEvent* event) override;

 private:
  const Product& _product;
  const int _width;
  const Corners _corners;
};
