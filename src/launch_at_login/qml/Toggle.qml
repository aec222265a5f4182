import QtQuick
import QtQuick.Controls
import LaunchAtLogin

// Turns launching at login on and off, and follows changes made anywhere else in the program.
CheckBox {
    text: "Launch at login"
    checked: Observable.isEnabled
    // The binding stays: after the write, isEnabledChanged puts back the state the system really has.
    onToggled: Observable.isEnabled = checked
}
