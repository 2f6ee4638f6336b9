<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR" sourcelanguage="en">
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>Erreur</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>Mémoire insuffisante !</translation>
    </message>
</context>
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>Erreur critique</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>Impossible d'ouvrir le fichier %1</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>Erreur d'analyse du fichier %1</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>Erreur</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>Mémoire insuffisante !</translation>
    </message>
</context>
</TS>
