<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en">
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>Schwerwiegender Fehler</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>Datei %1 kann nicht geöffnet werden</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>Fehler beim Einlesen der Datei %1</translation>
    </message>
</context>
<context>
    <name>VellContext</name>
    <message>
        <source>Untitled Document</source>
        <translation>Unbenanntes Dokument</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>Nicht genügend Speicher!</translation>
    </message>
</context>
<context>
    <name>VellHistory</name>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>System is undoing, please wait!</source>
        <translation>Das System macht gerade Schritte rückgängig, bitte warten!</translation>
    </message>
</context>
<context>
    <name>VellInputDialog</name>
    <message>
        <source>Ok</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>VellLayerBase</name>
    <message>
        <source>Normal</source>
        <translation>Normal</translation>
    </message>
    <message>
        <source>Dissolve</source>
        <translation>Sprenkeln</translation>
    </message>
    <message>
        <source>Darken</source>
        <translation>Abdunkeln</translation>
    </message>
    <message>
        <source>Multiply</source>
        <translation>Multiplizieren</translation>
    </message>
    <message>
        <source>Color Burn</source>
        <translation>Farbig nachbelichten</translation>
    </message>
    <message>
        <source>Linear Burn</source>
        <translation>Linear nachbelichten</translation>
    </message>
    <message>
        <source>Darker Color</source>
        <translation>Dunklere Farbe</translation>
    </message>
    <message>
        <source>Lighten</source>
        <translation>Aufhellen</translation>
    </message>
    <message>
        <source>Screen</source>
        <translation>Negativ multiplizieren</translation>
    </message>
    <message>
        <source>Color Dodge</source>
        <translation>Farbig abwedeln</translation>
    </message>
    <message>
        <source>Linear Dodge</source>
        <translation>Linear abwedeln (Addieren)</translation>
    </message>
    <message>
        <source>Lighter Color</source>
        <translation>Hellere Farbe</translation>
    </message>
    <message>
        <source>Overlay</source>
        <translation>Ineinanderkopieren</translation>
    </message>
    <message>
        <source>Soft Light</source>
        <translation>Weiches Licht</translation>
    </message>
    <message>
        <source>Hard Light</source>
        <translation>Hartes Licht</translation>
    </message>
    <message>
        <source>Vivid Light</source>
        <translation>Strahlendes Licht</translation>
    </message>
    <message>
        <source>Linear Light</source>
        <translation>Lineares Licht</translation>
    </message>
    <message>
        <source>Pin Light</source>
        <translation>Lichtpunkt</translation>
    </message>
    <message>
        <source>Hard Mix</source>
        <translation>Hart mischen</translation>
    </message>
    <message>
        <source>Difference</source>
        <translation>Differenz</translation>
    </message>
    <message>
        <source>Exclusion</source>
        <translation>Ausschluss</translation>
    </message>
    <message>
        <source>Hue</source>
        <translation>Farbton</translation>
    </message>
    <message>
        <source>Saturation</source>
        <translation>Sättigung</translation>
    </message>
    <message>
        <source>Color</source>
        <translation>Farbe</translation>
    </message>
    <message>
        <source>Luminosity</source>
        <translation>Luminanz</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskCreateOrRemoveMemo</name>
    <message>
        <source>Create Mask</source>
        <translation>Maske erstellen</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskFullMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>Maskenänderung</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskInvertMemo</name>
    <message>
        <source>Invert Mask</source>
        <translation>Maske umkehren</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>Maskenänderung</translation>
    </message>
</context>
<context>
    <name>VellLayerModifyMemo</name>
    <message>
        <source>Layer Change</source>
        <translation>Ebenenänderung</translation>
    </message>
</context>
<context>
    <name>VellMemoCanvasAndLayersChange</name>
    <message>
        <source>Canvas Change</source>
        <translation>Änderung der Arbeitsfläche</translation>
    </message>
</context>
<context>
    <name>VellMemoLayerListChange</name>
    <message>
        <source>Layer List Change</source>
        <translation>Änderung der Ebenenliste</translation>
    </message>
</context>
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>Nicht genügend Arbeitsspeicher!</translation>
    </message>
</context>
<context>
    <name>VellParamMemo</name>
    <message>
        <source>Apply Filter:</source>
        <translation>Filter anwenden:</translation>
    </message>
