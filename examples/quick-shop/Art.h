// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtQuick/QQuickImageProvider>

/// The pictures of the products: "image://art/mug/top/0.1" has round upper corners, whose radius is a tenth of the
/// width; "image://art/mug/all/0.1" has four. The requested size is in pixels.
class Art : public QQuickImageProvider {
 public:
  Art() : QQuickImageProvider(QQuickImageProvider::Image) {}
  QImage requestImage(const QString& id, QSize* size, const QSize& requested) override;
};
