<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_TW" sourcelanguage="en">
<context>
    <name>VellBrightnessContrastTool</name>
    <message>
        <source>Makes the picture lighter or darker and its tones closer together or further apart.</source>
        <translation>使影像變亮或變暗，並使色調更接近或更分散。</translation>
    </message>
    <message>
        <source>lighter (up to 100) or darker (down to -100)</source>
        <translation>更亮（最高 100）或更暗（最低 -100）</translation>
    </message>
    <message>
        <source>tones further apart (up to 100) or closer (down to -100)</source>
        <translation>色調更分散（最高 100）或更接近（最低 -100）</translation>
    </message>
    <message>
        <source>Brightness/Contrast</source>
        <translation>亮度/對比</translation>
    </message>
    <message>
        <source>Brightness</source>
        <translation>亮度</translation>
    </message>
    <message>
        <source>Contrast</source>
        <translation>對比</translation>
    </message>
</context>
</TS>
