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
<context>
    <name>VellLayerBase</name>
    <message>
        <source>Normal</source>
        <translation>Normal</translation>
    </message>
    <message>
        <source>Dissolve</source>
        <translation>Sprenkeln</translation>
    </message>
    <message>
        <source>Darken</source>
        <translation>Abdunkeln</translation>
    </message>
    <message>
        <source>Multiply</source>
        <translation>Multiplizieren</translation>
    </message>
    <message>
        <source>Color Burn</source>
        <translation>Farbig nachbelichten</translation>
    </message>
    <message>
        <source>Linear Burn</source>
        <translation>Linear nachbelichten</translation>
    </message>
    <message>
        <source>Darker Color</source>
        <translation>Dunklere Farbe</translation>
    </message>
    <message>
        <source>Lighten</source>
        <translation>Aufhellen</translation>
    </message>
    <message>
        <source>Screen</source>
        <translation>Negativ multiplizieren</translation>
    </message>
    <message>
        <source>Color Dodge</source>
        <translation>Farbig abwedeln</translation>
    </message>
    <message>
        <source>Linear Dodge</source>
        <translation>Linear abwedeln (Addieren)</translation>
    </message>
    <message>
        <source>Lighter Color</source>
        <translation>Hellere Farbe</translation>
    </message>
    <message>
        <source>Overlay</source>
        <translation>Ineinanderkopieren</translation>
    </message>
    <message>
        <source>Soft Light</source>
        <translation>Weiches Licht</translation>
    </message>
    <message>
        <source>Hard Light</source>
        <translation>Hartes Licht</translation>
    </message>
    <message>
        <source>Vivid Light</source>
        <translation>Strahlendes Licht</translation>
    </message>
    <message>
        <source>Linear Light</source>
        <translation>Lineares Licht</translation>
    </message>
    <message>
        <source>Pin Light</source>
        <translation>Lichtpunkt</translation>
    </message>
    <message>
        <source>Hard Mix</source>
        <translation>Hart mischen</translation>
    </message>
    <message>
        <source>Difference</source>
        <translation>Differenz</translation>
    </message>
    <message>
        <source>Exclusion</source>
        <translation>Ausschluss</translation>
    </message>
    <message>
        <source>Hue</source>
        <translation>Farbton</translation>
    </message>
    <message>
        <source>Saturation</source>
        <translation>Sättigung</translation>
    </message>
    <message>
        <source>Color</source>
        <translation>Farbe</translation>
    </message>
    <message>
        <source>Luminosity</source>
        <translation>Luminanz</translation>
    </message>
</context>
</TS>
