// SPDX-License-Identifier: Apache-2.0
import QtQuick

Flickable {
    id: page
    objectName: "products"
    contentHeight: column.height + 24
    boundsBehavior: Flickable.StopAtBounds
    readonly property int columns: Math.max(1, Math.min(4, Math.floor((width - 24) / 216)))

    Column {
        id: column
        x: 20
        y: 4
        width: page.width - 40
        spacing: 14

        Rectangle {
            width: parent.width
            height: words.height + 44
            radius: 20
            gradient: Gradient {
                orientation: Gradient.Horizontal
                GradientStop { position: 0; color: "#24493e" }
                GradientStop { position: 1; color: "#3b6d5c" }
            }
            Column {
                id: words
                anchors { left: parent.left; right: hero.left; margins: 24; verticalCenter: parent.verticalCenter }
                spacing: 4
                Text { text: "AUTUMN TABLE"; font { pixelSize: 11; bold: true; letterSpacing: 2 } color: "#e9c46a" }
                Text {
                    width: parent.width
                    text: "Slow mornings, warm cups"
                    wrapMode: Text.WordWrap
                    font { pixelSize: 25; weight: Font.ExtraBold }
                    color: "#fffdf8"
                }
                Text {
                    width: parent.width
                    text: "Free delivery on every order this week"
                    wrapMode: Text.WordWrap
                    font.pixelSize: 13
                    color: "#cfe0d8"
                }
            }
            Pill {
                id: hero
                objectName: "hero"
                anchors { right: parent.right; rightMargin: 24; verticalCenter: parent.verticalCenter }
                text: "See it"
                fill: "#e9c46a"
                ink: "#3a2f10"
                onClicked: {
                    shop.track("banner_click", "banner", "autumn-table")
                    shop.said("The autumn table is laid below")
                }
            }
        }
        Item {
            width: parent.width
            height: 24
            Text { text: "New this week"; font { pixelSize: 17; bold: true } color: "#2a2c2a" }
            Text {
                anchors.right: parent.right
                text: shop.products.length + " pieces"
                font.pixelSize: 13
                color: "#85867d"
            }
        }
        Grid {
            columns: page.columns
            spacing: 16
            Repeater {
                model: shop.products
                ProductCard {
                    product: modelData
                    width: (column.width - 16 * (page.columns - 1)) / page.columns
                }
            }
        }
    }
}
