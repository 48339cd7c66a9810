// SPDX-License-Identifier: Apache-2.0
import QtQuick

Flickable {
    id: page
    objectName: "about"
    contentHeight: column.height + 24
    boundsBehavior: Flickable.StopAtBounds

    Column {
        id: column
        y: 4
        width: Math.min(page.width - 40, 500)
        anchors.horizontalCenter: parent.horizontalCenter
        spacing: 14

        Text { text: "About the shop"; font { pixelSize: 17; bold: true } color: "#2a2c2a" }
        Rectangle {
            width: parent.width
            height: art.height + body.height + 30
            radius: 18
            border { width: 1; color: "#efeae0" }
            Picture {
                id: art
                x: 1
                y: 1
                width: parent.width - 2
                height: width * 0.6
                product: "vase"
            }
            Column {
                id: body
                anchors { left: parent.left; right: parent.right; top: art.bottom; margins: 14 }
                spacing: 10
                Repeater {
                    model: ["Torvelin Shop sells eight things at a time. Each is made by someone we know, in numbers "
                            + "they can manage.",
                            "When one is gone, another takes its place. Orders leave the workshop on Tuesdays and "
                            + "Fridays."]
                    Text {
                        width: body.width
                        text: modelData
                        wrapMode: Text.WordWrap
                        font.pixelSize: 13
                        color: "#85867d"
                    }
                }
                Pill {
                    objectName: "contact"
                    text: "Write to us"
                    fill: "#edf2ee"
                    ink: "#24493e"
                    onClicked: {
                        shop.track("contact", "from", "about")
                        shop.said("We answer within a day")
                    }
                }
            }
        }
    }
}
