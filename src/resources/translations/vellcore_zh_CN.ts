<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN" sourcelanguage="en">
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
    <name>VellContext</name>
    <message>
        <source>Untitled Document</source>
        <translation>未命名文档</translation>
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
        <translation>内存不足！</translation>
    </message>
</context>
<context>
    <name>VellHistory</name>
    <message>
        <source>Error</source>
        <translation>错误</translation>
    </message>
    <message>
        <source>System is undoing, please wait!</source>
        <translation>系统正在撤销，请稍候！</translation>
    </message>
</context>
<context>
    <name>VellInputDialog</name>
    <message>
        <source>Ok</source>
        <translation>确定</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>取消</translation>
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
<context>
    <name>VellLayerMaskCreateOrRemoveMemo</name>
    <message>
        <source>Create Mask</source>
        <translation>创建蒙版</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskFullMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>蒙版更改</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskInvertMemo</name>
    <message>
        <source>Invert Mask</source>
        <translation>反相蒙版</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>蒙版更改</translation>
    </message>
</context>
<context>
    <name>VellLayerModifyMemo</name>
    <message>
        <source>Layer Change</source>
        <translation>图层更改</translation>
    </message>
</context>
<context>
    <name>VellMemoCanvasAndLayersChange</name>
    <message>
        <source>Canvas Change</source>
        <translation>画布更改</translation>
    </message>
</context>
<context>
    <name>VellMemoLayerListChange</name>
    <message>
        <source>Layer List Change</source>
        <translation>图层列表更改</translation>
    </message>
</context>
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
    <name>VellParamMemo</name>
    <message>
        <source>Apply Filter:</source>
        <translation>应用滤镜：</translation>
    </message>
</context>
<context>
    <name>VellPictureReader</name>
    <message>
        <source>no file name</source>
        <translation>未指定文件名</translation>
    </message>
    <message>
        <source>the file does not say how large its picture is</source>
        <translation>文件未注明其图像的尺寸</translation>
    </message>
    <message>
        <source>its picture of %1 x %2 pixels is too large to open</source>
        <translation>图像尺寸 %1 x %2 像素过大，无法打开</translation>
    </message>
</context>
<context>
    <name>VellPixelateTextLayerWidget</name>
    <message>
        <source>Text Pixelation</source>
        <translation>文字像素化</translation>
    </message>
    <message>
        <source>Pixelation Options</source>
        <translation>像素化选项</translation>
    </message>
    <message>
        <source>Expand the text layer(in pixels)</source>
        <translation>扩展文字图层（以像素为单位）</translation>
    </message>
    <message>
        <source>Left:</source>
        <translation>左：</translation>
    </message>
    <message>
        <source>Right:</source>
        <translation>右：</translation>
    </message>
    <message>
        <source>Top:</source>
        <translation>上：</translation>
    </message>
    <message>
        <source>Bottom:</source>
        <translation>下：</translation>
    </message>
    <message>
        <source>Expand to whole canvas</source>
        <translation>扩展到整个画布</translation>
    </message>
    <message>
        <source>Confirm to pixelate</source>
        <translation>确认像素化</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>取消</translation>
    </message>
</context>
<context>
    <name>VellReadImageResizeWidget</name>
    <message>
        <source>Resize Image</source>
        <translation>调整图像大小</translation>
    </message>
    <message>
        <source>The image exceeds the  maximum size your system supports.</source>
        <translation>图像超出了您的系统所支持的最大尺寸。</translation>
    </message>
    <message>
        <source>Please resize it before editing. This will not affect the
original image.</source>
        <translation>请在编辑前调整其大小。此操作不会影响
原始图像。</translation>
    </message>
    <message>
        <source>Resize to</source>
        <translation>调整为</translation>
    </message>
    <message>
        <source>Width:</source>
        <translation>宽度：</translation>
    </message>
    <message>
        <source>Height:</source>
        <translation>高度：</translation>
    </message>
    <message>
        <source>Pixels</source>
        <translation>像素</translation>
    </message>
    <message>
        <source>Ok</source>
        <translation>确定</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>取消</translation>
    </message>
</context>
<context>
    <name>VellSelectionMemo</name>
    <message>
        <source>Selection Operation</source>
        <translation>选区操作</translation>
    </message>
</context>
<context>
    <name>VellSparseModifyMemo</name>
    <message>
        <source>Painting Operation</source>
        <translation>绘画操作</translation>
    </message>
</context>
<context>
    <name>VellToolBase</name>
    <message>
        <source>This tool doesn&apos;t support text layer, please choose an image layer on the layer manager.</source>
        <translation>此工具不支持文字图层，请在图层管理器中选择一个图像图层。</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>错误</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support layer mask.</source>
        <translation>此工具不支持图层蒙版。</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support selection mask.</source>
        <translation>此工具不支持选区蒙版。</translation>
    </message>
    <message>
        <source>Apply: </source>
        <translation>应用：</translation>
    </message>
    <message>
        <source>, used </source>
        <translation>，耗时 </translation>
    </message>
    <message>
        <source>Set Preset Name</source>
        <translation>设置预设名称</translation>
    </message>
    <message>
        <source>Please input the name for this preset.It will override other preset, if the name is same as the other&apos;s.</source>
        <translation>请输入此预设的名称。如果与其他预设同名，将覆盖该预设。</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>警告</translation>
    </message>
    <message>
        <source>&quot;%1&quot; already exists, overwrite it?</source>
        <translation>&quot;%1&quot; 已存在，是否覆盖？</translation>
    </message>
    <message>
        <source>Default Name</source>
        <translation>默认名称</translation>
    </message>
</context>
</TS>
