// SPDX-License-Identifier: Apache-2.0
import QtQuick
import QtQuick.Controls
import Oqsdk

// A text field at the top, and a button that fills the rest of its parent.
Item {
    id: root
    objectName: "root"

    MessageLayer {
        objectName: "layer"
        onShown: message => fixture.say("shown " + message.campaign + " " + message.event + " " + message.style)
        onClicked: (message, part) => fixture.say("clicked " + part + " " + (part === MessageLayer.RightButton))
        onClosed: message => fixture.say("closed " + message.campaign)
        onLink: link => {
            fixture.say("link " + link.message.campaign + " " + link.url)
            link.accepted = true
        }
        onHeldChanged: fixture.say("held " + held)
    }
    TextField {
        id: field
        objectName: "field"
        width: parent.width
        height: 40
        focus: true
        text: "typed text"
    }
    Rectangle {
        objectName: "host"
        y: 40
        width: parent.width
        height: parent.height - 40
        color: area.containsMouse ? "#00ff00" : "#ff0000"
        MouseArea {
            id: area
            anchors.fill: parent
            hoverEnabled: true
            acceptedButtons: Qt.LeftButton | Qt.RightButton
            onClicked: fixture.say("host clicked")
            onWheel: fixture.say("host scrolled")
        }
    }
    StackView {
        objectName: "stack"
        width: 1
        height: 1
        initialItem: Item { objectName: "products" }
        Component { id: cart; Item { objectName: "cart" } }
        function openCart() { push(cart, StackView.Immediate) }
    }
    Shortcut { sequence: "Esc"; onActivated: fixture.say("shortcut Esc") }
    Shortcut { sequence: "Ctrl+K"; onActivated: fixture.say("shortcut Ctrl+K") }
    Menu {
        objectName: "menu"
        x: 20
        y: 300
        onAboutToHide: fixture.say("menu closed")
        MenuItem { text: "entry"; onTriggered: fixture.say("entry chosen") }
    }
}
