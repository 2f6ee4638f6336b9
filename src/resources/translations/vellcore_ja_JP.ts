<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ja_JP" sourcelanguage="en">
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>重大なエラー</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>ファイル %1 を開けません</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>ファイル %1 の解析エラー</translation>
    </message>
</context>
<context>
    <name>VellContext</name>
    <message>
        <source>Untitled Document</source>
        <translation>名称未設定ドキュメント</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>エラー</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>メモリが不足しています！</translation>
    </message>
</context>
<context>
    <name>VellHistory</name>
    <message>
        <source>Error</source>
        <translation>エラー</translation>
    </message>
    <message>
        <source>System is undoing, please wait!</source>
        <translation>取り消し処理中です。しばらくお待ちください！</translation>
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
        <translation>キャンセル</translation>
    </message>
</context>
<context>
    <name>VellLayerBase</name>
    <message>
        <source>Normal</source>
        <translation>通常</translation>
    </message>
    <message>
        <source>Dissolve</source>
        <translation>ディザ合成</translation>
    </message>
    <message>
        <source>Darken</source>
        <translation>比較（暗）</translation>
    </message>
    <message>
        <source>Multiply</source>
        <translation>乗算</translation>
    </message>
    <message>
        <source>Color Burn</source>
        <translation>焼き込みカラー</translation>
    </message>
    <message>
        <source>Linear Burn</source>
        <translation>焼き込み（リニア）</translation>
    </message>
    <message>
        <source>Darker Color</source>
        <translation>カラー比較（暗）</translation>
    </message>
    <message>
        <source>Lighten</source>
        <translation>比較（明）</translation>
    </message>
    <message>
        <source>Screen</source>
        <translation>スクリーン</translation>
    </message>
    <message>
        <source>Color Dodge</source>
        <translation>覆い焼きカラー</translation>
    </message>
    <message>
        <source>Linear Dodge</source>
        <translation>覆い焼き（リニア）- 加算</translation>
    </message>
    <message>
        <source>Lighter Color</source>
        <translation>カラー比較（明）</translation>
    </message>
    <message>
        <source>Overlay</source>
        <translation>オーバーレイ</translation>
    </message>
    <message>
        <source>Soft Light</source>
        <translation>ソフトライト</translation>
    </message>
    <message>
        <source>Hard Light</source>
        <translation>ハードライト</translation>
    </message>
    <message>
        <source>Vivid Light</source>
        <translation>ビビッドライト</translation>
    </message>
    <message>
        <source>Linear Light</source>
        <translation>リニアライト</translation>
    </message>
    <message>
        <source>Pin Light</source>
        <translation>ピンライト</translation>
    </message>
    <message>
        <source>Hard Mix</source>
        <translation>ハードミックス</translation>
    </message>
    <message>
        <source>Difference</source>
        <translation>差の絶対値</translation>
    </message>
    <message>
        <source>Exclusion</source>
        <translation>除外</translation>
    </message>
    <message>
        <source>Hue</source>
        <translation>色相</translation>
    </message>
    <message>
        <source>Saturation</source>
        <translation>彩度</translation>
    </message>
    <message>
        <source>Color</source>
        <translation>カラー</translation>
    </message>
    <message>
        <source>Luminosity</source>
        <translation>輝度</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskCreateOrRemoveMemo</name>
    <message>
        <source>Create Mask</source>
        <translation>マスクを作成</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskFullMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>マスクの変更</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskInvertMemo</name>
    <message>
        <source>Invert Mask</source>
        <translation>マスクを反転</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>マスクの変更</translation>
    </message>
</context>
<context>
    <name>VellLayerModifyMemo</name>
    <message>
        <source>Layer Change</source>
        <translation>レイヤーの変更</translation>
    </message>
</context>
<context>
    <name>VellMemoCanvasAndLayersChange</name>
    <message>
        <source>Canvas Change</source>
        <translation>カンバスの変更</translation>
    </message>
</context>
<context>
    <name>VellMemoLayerListChange</name>
    <message>
        <source>Layer List Change</source>
        <translation>レイヤーリストの変更</translation>
    </message>
</context>
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>エラー</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>メモリが不足しています！</translation>
    </message>
