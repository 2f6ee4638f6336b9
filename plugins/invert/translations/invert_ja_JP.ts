<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja_JP" sourcelanguage="en">
<context>
    <name>VellInvertTool</name>
    <message>
        <source>Turns every colour into its complement.</source>
        <translation>すべての色を補色に反転します。</translation>
    </message>
</context>
</TS>
