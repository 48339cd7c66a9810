// SPDX-License-Identifier: Apache-2.0
import QtQuick

// One product, with buttons to put it into the cart or buy it.
Rectangle {
    id: card
    property var product
    height: art.height + body.height + 24
    radius: 18
    color: "white"
    border { width: 1; color: "#efeae0" }

    Picture {
        id: art
        x: 1
        y: 1
        width: parent.width - 2
        height: Math.round(width * 0.66)
        product: card.product.id
    }
    Column {
        id: body
        anchors { left: parent.left; right: parent.right; top: art.bottom; margins: 14; topMargin: 10 }
        spacing: 2
        Text { text: card.product.name; font { pixelSize: 15; bold: true } color: "#2a2c2a" }
        Text { text: card.product.line; font.pixelSize: 12; color: "#85867d" }
        Item {
            width: parent.width
            height: 42
            Text {
                anchors { left: parent.left; bottom: parent.bottom; bottomMargin: 7 }
                text: card.product.price
                font { pixelSize: 15; bold: true }
                color: "#24493e"
            }
            Row {
                anchors { right: parent.right; bottom: parent.bottom }
                spacing: 6
                Pill {
                    objectName: "add-" + card.product.id
                    text: "Add"
                    fill: "#edf2ee"
                    ink: "#24493e"
                    onClicked: shop.addToCart(card.product.id)
                }
                Pill {
                    objectName: "buy-" + card.product.id
                    text: "Buy"
                    onClicked: shop.buy(card.product.id)
                }
            }
        }
    }
}
