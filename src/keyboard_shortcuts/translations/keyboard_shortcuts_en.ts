<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name>KeyboardShortcuts</name>
    <message>
        <source>record_shortcut</source>
        <translation>Record Shortcut</translation>
    </message>
    <message>
        <source>press_shortcut</source>
        <translation>Press Shortcut</translation>
    </message>
    <message>
        <source>keyboard_shortcut_used_by_menu_item</source>
        <translation>This shortcut is already used by the menu item “%1”.</translation>
    </message>
    <message>
        <source>keyboard_shortcut_used_by_system</source>
        <translation>This shortcut is already in use by the desktop or another program.</translation>
    </message>
    <message>
        <source>keyboard_shortcuts_can_be_changed</source>
        <translation>Most desktop shortcuts can be changed in the keyboard settings of your desktop.</translation>
    </message>
    <message>
        <source>keyboard_shortcut_taken_by_other_program</source>
        <translation>%1 does not work right now: another program has taken it. It works again as soon as that program lets it go.</translation>
    </message>
</context>
</TS>
