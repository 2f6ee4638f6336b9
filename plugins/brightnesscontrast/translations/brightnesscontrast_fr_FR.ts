<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR" sourcelanguage="en">
<context>
    <name>VellBrightnessContrastTool</name>
    <message>
        <source>Makes the picture lighter or darker and its tones closer together or further apart.</source>
        <translation>Éclaircit ou assombrit l&apos;image et rapproche ou écarte ses tons.</translation>
    </message>
    <message>
        <source>lighter (up to 100) or darker (down to -100)</source>
        <translation>plus clair (jusqu&apos;à 100) ou plus foncé (jusqu&apos;à -100)</translation>
    </message>
    <message>
        <source>tones further apart (up to 100) or closer (down to -100)</source>
        <translation>tons plus écartés (jusqu&apos;à 100) ou plus rapprochés (jusqu&apos;à -100)</translation>
    </message>
    <message>
        <source>Brightness/Contrast</source>
        <translation>Luminosité/Contraste</translation>
    </message>
    <message>
        <source>Brightness</source>
        <translation>Luminosité</translation>
    </message>
    <message>
        <source>Contrast</source>
        <translation>Contraste</translation>
    </message>
</context>
</TS>
