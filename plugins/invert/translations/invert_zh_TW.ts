<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_TW" sourcelanguage="en">
<context>
    <name>VellInvertTool</name>
    <message>
        <source>Turns every colour into its complement.</source>
        <translation>將每種顏色轉換為其補色。</translation>
    </message>
</context>
</TS>
