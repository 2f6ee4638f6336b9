<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_TW" sourcelanguage="en">
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>錯誤</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>記憶體不足！</translation>
    </message>
</context>
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>嚴重錯誤</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>無法開啟檔案 %1</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>剖析檔案 %1 時發生錯誤</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>錯誤</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>記憶體不足!</translation>
    </message>
</context>
</TS>
