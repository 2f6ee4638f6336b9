<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>VellBrightnessContrastTool</name>
    <message>
        <source>Makes the picture lighter or darker and its tones closer together or further apart.</source>
        <translation>Macht das Bild heller oder dunkler und rückt seine Tonwerte näher zusammen oder weiter auseinander.</translation>
    </message>
    <message>
        <source>lighter (up to 100) or darker (down to -100)</source>
        <translation>heller (bis 100) oder dunkler (bis -100)</translation>
    </message>
    <message>
        <source>tones further apart (up to 100) or closer (down to -100)</source>
        <translation>Tonwerte weiter auseinander (bis 100) oder näher zusammen (bis -100)</translation>
    </message>
    <message>
        <source>Brightness/Contrast</source>
        <translation>Helligkeit/Kontrast</translation>
    </message>
    <message>
        <source>Brightness</source>
        <translation>Helligkeit</translation>
    </message>
    <message>
        <source>Contrast</source>
        <translation>Kontrast</translation>
    </message>
</context>
</TS>
