<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr">
<context>
    <name>KeyboardShortcuts</name>
    <message>
        <source>record_shortcut</source>
        <translation>Enregistrer un raccourci</translation>
    </message>
    <message>
        <source>press_shortcut</source>
        <translation>Tapez un raccourci</translation>
    </message>
    <message>
        <source>keyboard_shortcut_used_by_menu_item</source>
        <translation>Ce raccourci est déjà utilisé par l’élément de menu « %1 ».</translation>
    </message>
    <message>
        <source>keyboard_shortcut_used_by_system</source>
        <translation>Ce raccourci est déjà utilisé par l’environnement de bureau ou par un autre programme.</translation>
    </message>
    <message>
        <source>keyboard_shortcuts_can_be_changed</source>
        <translation>La plupart des raccourcis du bureau peuvent être modifiés dans ses paramètres du clavier.</translation>
    </message>
    <message>
        <source>keyboard_shortcut_taken_by_other_program</source>
        <translation>%1 ne fonctionne pas pour le moment : un autre programme utilise ce raccourci. Il fonctionnera de nouveau dès que ce programme le libérera.</translation>
    </message>
</context>
</TS>
