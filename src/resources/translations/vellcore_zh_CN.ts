<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>错误</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>内存不足！</translation>
    </message>
</context>
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>严重错误</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>无法打开文件 %1</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>解析文件 %1 时出错</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>错误</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>内存不足!</translation>
    </message>
</context>
</TS>
