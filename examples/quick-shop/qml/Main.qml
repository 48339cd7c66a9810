// SPDX-License-Identifier: Apache-2.0
import QtQuick
import QtQuick.Controls.Basic
import Oqsdk

// The shop: products, a cart and a page about the shop.
Window {
    id: window
    title: "Torvelin Shop"
    color: "#faf7f1"
    readonly property bool isWide: width > height
    property string page: "products"

    function showPage(name, component) {
        if (page === name) return
        page = name
        pages.replace(null, component, StackView.Immediate)
        shop.track("$pageview", "page", name)
        shop.layoutChanged()
    }

    // The messages of the campaigns appear above everything else in this window.
    MessageLayer {}

    component Tabs: Row {
        id: tabs
        property bool fills: false
        spacing: 8
        Repeater {
            model: [{name: "products", label: "Shop", page: products},
                    {name: "cart", label: shop.pieces > 0 ? "Cart (" + shop.pieces + ")" : "Cart", page: cart},
                    {name: "about", label: "About", page: about}]
            Pill {
                objectName: "tab-" + modelData.name
                width: tabs.fills ? (tabs.width - 16) / 3 : implicitWidth
                text: modelData.label
                font.pixelSize: 14
                fill: window.page === modelData.name ? "#e4ede7" : window.isWide ? "#faf7f1" : "white"
                ink: window.page === modelData.name ? "#24493e" : "#85867d"
                onClicked: window.showPage(modelData.name, modelData.page)
            }
        }
    }
    Component { id: products; ProductsPage {} }
    Component { id: cart; CartPage {} }
    Component { id: about; AboutPage {} }

    Item {
        id: top
        width: parent.width
        height: 74
        Column {
            x: 20
            y: 16
            Text {
                text: "Torvelin Shop"
                font { pixelSize: 21; weight: Font.ExtraBold; letterSpacing: 0.5 }
                color: "#24493e"
            }
            Text { text: "Good things for quiet rooms"; font.pixelSize: 12; color: "#85867d" }
        }
        Tabs {
            visible: window.isWide
            anchors { right: parent.right; rightMargin: 20; verticalCenter: parent.verticalCenter }
        }
    }
    StackView {
        id: pages
        objectName: "pages"
        anchors { top: top.bottom; bottom: bar.top; left: parent.left; right: parent.right }
        clip: true
        initialItem: products
    }
    Rectangle {
        id: bar
        anchors.bottom: parent.bottom
        width: parent.width
        height: window.isWide ? 0 : 52
        visible: !window.isWide
        color: "white"
        Rectangle { width: parent.width; height: 1; color: "#ece7dc" }
        Tabs { x: 14; y: 9; width: parent.width - 28; fills: true }
    }
    Rectangle {
        id: toast
        anchors { horizontalCenter: parent.horizontalCenter; bottom: bar.top; bottomMargin: 32 }
        width: said.implicitWidth + 40
        height: said.implicitHeight + 18
        radius: height / 2
        color: "#2a2c2a"
        opacity: 0
        visible: opacity > 0
        Text { id: said; anchors.centerIn: parent; font.pixelSize: 13; color: "#fffdf8" }
        Timer { id: toastEnd; interval: 3000; onTriggered: toast.opacity = 0 }
        Behavior on opacity { NumberAnimation { duration: 140 } }
    }
    Connections {
        target: shop
        function onSaid(text) {
            said.text = text
            toast.opacity = 1
            toastEnd.restart()
        }
    }
}
