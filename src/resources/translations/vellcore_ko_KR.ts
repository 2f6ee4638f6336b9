<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ko_KR" sourcelanguage="en">
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>심각한 오류</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>파일 %1을(를) 열 수 없습니다</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>파일 %1 구문 분석 오류</translation>
    </message>
</context>
<context>
    <name>VellContext</name>
    <message>
        <source>Untitled Document</source>
        <translation>제목 없는 문서</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>오류</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>메모리가 부족합니다!</translation>
    </message>
</context>
<context>
    <name>VellHistory</name>
    <message>
        <source>Error</source>
        <translation>오류</translation>
    </message>
    <message>
        <source>System is undoing, please wait!</source>
        <translation>시스템이 실행 취소 중입니다. 잠시 기다려 주십시오!</translation>
    </message>
</context>
<context>
    <name>VellInputDialog</name>
    <message>
        <source>Ok</source>
        <translation>확인</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>취소</translation>
    </message>
</context>
<context>
    <name>VellLayerBase</name>
    <message>
        <source>Normal</source>
        <translation>표준</translation>
    </message>
    <message>
        <source>Dissolve</source>
        <translation>디졸브</translation>
    </message>
    <message>
        <source>Darken</source>
        <translation>어둡게 하기</translation>
    </message>
    <message>
        <source>Multiply</source>
        <translation>곱하기</translation>
    </message>
    <message>
        <source>Color Burn</source>
        <translation>색상 번</translation>
    </message>
    <message>
        <source>Linear Burn</source>
        <translation>선형 번</translation>
    </message>
    <message>
        <source>Darker Color</source>
        <translation>어두운 색상</translation>
    </message>
    <message>
        <source>Lighten</source>
        <translation>밝게 하기</translation>
    </message>
    <message>
        <source>Screen</source>
        <translation>스크린</translation>
    </message>
    <message>
        <source>Color Dodge</source>
        <translation>색상 닷지</translation>
    </message>
    <message>
        <source>Linear Dodge</source>
        <translation>선형 닷지(추가)</translation>
    </message>
    <message>
        <source>Lighter Color</source>
        <translation>밝은 색상</translation>
    </message>
    <message>
        <source>Overlay</source>
        <translation>오버레이</translation>
    </message>
    <message>
        <source>Soft Light</source>
        <translation>소프트 라이트</translation>
    </message>
    <message>
        <source>Hard Light</source>
        <translation>하드 라이트</translation>
    </message>
    <message>
        <source>Vivid Light</source>
        <translation>선명한 라이트</translation>
    </message>
    <message>
        <source>Linear Light</source>
        <translation>선형 라이트</translation>
    </message>
    <message>
        <source>Pin Light</source>
        <translation>핀 라이트</translation>
    </message>
    <message>
        <source>Hard Mix</source>
        <translation>하드 혼합</translation>
    </message>
    <message>
        <source>Difference</source>
        <translation>차이</translation>
    </message>
    <message>
        <source>Exclusion</source>
        <translation>제외</translation>
    </message>
    <message>
        <source>Hue</source>
        <translation>색조</translation>
    </message>
    <message>
        <source>Saturation</source>
        <translation>채도</translation>
    </message>
    <message>
        <source>Color</source>
        <translation>색상</translation>
    </message>
    <message>
        <source>Luminosity</source>
        <translation>광도</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskCreateOrRemoveMemo</name>
    <message>
        <source>Create Mask</source>
        <translation>마스크 만들기</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskFullMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>마스크 변경</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskInvertMemo</name>
    <message>
        <source>Invert Mask</source>
        <translation>마스크 반전</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>마스크 변경</translation>
    </message>
</context>
<context>
    <name>VellLayerModifyMemo</name>
    <message>
        <source>Layer Change</source>
        <translation>레이어 변경</translation>
    </message>
</context>
<context>
    <name>VellMemoCanvasAndLayersChange</name>
    <message>
        <source>Canvas Change</source>
        <translation>캔버스 변경</translation>
    </message>
</context>
<context>
    <name>VellMemoLayerListChange</name>
    <message>
        <source>Layer List Change</source>
        <translation>레이어 목록 변경</translation>
    </message>
</context>
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>오류</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>메모리가 부족합니다!</translation>
    </message>
</context>
<context>
    <name>VellParamMemo</name>
    <message>
        <source>Apply Filter:</source>
        <translation>필터 적용:</translation>
    </message>
