<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ko_KR" sourcelanguage="en">
<context>
    <name>VellBrightnessContrastTool</name>
    <message>
        <source>Makes the picture lighter or darker and its tones closer together or further apart.</source>
        <translation>이미지를 밝게 또는 어둡게 하고 색조 간격을 좁히거나 넓힙니다.</translation>
    </message>
    <message>
        <source>lighter (up to 100) or darker (down to -100)</source>
        <translation>밝게(최대 100) 또는 어둡게(최소 -100)</translation>
    </message>
    <message>
        <source>tones further apart (up to 100) or closer (down to -100)</source>
        <translation>색조 간격 넓히기(최대 100) 또는 좁히기(최소 -100)</translation>
    </message>
    <message>
        <source>Brightness/Contrast</source>
        <translation>명도/대비</translation>
    </message>
    <message>
        <source>Brightness</source>
        <translation>명도</translation>
    </message>
    <message>
        <source>Contrast</source>
        <translation>대비</translation>
    </message>
</context>
</TS>
