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
<context>
    <name>VellLayerBase</name>
    <message>
        <source>Normal</source>
        <translation>正常</translation>
    </message>
    <message>
        <source>Dissolve</source>
        <translation>溶解</translation>
    </message>
    <message>
        <source>Darken</source>
        <translation>变暗</translation>
    </message>
    <message>
        <source>Multiply</source>
        <translation>正片叠底</translation>
    </message>
    <message>
        <source>Color Burn</source>
        <translation>颜色加深</translation>
    </message>
    <message>
        <source>Linear Burn</source>
        <translation>线性加深</translation>
    </message>
    <message>
        <source>Darker Color</source>
        <translation>深色</translation>
    </message>
    <message>
        <source>Lighten</source>
        <translation>变亮</translation>
    </message>
    <message>
        <source>Screen</source>
        <translation>滤色</translation>
    </message>
    <message>
        <source>Color Dodge</source>
        <translation>颜色减淡</translation>
    </message>
    <message>
        <source>Linear Dodge</source>
        <translation>线性减淡（添加）</translation>
    </message>
    <message>
        <source>Lighter Color</source>
        <translation>浅色</translation>
    </message>
    <message>
        <source>Overlay</source>
        <translation>叠加</translation>
    </message>
    <message>
        <source>Soft Light</source>
        <translation>柔光</translation>
    </message>
    <message>
        <source>Hard Light</source>
        <translation>强光</translation>
    </message>
    <message>
        <source>Vivid Light</source>
        <translation>亮光</translation>
    </message>
    <message>
        <source>Linear Light</source>
        <translation>线性光</translation>
    </message>
    <message>
        <source>Pin Light</source>
        <translation>点光</translation>
    </message>
    <message>
        <source>Hard Mix</source>
        <translation>实色混合</translation>
    </message>
    <message>
        <source>Difference</source>
        <translation>差值</translation>
    </message>
    <message>
        <source>Exclusion</source>
        <translation>排除</translation>
    </message>
    <message>
        <source>Hue</source>
        <translation>色相</translation>
    </message>
    <message>
        <source>Saturation</source>
        <translation>饱和度</translation>
    </message>
    <message>
        <source>Color</source>
        <translation>颜色</translation>
    </message>
    <message>
        <source>Luminosity</source>
        <translation>明度</translation>
    </message>
</context>
</TS>
