<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="es_ES" sourcelanguage="en">
<context>
    <name>VellInvertTool</name>
    <message>
        <source>Turns every colour into its complement.</source>
        <translation>Convierte cada color en su complementario.</translation>
    </message>
</context>
</TS>
