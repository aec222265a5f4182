import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import KeyboardShortcuts

// A field in which the user records the shortcut of a name, alone or labelled as a row of a form: the recorders of
// labelled rows in one column line up at their leading edges, with their labels to their left.
RowLayout {
    id: root

    // The raw value of the name whose shortcut is shown and recorded.
    property string name
    // A label showing this text as given; or `label`, a component of one's own.
    property string title
    property Component label: null
    readonly property bool hasLabel: label !== null || title !== ""

    // After the user stored a shortcut ({carbonKeyCode, carbonModifiers}) or cleared it (null).
    signal change(var shortcut)

    readonly property real labelImplicitWidth: hasLabel && labelLoader.item ? labelLoader.item.implicitWidth : 0
    // The widest label among the labelled recorders beside this one.
    readonly property real labelColumnWidth: {
        let widest = labelImplicitWidth;
        const siblings = parent ? parent.children : [];
        for (let i = 0; i < siblings.length; ++i) {
            if (siblings[i].hasLabel === true && siblings[i].labelImplicitWidth !== undefined)
                widest = Math.max(widest, siblings[i].labelImplicitWidth);
        }
        return widest;
    }

    Loader {
        id: labelLoader
        active: root.hasLabel
        visible: root.hasLabel
        sourceComponent: root.label !== null ? root.label : titleLabel
        Layout.alignment: Qt.AlignBaseline
        Layout.preferredWidth: root.labelColumnWidth
    }

    Component {
        id: titleLabel
        Label {
            text: root.title
            horizontalAlignment: Text.AlignRight
        }
    }

    TextField {
        id: field
        objectName: "recorderField"
        readOnly: true
        horizontalAlignment: TextInput.AlignHCenter
        implicitWidth: 130
        rightPadding: clearButton.visible ? clearButton.width + 4 : leftPadding
        text: backend.text
        placeholderText: backend.placeholderText
        cursorVisible: false
        activeFocusOnPress: backend.canBecomeKey
        activeFocusOnTab: backend.canBecomeKey
        Layout.alignment: Qt.AlignBaseline
        onActiveFocusChanged: activeFocus ? backend.focusIn(focusReason) : backend.focusOut(focusReason)

        ToolButton {
            id: clearButton
            objectName: "recorderClearButton"
            visible: backend.clearButtonVisible
            focusPolicy: Qt.NoFocus
            icon.name: "edit-clear"
            text: "\u2715"
            display: icon.name !== "" ? AbstractButton.IconOnly : AbstractButton.TextOnly
            height: parent.height
            width: height
            anchors.right: parent.right
            onClicked: backend.clear()
        }
    }

    RecorderBackend {
        id: backend
        name: root.name
        field: field
        onChange: shortcut => root.change(shortcut)
        onAlert: (message, informativeText) => {
            alert.message = message;
            alert.informativeText = informativeText;
            alert.open();
        }
    }

    Dialog {
        id: alert
        objectName: "recorderAlert"
        property string message
        property string informativeText
        parent: Overlay.overlay
        anchors.centerIn: parent
        modal: true
        standardButtons: Dialog.Ok
        onClosed: backend.alertDismissed()

        ColumnLayout {
            Label {
                text: alert.message
                font.bold: true
                wrapMode: Text.Wrap
                Layout.maximumWidth: 360
            }
            Label {
                text: alert.informativeText
                visible: text !== ""
                wrapMode: Text.Wrap
                Layout.maximumWidth: 360
            }
        }
    }
}