</context>
<context>
    <name>VellPictureReader</name>
    <message>
        <source>no file name</source>
        <translation>파일 이름이 없습니다</translation>
    </message>
    <message>
        <source>the file does not say how large its picture is</source>
        <translation>파일에 이미지 크기 정보가 없습니다</translation>
    </message>
    <message>
        <source>its picture of %1 x %2 pixels is too large to open</source>
        <translation>이미지(%1 x %2 픽셀)가 너무 커서 열 수 없습니다</translation>
    </message>
</context>
<context>
    <name>VellPixelateTextLayerWidget</name>
    <message>
        <source>Text Pixelation</source>
        <translation>텍스트 래스터화</translation>
    </message>
    <message>
        <source>Pixelation Options</source>
        <translation>래스터화 옵션</translation>
    </message>
    <message>
        <source>Expand the text layer(in pixels)</source>
        <translation>텍스트 레이어 확장(픽셀 단위)</translation>
    </message>
    <message>
        <source>Left:</source>
        <translation>왼쪽:</translation>
    </message>
    <message>
        <source>Right:</source>
        <translation>오른쪽:</translation>
    </message>
    <message>
        <source>Top:</source>
        <translation>위쪽:</translation>
    </message>
    <message>
        <source>Bottom:</source>
        <translation>아래쪽:</translation>
    </message>
    <message>
        <source>Expand to whole canvas</source>
        <translation>전체 캔버스로 확장</translation>
    </message>
    <message>
        <source>Confirm to pixelate</source>
        <translation>래스터화 확인</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>취소</translation>
    </message>
</context>
<context>
    <name>VellReadImageResizeWidget</name>
    <message>
        <source>Resize Image</source>
        <translation>이미지 크기 조정</translation>
    </message>
    <message>
        <source>The image exceeds the  maximum size your system supports.</source>
        <translation>이미지가 시스템에서 지원하는 최대 크기를 초과합니다.</translation>
    </message>
    <message>
        <source>Please resize it before editing. This will not affect the
original image.</source>
        <translation>편집하기 전에 크기를 조정하십시오. 원본 이미지에는
영향을 주지 않습니다.</translation>
    </message>
    <message>
        <source>Resize to</source>
        <translation>조정할 크기</translation>
    </message>
    <message>
        <source>Width:</source>
        <translation>폭:</translation>
    </message>
    <message>
        <source>Height:</source>
        <translation>높이:</translation>
    </message>
    <message>
        <source>Pixels</source>
        <translation>픽셀</translation>
    </message>
    <message>
        <source>Ok</source>
        <translation>확인</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>취소</translation>
    </message>
</context>
<context>
    <name>VellSelectionMemo</name>
    <message>
        <source>Selection Operation</source>
        <translation>선택 영역 작업</translation>
    </message>
</context>
<context>
    <name>VellSparseModifyMemo</name>
    <message>
        <source>Painting Operation</source>
        <translation>페인팅 작업</translation>
    </message>
</context>
<context>
    <name>VellToolBase</name>
    <message>
        <source>This tool doesn&apos;t support text layer, please choose an image layer on the layer manager.</source>
        <translation>이 도구는 텍스트 레이어를 지원하지 않습니다. 레이어 관리자에서 이미지 레이어를 선택하십시오.</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>오류</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support layer mask.</source>
        <translation>이 도구는 레이어 마스크를 지원하지 않습니다.</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support selection mask.</source>
        <translation>이 도구는 선택 영역 마스크를 지원하지 않습니다.</translation>
    </message>
    <message>
        <source>Apply: </source>
        <translation>적용: </translation>
    </message>
    <message>
        <source>, used </source>
        <translation>, 소요 시간 </translation>
    </message>
    <message>
        <source>Set Preset Name</source>
        <translation>사전 설정 이름 지정</translation>
    </message>
    <message>
        <source>Please input the name for this preset.It will override other preset, if the name is same as the other&apos;s.</source>
        <translation>이 사전 설정의 이름을 입력하십시오. 같은 이름의 사전 설정이 있으면 덮어씁니다.</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>경고</translation>
    </message>
    <message>
        <source>&quot;%1&quot; already exists, overwrite it?</source>
        <translation>&quot;%1&quot;이(가) 이미 있습니다. 덮어쓰시겠습니까?</translation>
    </message>
    <message>
        <source>Default Name</source>
        <translation>기본 이름</translation>
    </message>
</context>
</TS>