</context>
<context>
    <name>VellPictureReader</name>
    <message>
        <source>no file name</source>
        <translation>kein Dateiname</translation>
    </message>
    <message>
        <source>the file does not say how large its picture is</source>
        <translation>die Datei gibt die Größe ihres Bildes nicht an</translation>
    </message>
    <message>
        <source>its picture of %1 x %2 pixels is too large to open</source>
        <translation>das Bild mit %1 x %2 Pixeln ist zu groß zum Öffnen</translation>
    </message>
</context>
<context>
    <name>VellPixelateTextLayerWidget</name>
    <message>
        <source>Text Pixelation</source>
        <translation>Text rastern</translation>
    </message>
    <message>
        <source>Pixelation Options</source>
        <translation>Rasterungsoptionen</translation>
    </message>
    <message>
        <source>Expand the text layer(in pixels)</source>
        <translation>Textebene erweitern (in Pixeln)</translation>
    </message>
    <message>
        <source>Left:</source>
        <translation>Links:</translation>
    </message>
    <message>
        <source>Right:</source>
        <translation>Rechts:</translation>
    </message>
    <message>
        <source>Top:</source>
        <translation>Oben:</translation>
    </message>
    <message>
        <source>Bottom:</source>
        <translation>Unten:</translation>
    </message>
    <message>
        <source>Expand to whole canvas</source>
        <translation>Auf die gesamte Arbeitsfläche erweitern</translation>
    </message>
    <message>
        <source>Confirm to pixelate</source>
        <translation>Rastern bestätigen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>VellReadImageResizeWidget</name>
    <message>
        <source>Resize Image</source>
        <translation>Bildgröße ändern</translation>
    </message>
    <message>
        <source>The image exceeds the  maximum size your system supports.</source>
        <translation>Das Bild überschreitet die maximale Größe, die Ihr System unterstützt.</translation>
    </message>
    <message>
        <source>Please resize it before editing. This will not affect the
original image.</source>
        <translation>Bitte ändern Sie vor dem Bearbeiten die Größe. Das Originalbild
bleibt davon unberührt.</translation>
    </message>
    <message>
        <source>Resize to</source>
        <translation>Neue Größe</translation>
    </message>
    <message>
        <source>Width:</source>
        <translation>Breite:</translation>
    </message>
    <message>
        <source>Height:</source>
        <translation>Höhe:</translation>
    </message>
    <message>
        <source>Pixels</source>
        <translation>Pixel</translation>
    </message>
    <message>
        <source>Ok</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
</context>
<context>
    <name>VellSelectionMemo</name>
    <message>
        <source>Selection Operation</source>
        <translation>Auswahlvorgang</translation>
    </message>
</context>
<context>
    <name>VellSparseModifyMemo</name>
    <message>
        <source>Painting Operation</source>
        <translation>Malvorgang</translation>
    </message>
</context>
<context>
    <name>VellToolBase</name>
    <message>
        <source>This tool doesn&apos;t support text layer, please choose an image layer on the layer manager.</source>
        <translation>Dieses Werkzeug unterstützt keine Textebenen. Bitte wählen Sie in der Ebenenverwaltung eine Bildebene aus.</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Fehler</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support layer mask.</source>
        <translation>Dieses Werkzeug unterstützt keine Ebenenmasken.</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support selection mask.</source>
        <translation>Dieses Werkzeug unterstützt keine Auswahlmasken.</translation>
    </message>
    <message>
        <source>Apply: </source>
        <translation>Anwenden: </translation>
    </message>
    <message>
        <source>, used </source>
        <translation>, Dauer: </translation>
    </message>
    <message>
        <source>Set Preset Name</source>
        <translation>Namen der Vorgabe festlegen</translation>
    </message>
    <message>
        <source>Please input the name for this preset.It will override other preset, if the name is same as the other&apos;s.</source>
        <translation>Bitte geben Sie einen Namen für diese Vorgabe ein. Eine vorhandene Vorgabe mit demselben Namen wird überschrieben.</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>Warnung</translation>
    </message>
    <message>
        <source>&quot;%1&quot; already exists, overwrite it?</source>
        <translation>&quot;%1&quot; ist bereits vorhanden. Überschreiben?</translation>
    </message>
    <message>
        <source>Default Name</source>
        <translation>Standardname</translation>
    </message>
</context>
</TS>
