// SPDX-License-Identifier: Apache-2.0
import QtQuick
import QtQuick.Window

// The picture of a product.
Image {
    property string product
    property string corners: "top"
    property real radius: 17
    source: width > 0 ? "image://art/" + product + "/" + corners + "/" + radius / width : ""
    sourceSize: Qt.size(width * Screen.devicePixelRatio, height * Screen.devicePixelRatio)
}
