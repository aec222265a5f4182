<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name>KeyboardShortcuts</name>
    <message>
        <source>record_shortcut</source>
        <translation>Tastenkürzel aufnehmen</translation>
    </message>
    <message>
        <source>press_shortcut</source>
        <translation>Tastenkürzel drücken</translation>
    </message>
    <message>
        <source>keyboard_shortcut_used_by_menu_item</source>
        <translation>Dieses Tastenkürzel wird bereits vom Menüeintrag „%1“ verwendet.</translation>
    </message>
    <message>
        <source>keyboard_shortcut_used_by_system</source>
        <translation>Dieses Tastenkürzel wird bereits von der Arbeitsumgebung oder einem anderen Programm verwendet.</translation>
    </message>
    <message>
        <source>keyboard_shortcuts_can_be_changed</source>
        <translation>Die meisten Tastenkürzel der Arbeitsumgebung lassen sich in deren Tastatureinstellungen ändern.</translation>
    </message>
    <message>
        <source>keyboard_shortcut_taken_by_other_program</source>
        <translation>%1 funktioniert gerade nicht: Ein anderes Programm verwendet das Tastenkürzel. Es funktioniert wieder, sobald das Programm es freigibt.</translation>
    </message>
</context>
</TS>
