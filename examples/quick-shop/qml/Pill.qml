// SPDX-License-Identifier: Apache-2.0
import QtQuick
import QtQuick.Templates as T

// A round button.
T.Button {
    id: button
    property bool isButton: true
    property color fill: "#24493e"
    property color ink: "#fffdf8"
    implicitWidth: label.implicitWidth + 32
    implicitHeight: label.implicitHeight + 16
    font { pixelSize: 13; bold: true }
    Accessible.name: text
    background: Rectangle {
        radius: height / 2
        opacity: button.enabled ? 1 : 0.4
        color: button.down ? Qt.darker(button.fill, 1.15) : button.hovered ? Qt.darker(button.fill, 1.06) : button.fill
        border { width: button.visualFocus ? 2 : 0; color: "#e9c46a" }
    }
    contentItem: Text {
        id: label
        text: button.text
        font: button.font
        color: button.ink
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    HoverHandler { cursorShape: Qt.PointingHandCursor }
}
