<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="es_ES" sourcelanguage="en">
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>Error crítico</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>No se puede abrir el archivo %1</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>Error al analizar el archivo %1</translation>
    </message>
</context>
<context>
    <name>VellContext</name>
    <message>
        <source>Untitled Document</source>
        <translation>Documento sin título</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>¡Memoria insuficiente!</translation>
    </message>
</context>
<context>
    <name>VellHistory</name>
    <message>
        <source>Error</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>System is undoing, please wait!</source>
        <translation>¡El sistema está deshaciendo cambios, espere!</translation>
    </message>
</context>
<context>
    <name>VellInputDialog</name>
    <message>
        <source>Ok</source>
        <translation>Aceptar</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancelar</translation>
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
        <translation>Disolver</translation>
    </message>
    <message>
        <source>Darken</source>
        <translation>Oscurecer</translation>
    </message>
    <message>
        <source>Multiply</source>
        <translation>Multiplicar</translation>
    </message>
    <message>
        <source>Color Burn</source>
        <translation>Subexponer color</translation>
    </message>
    <message>
        <source>Linear Burn</source>
        <translation>Subexposición lineal</translation>
    </message>
    <message>
        <source>Darker Color</source>
        <translation>Color más oscuro</translation>
    </message>
    <message>
        <source>Lighten</source>
        <translation>Aclarar</translation>
    </message>
    <message>
        <source>Screen</source>
        <translation>Trama</translation>
    </message>
    <message>
        <source>Color Dodge</source>
        <translation>Sobreexponer color</translation>
    </message>
    <message>
        <source>Linear Dodge</source>
        <translation>Sobreexposición lineal (Añadir)</translation>
    </message>
    <message>
        <source>Lighter Color</source>
        <translation>Color más claro</translation>
    </message>
    <message>
        <source>Overlay</source>
        <translation>Superponer</translation>
    </message>
    <message>
        <source>Soft Light</source>
        <translation>Luz suave</translation>
    </message>
    <message>
        <source>Hard Light</source>
        <translation>Luz fuerte</translation>
    </message>
    <message>
        <source>Vivid Light</source>
        <translation>Luz intensa</translation>
    </message>
    <message>
        <source>Linear Light</source>
        <translation>Luz lineal</translation>
    </message>
    <message>
        <source>Pin Light</source>
        <translation>Luz focal</translation>
    </message>
    <message>
        <source>Hard Mix</source>
        <translation>Mezcla definida</translation>
    </message>
    <message>
        <source>Difference</source>
        <translation>Diferencia</translation>
    </message>
    <message>
        <source>Exclusion</source>
        <translation>Exclusión</translation>
    </message>
    <message>
        <source>Hue</source>
        <translation>Tono</translation>
    </message>
    <message>
        <source>Saturation</source>
        <translation>Saturación</translation>
    </message>
    <message>
        <source>Color</source>
        <translation>Color</translation>
    </message>
    <message>
        <source>Luminosity</source>
        <translation>Luminosidad</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskCreateOrRemoveMemo</name>
    <message>
        <source>Create Mask</source>
        <translation>Crear máscara</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskFullMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>Cambio de máscara</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskInvertMemo</name>
    <message>
        <source>Invert Mask</source>
        <translation>Invertir máscara</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>Cambio de máscara</translation>
    </message>
</context>
<context>
    <name>VellLayerModifyMemo</name>
    <message>
        <source>Layer Change</source>
        <translation>Cambio de capa</translation>
    </message>
</context>
<context>
    <name>VellMemoCanvasAndLayersChange</name>
    <message>
        <source>Canvas Change</source>
        <translation>Cambio de lienzo</translation>
    </message>
</context>
<context>
    <name>VellMemoLayerListChange</name>
    <message>
        <source>Layer List Change</source>
        <translation>Cambio en la lista de capas</translation>
    </message>
</context>
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>¡Memoria insuficiente!</translation>
    </message>
</context>
<context>
    <name>VellParamMemo</name>
    <message>
        <source>Apply Filter:</source>
        <translation>Aplicar filtro:</translation>
    </message>
