<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja_JP" sourcelanguage="en">
<context>
    <name>VellBrightnessContrastTool</name>
    <message>
        <source>Makes the picture lighter or darker and its tones closer together or further apart.</source>
        <translation>画像を明るくまたは暗くし、階調の幅を狭めたり広げたりします。</translation>
    </message>
    <message>
        <source>lighter (up to 100) or darker (down to -100)</source>
        <translation>明るく（最大 100）または暗く（最小 -100）</translation>
    </message>
    <message>
        <source>tones further apart (up to 100) or closer (down to -100)</source>
        <translation>階調を広げる（最大 100）または狭める（最小 -100）</translation>
    </message>
    <message>
        <source>Brightness/Contrast</source>
        <translation>明るさ・コントラスト</translation>
    </message>
    <message>
        <source>Brightness</source>
        <translation>明るさ</translation>
    </message>
    <message>
        <source>Contrast</source>
        <translation>コントラスト</translation>
    </message>
</context>
</TS>
