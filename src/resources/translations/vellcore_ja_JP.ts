<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja_JP" sourcelanguage="en">
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>エラー</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>メモリが不足しています！</translation>
    </message>
</context>
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>重大なエラー</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>ファイル %1 を開けません</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>ファイル %1 の解析エラー</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>エラー</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>メモリが不足しています!</translation>
    </message>
</context>
</TS>
