<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>Nicht genügend Arbeitsspeicher!</translation>
    </message>
</context>
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>Schwerwiegender Fehler</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>Datei %1 kann nicht geöffnet werden</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>Fehler beim Einlesen der Datei %1</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>Nicht genügend Speicher!</translation>
    </message>
</context>
</TS>
