<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_TW" sourcelanguage="en">
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>嚴重錯誤</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>無法開啟檔案 %1</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>剖析檔案 %1 時發生錯誤</translation>
    </message>
</context>
<context>
    <name>VellContext</name>
    <message>
        <source>Untitled Document</source>
        <translation>未命名文件</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>錯誤</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>記憶體不足！</translation>
    </message>
</context>
<context>
    <name>VellHistory</name>
    <message>
        <source>Error</source>
        <translation>錯誤</translation>
    </message>
    <message>
        <source>System is undoing, please wait!</source>
        <translation>系統正在復原，請稍候！</translation>
    </message>
</context>
<context>
    <name>VellInputDialog</name>
    <message>
        <source>Ok</source>
        <translation>確定</translation>
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
        <translation>變暗</translation>
    </message>
    <message>
        <source>Multiply</source>
        <translation>色彩增值</translation>
    </message>
    <message>
        <source>Color Burn</source>
        <translation>加深顏色</translation>
    </message>
    <message>
        <source>Linear Burn</source>
        <translation>線性加深</translation>
    </message>
    <message>
        <source>Darker Color</source>
        <translation>顏色變暗</translation>
    </message>
    <message>
        <source>Lighten</source>
        <translation>變亮</translation>
    </message>
    <message>
        <source>Screen</source>
        <translation>濾色</translation>
    </message>
    <message>
        <source>Color Dodge</source>
        <translation>加亮顏色</translation>
    </message>
    <message>
        <source>Linear Dodge</source>
        <translation>線性加亮（增加）</translation>
    </message>
    <message>
        <source>Lighter Color</source>
        <translation>顏色變亮</translation>
    </message>
    <message>
        <source>Overlay</source>
        <translation>覆蓋</translation>
    </message>
    <message>
        <source>Soft Light</source>
        <translation>柔光</translation>
    </message>
    <message>
        <source>Hard Light</source>
        <translation>實光</translation>
    </message>
    <message>
        <source>Vivid Light</source>
        <translation>強烈光源</translation>
    </message>
    <message>
        <source>Linear Light</source>
        <translation>線性光源</translation>
    </message>
    <message>
        <source>Pin Light</source>
        <translation>小光源</translation>
    </message>
    <message>
        <source>Hard Mix</source>
        <translation>實色疊印混合</translation>
    </message>
    <message>
        <source>Difference</source>
        <translation>差異化</translation>
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
        <translation>飽和度</translation>
    </message>
    <message>
        <source>Color</source>
        <translation>顏色</translation>
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
        <translation>建立遮色片</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskFullMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>遮色片變更</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskInvertMemo</name>
    <message>
        <source>Invert Mask</source>
        <translation>反轉遮色片</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>遮色片變更</translation>
    </message>
</context>
<context>
    <name>VellLayerModifyMemo</name>
    <message>
        <source>Layer Change</source>
        <translation>圖層變更</translation>
    </message>
</context>
<context>
    <name>VellMemoCanvasAndLayersChange</name>
    <message>
        <source>Canvas Change</source>
        <translation>畫布變更</translation>
    </message>
</context>
<context>
    <name>VellMemoLayerListChange</name>
    <message>
        <source>Layer List Change</source>
        <translation>圖層清單變更</translation>
    </message>
</context>
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>錯誤</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>記憶體不足！</translation>
    </message>
</context>
<context>
    <name>VellParamMemo</name>
    <message>
        <source>Apply Filter:</source>
        <translation>套用濾鏡：</translation>
    </message>
</context>
<context>
    <name>VellPictureReader</name>
    <message>
        <source>no file name</source>
        <translation>未指定檔案名稱</translation>
    </message>
    <message>
        <source>the file does not say how large its picture is</source>
        <translation>檔案未註明其影像的尺寸</translation>
    </message>
    <message>
        <source>its picture of %1 x %2 pixels is too large to open</source>
        <translation>影像尺寸 %1 x %2 像素過大，無法開啟</translation>
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
        <translation>像素化選項</translation>
    </message>
    <message>
        <source>Expand the text layer(in pixels)</source>
        <translation>擴展文字圖層（以像素為單位）</translation>
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
        <translation>擴展到整個畫布</translation>
    </message>
    <message>
        <source>Confirm to pixelate</source>
        <translation>確認像素化</translation>
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
        <translation>調整影像大小</translation>
    </message>
    <message>
        <source>The image exceeds the  maximum size your system supports.</source>
        <translation>影像超出了您的系統所支援的最大尺寸。</translation>
    </message>
    <message>
        <source>Please resize it before editing. This will not affect the
original image.</source>
        <translation>請在編輯前調整其大小。此操作不會影響
原始影像。</translation>
    </message>
    <message>
        <source>Resize to</source>
        <translation>調整為</translation>
    </message>
    <message>
        <source>Width:</source>
        <translation>寬度：</translation>
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
        <translation>確定</translation>
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
        <translation>選取範圍操作</translation>
    </message>
</context>
<context>
    <name>VellSparseModifyMemo</name>
    <message>
        <source>Painting Operation</source>
        <translation>繪畫操作</translation>
    </message>
</context>
<context>
    <name>VellToolBase</name>
    <message>
        <source>This tool doesn&apos;t support text layer, please choose an image layer on the layer manager.</source>
        <translation>此工具不支援文字圖層，請在圖層管理員中選擇一個影像圖層。</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>錯誤</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support layer mask.</source>
        <translation>此工具不支援圖層遮色片。</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support selection mask.</source>
        <translation>此工具不支援選取範圍遮色片。</translation>
    </message>
    <message>
        <source>Apply: </source>
        <translation>套用：</translation>
    </message>
    <message>
        <source>, used </source>
        <translation>，耗時 </translation>
    </message>
    <message>
        <source>Set Preset Name</source>
        <translation>設定預設集名稱</translation>
    </message>
    <message>
        <source>Please input the name for this preset.It will override other preset, if the name is same as the other&apos;s.</source>
        <translation>請輸入此預設集的名稱。如果與其他預設集同名，將會覆寫該預設集。</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>警告</translation>
    </message>
    <message>
        <source>&quot;%1&quot; already exists, overwrite it?</source>
        <translation>&quot;%1&quot; 已存在，是否覆寫？</translation>
    </message>
    <message>
        <source>Default Name</source>
        <translation>預設名稱</translation>
    </message>
</context>
</TS>
