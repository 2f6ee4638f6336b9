<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR" sourcelanguage="en">
<context>
    <name>VellInvertTool</name>
    <message>
        <source>Turns every colour into its complement.</source>
        <translation>Remplace chaque couleur par sa couleur complémentaire.</translation>
    </message>
</context>
</TS>
