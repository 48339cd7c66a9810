// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtWidgets/QWidget>

#include "Catalogue.h"

/// The picture of a product. It keeps its proportions and has rounded corners: all four, or only the top ones.
class ArtView : public QWidget {
 public:
  enum class Corners { All, Top };
  ArtView(const Product& product, Corners corners);

 protected:
  bool hasHeightForWidth() const override { return true; }
  int heightForWidth(int width) const override;
  QSize sizeHint() const override;
  void paintEvent(QPaintEvent* event) override;

 private:
  const Product& _product;
  const Corners _corners;
};
