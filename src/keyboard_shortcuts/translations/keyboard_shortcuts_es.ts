<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="es">
<context>
    <name>KeyboardShortcuts</name>
    <message>
        <source>record_shortcut</source>
        <translation>Grabar atajo</translation>
    </message>
    <message>
        <source>press_shortcut</source>
        <translation>Pulse un atajo</translation>
    </message>
    <message>
        <source>keyboard_shortcut_used_by_menu_item</source>
        <translation>Este atajo ya lo usa el elemento de menú «%1».</translation>
    </message>
    <message>
        <source>keyboard_shortcut_used_by_system</source>
        <translation>Este atajo ya lo usa el escritorio u otro programa.</translation>
    </message>
    <message>
        <source>keyboard_shortcuts_can_be_changed</source>
        <translation>La mayoría de los atajos del escritorio se pueden cambiar en la configuración del teclado del escritorio.</translation>
    </message>
    <message>
        <source>keyboard_shortcut_taken_by_other_program</source>
        <translation>%1 no funciona en este momento: otro programa está usando este atajo. Volverá a funcionar en cuanto ese programa lo libere.</translation>
    </message>
</context>
</TS>
