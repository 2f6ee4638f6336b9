<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="es_ES" sourcelanguage="en">
<context>
    <name>VellBrightnessContrastTool</name>
    <message>
        <source>Makes the picture lighter or darker and its tones closer together or further apart.</source>
        <translation>Aclara u oscurece la imagen y acerca o separa sus tonos.</translation>
    </message>
    <message>
        <source>lighter (up to 100) or darker (down to -100)</source>
        <translation>más claro (hasta 100) o más oscuro (hasta -100)</translation>
    </message>
    <message>
        <source>tones further apart (up to 100) or closer (down to -100)</source>
        <translation>tonos más separados (hasta 100) o más próximos (hasta -100)</translation>
    </message>
    <message>
        <source>Brightness/Contrast</source>
        <translation>Brillo/Contraste</translation>
    </message>
    <message>
        <source>Brightness</source>
        <translation>Brillo</translation>
    </message>
    <message>
        <source>Contrast</source>
        <translation>Contraste</translation>
    </message>
</context>
</TS>
