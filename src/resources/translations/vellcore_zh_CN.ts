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
</TS>
