// SPDX-License-Identifier: Apache-2.0
import QtQuick

Flickable {
    id: page
    objectName: "cart"
    contentHeight: column.height + 24
    boundsBehavior: Flickable.StopAtBounds

    Column {
        id: column
        y: 4
        width: Math.min(page.width - 40, 500)
        anchors.horizontalCenter: parent.horizontalCenter
        spacing: 10

        Text { text: "Your cart"; font { pixelSize: 17; bold: true } color: "#2a2c2a" }
        Text {
            visible: shop.pieces === 0
            text: "Nothing in it yet. The mug is a good beginning."
            font.pixelSize: 13
            color: "#85867d"
        }
        Repeater {
            model: shop.cart
            Rectangle {
                width: column.width
                height: 84
                radius: 18
                border { width: 1; color: "#efeae0" }
                Picture {
                    x: 12
                    y: 12
                    width: 80
                    height: 60
                    product: modelData.id
                    corners: "all"
                    radius: 12
                }
                Column {
                    x: 106
                    anchors.verticalCenter: parent.verticalCenter
                    spacing: 2
                    Text { text: modelData.name; font { pixelSize: 15; bold: true } color: "#2a2c2a" }
                    Text {
                        text: modelData.count + (modelData.count === 1 ? " piece" : " pieces")
                        font.pixelSize: 12
                        color: "#85867d"
                    }
                }
                Text {
                    anchors { right: parent.right; rightMargin: 14; verticalCenter: parent.verticalCenter }
                    text: modelData.sum
                    font { pixelSize: 15; bold: true }
                    color: "#24493e"
                }
            }
        }
        Item {
            width: parent.width
            height: 52
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: "$" + shop.total
                font { pixelSize: 22; weight: Font.ExtraBold }
                color: "#24493e"
            }
            Pill {
                objectName: "checkout"
                anchors { right: parent.right; verticalCenter: parent.verticalCenter }
                implicitHeight: 42
                enabled: shop.pieces > 0
                text: "Check out"
                font.pixelSize: 15
                onClicked: shop.checkOut()
            }
        }
    }
}
