<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ko_KR" sourcelanguage="en">
<context>
    <name>VellInvertTool</name>
    <message>
        <source>Turns every colour into its complement.</source>
        <translation>모든 색상을 보색으로 반전합니다.</translation>
    </message>
</context>
</TS>