</context>
<context>
    <name>VellPictureReader</name>
    <message>
        <source>no file name</source>
        <translation>sin nombre de archivo</translation>
    </message>
    <message>
        <source>the file does not say how large its picture is</source>
        <translation>el archivo no indica el tamaño de su imagen</translation>
    </message>
    <message>
        <source>its picture of %1 x %2 pixels is too large to open</source>
        <translation>su imagen de %1 x %2 píxeles es demasiado grande para abrirla</translation>
    </message>
</context>
<context>
    <name>VellPixelateTextLayerWidget</name>
    <message>
        <source>Text Pixelation</source>
        <translation>Rasterización de texto</translation>
    </message>
    <message>
        <source>Pixelation Options</source>
        <translation>Opciones de rasterización</translation>
    </message>
    <message>
        <source>Expand the text layer(in pixels)</source>
        <translation>Ampliar la capa de texto (en píxeles)</translation>
    </message>
    <message>
        <source>Left:</source>
        <translation>Izquierda:</translation>
    </message>
    <message>
        <source>Right:</source>
        <translation>Derecha:</translation>
    </message>
    <message>
        <source>Top:</source>
        <translation>Superior:</translation>
    </message>
    <message>
        <source>Bottom:</source>
        <translation>Inferior:</translation>
    </message>
    <message>
        <source>Expand to whole canvas</source>
        <translation>Ampliar a todo el lienzo</translation>
    </message>
    <message>
        <source>Confirm to pixelate</source>
        <translation>Confirmar rasterización</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancelar</translation>
    </message>
</context>
<context>
    <name>VellReadImageResizeWidget</name>
    <message>
        <source>Resize Image</source>
        <translation>Cambiar tamaño de imagen</translation>
    </message>
    <message>
        <source>The image exceeds the  maximum size your system supports.</source>
        <translation>La imagen supera el tamaño máximo que admite su sistema.</translation>
    </message>
    <message>
        <source>Please resize it before editing. This will not affect the
original image.</source>
        <translation>Cambie su tamaño antes de editarla. Esto no afectará a la
imagen original.</translation>
    </message>
    <message>
        <source>Resize to</source>
        <translation>Cambiar tamaño a</translation>
    </message>
    <message>
        <source>Width:</source>
        <translation>Anchura:</translation>
    </message>
    <message>
        <source>Height:</source>
        <translation>Altura:</translation>
    </message>
    <message>
        <source>Pixels</source>
        <translation>Píxeles</translation>
    </message>
    <message>
        <source>Ok</source>
        <translation>Aceptar</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Cancelar</translation>
    </message>
</context>
<context>
    <name>VellSelectionMemo</name>
    <message>
        <source>Selection Operation</source>
        <translation>Operación de selección</translation>
    </message>
</context>
<context>
    <name>VellSparseModifyMemo</name>
    <message>
        <source>Painting Operation</source>
        <translation>Operación de pintura</translation>
    </message>
</context>
<context>
    <name>VellToolBase</name>
    <message>
        <source>This tool doesn&apos;t support text layer, please choose an image layer on the layer manager.</source>
        <translation>Esta herramienta no admite capas de texto. Seleccione una capa de imagen en el administrador de capas.</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Error</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support layer mask.</source>
        <translation>Esta herramienta no admite máscaras de capa.</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support selection mask.</source>
        <translation>Esta herramienta no admite máscaras de selección.</translation>
    </message>
    <message>
        <source>Apply: </source>
        <translation>Aplicar: </translation>
    </message>
    <message>
        <source>, used </source>
        <translation>, tiempo: </translation>
    </message>
    <message>
        <source>Set Preset Name</source>
        <translation>Nombre del ajuste preestablecido</translation>
    </message>
    <message>
        <source>Please input the name for this preset.It will override other preset, if the name is same as the other&apos;s.</source>
        <translation>Introduzca un nombre para este ajuste preestablecido. Si ya existe otro con el mismo nombre, se sobrescribirá.</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>Advertencia</translation>
    </message>
    <message>
        <source>&quot;%1&quot; already exists, overwrite it?</source>
        <translation>&quot;%1&quot; ya existe. ¿Desea sobrescribirlo?</translation>
    </message>
    <message>
        <source>Default Name</source>
        <translation>Nombre predeterminado</translation>
    </message>
</context>
</TS>