</context>
<context>
    <name>VellParamMemo</name>
    <message>
        <source>Apply Filter:</source>
        <translation>フィルターを適用：</translation>
    </message>
</context>
<context>
    <name>VellPictureReader</name>
    <message>
        <source>no file name</source>
        <translation>ファイル名がありません</translation>
    </message>
    <message>
        <source>the file does not say how large its picture is</source>
        <translation>ファイルに画像のサイズが記載されていません</translation>
    </message>
    <message>
        <source>its picture of %1 x %2 pixels is too large to open</source>
        <translation>画像（%1 x %2 ピクセル）が大きすぎて開けません</translation>
    </message>
</context>
<context>
    <name>VellPixelateTextLayerWidget</name>
    <message>
        <source>Text Pixelation</source>
        <translation>テキストのラスタライズ</translation>
    </message>
    <message>
        <source>Pixelation Options</source>
        <translation>ラスタライズオプション</translation>
    </message>
    <message>
        <source>Expand the text layer(in pixels)</source>
        <translation>テキストレイヤーを拡張（ピクセル単位）</translation>
    </message>
    <message>
        <source>Left:</source>
        <translation>左:</translation>
    </message>
    <message>
        <source>Right:</source>
        <translation>右:</translation>
    </message>
    <message>
        <source>Top:</source>
        <translation>上:</translation>
    </message>
    <message>
        <source>Bottom:</source>
        <translation>下:</translation>
    </message>
    <message>
        <source>Expand to whole canvas</source>
        <translation>カンバス全体に拡張</translation>
    </message>
    <message>
        <source>Confirm to pixelate</source>
        <translation>ラスタライズを実行</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>キャンセル</translation>
    </message>
</context>
<context>
    <name>VellReadImageResizeWidget</name>
    <message>
        <source>Resize Image</source>
        <translation>画像のサイズ変更</translation>
    </message>
    <message>
        <source>The image exceeds the  maximum size your system supports.</source>
        <translation>画像がシステムでサポートされている最大サイズを超えています。</translation>
    </message>
    <message>
        <source>Please resize it before editing. This will not affect the
original image.</source>
        <translation>編集する前にサイズを変更してください。元の画像には
影響しません。</translation>
    </message>
    <message>
        <source>Resize to</source>
        <translation>変更後のサイズ</translation>
    </message>
    <message>
        <source>Width:</source>
        <translation>幅:</translation>
    </message>
    <message>
        <source>Height:</source>
        <translation>高さ:</translation>
    </message>
    <message>
        <source>Pixels</source>
        <translation>ピクセル</translation>
    </message>
    <message>
        <source>Ok</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>キャンセル</translation>
    </message>
</context>
<context>
    <name>VellSelectionMemo</name>
    <message>
        <source>Selection Operation</source>
        <translation>選択範囲の操作</translation>
    </message>
</context>
<context>
    <name>VellSparseModifyMemo</name>
    <message>
        <source>Painting Operation</source>
        <translation>ペイント操作</translation>
    </message>
</context>
<context>
    <name>VellToolBase</name>
    <message>
        <source>This tool doesn&apos;t support text layer, please choose an image layer on the layer manager.</source>
        <translation>このツールはテキストレイヤーに対応していません。レイヤーマネージャーで画像レイヤーを選択してください。</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>エラー</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support layer mask.</source>
        <translation>このツールはレイヤーマスクに対応していません。</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support selection mask.</source>
        <translation>このツールは選択範囲マスクに対応していません。</translation>
    </message>
    <message>
        <source>Apply: </source>
        <translation>適用：</translation>
    </message>
    <message>
        <source>, used </source>
        <translation>、所要時間 </translation>
    </message>
    <message>
        <source>Set Preset Name</source>
        <translation>プリセット名の設定</translation>
    </message>
    <message>
        <source>Please input the name for this preset.It will override other preset, if the name is same as the other&apos;s.</source>
        <translation>このプリセットの名前を入力してください。同じ名前のプリセットがある場合は上書きされます。</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>警告</translation>
    </message>
    <message>
        <source>&quot;%1&quot; already exists, overwrite it?</source>
        <translation>&quot;%1&quot; は既に存在します。上書きしますか？</translation>
    </message>
    <message>
        <source>Default Name</source>
        <translation>デフォルト名</translation>
    </message>
</context>
</TS>
