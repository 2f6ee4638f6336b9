<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ko_KR" sourcelanguage="en">
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>오류</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>메모리가 부족합니다!</translation>
    </message>
</context>
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>심각한 오류</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>파일 %1을(를) 열 수 없습니다</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>파일 %1 구문 분석 오류</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>오류</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>메모리가 부족합니다!</translation>
    </message>
</context>
</TS>
