<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="es_ES" sourcelanguage="en">
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>¡Memoria insuficiente!</translation>
    </message>
</context>
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>Error crítico</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>No se puede abrir el archivo %1</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>Error al analizar el archivo %1</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>¡Memoria insuficiente!</translation>
    </message>
</context>
</TS>
