<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR" sourcelanguage="en">
<context>
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>Erreur critique</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>Impossible d&apos;ouvrir le fichier %1</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>Erreur d&apos;analyse du fichier %1</translation>
    </message>
</context>
<context>
    <name>VellContext</name>
    <message>
        <source>Untitled Document</source>
        <translation>Document sans titre</translation>
    </message>
</context>
<context>
    <name>VellGLTexture</name>
    <message>
        <source>Error</source>
        <translation>Erreur</translation>
    </message>
    <message>
        <source>Out of memory!</source>
        <translation>Mémoire insuffisante !</translation>
    </message>
</context>
<context>
    <name>VellHistory</name>
    <message>
        <source>Error</source>
        <translation>Erreur</translation>
    </message>
    <message>
        <source>System is undoing, please wait!</source>
        <translation>Annulation en cours, veuillez patienter !</translation>
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
        <translation>Annuler</translation>
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
        <translation>Fondu</translation>
    </message>
    <message>
        <source>Darken</source>
        <translation>Obscurcir</translation>
    </message>
    <message>
        <source>Multiply</source>
        <translation>Produit</translation>
    </message>
    <message>
        <source>Color Burn</source>
        <translation>Densité couleur +</translation>
    </message>
    <message>
        <source>Linear Burn</source>
        <translation>Densité linéaire +</translation>
    </message>
    <message>
        <source>Darker Color</source>
        <translation>Couleur plus foncée</translation>
    </message>
    <message>
        <source>Lighten</source>
        <translation>Éclaircir</translation>
    </message>
    <message>
        <source>Screen</source>
        <translation>Superposition</translation>
    </message>
    <message>
        <source>Color Dodge</source>
        <translation>Densité couleur -</translation>
    </message>
    <message>
        <source>Linear Dodge</source>
        <translation>Densité linéaire - (Ajout)</translation>
    </message>
    <message>
        <source>Lighter Color</source>
        <translation>Couleur plus claire</translation>
    </message>
    <message>
        <source>Overlay</source>
        <translation>Incrustation</translation>
    </message>
    <message>
        <source>Soft Light</source>
        <translation>Lumière tamisée</translation>
    </message>
    <message>
        <source>Hard Light</source>
        <translation>Lumière crue</translation>
    </message>
    <message>
        <source>Vivid Light</source>
        <translation>Lumière vive</translation>
    </message>
    <message>
        <source>Linear Light</source>
        <translation>Lumière linéaire</translation>
    </message>
    <message>
        <source>Pin Light</source>
        <translation>Lumière ponctuelle</translation>
    </message>
    <message>
        <source>Hard Mix</source>
        <translation>Mélange maximal</translation>
    </message>
    <message>
        <source>Difference</source>
        <translation>Différence</translation>
    </message>
    <message>
        <source>Exclusion</source>
        <translation>Exclusion</translation>
    </message>
    <message>
        <source>Hue</source>
        <translation>Teinte</translation>
    </message>
    <message>
        <source>Saturation</source>
        <translation>Saturation</translation>
    </message>
    <message>
        <source>Color</source>
        <translation>Couleur</translation>
    </message>
    <message>
        <source>Luminosity</source>
        <translation>Luminosité</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskCreateOrRemoveMemo</name>
    <message>
        <source>Create Mask</source>
        <translation>Créer un masque</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskFullMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>Modification du masque</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskInvertMemo</name>
    <message>
        <source>Invert Mask</source>
        <translation>Inverser le masque</translation>
    </message>
</context>
<context>
    <name>VellLayerMaskMemo</name>
    <message>
        <source>Mask Change</source>
        <translation>Modification du masque</translation>
    </message>
</context>
<context>
    <name>VellLayerModifyMemo</name>
    <message>
        <source>Layer Change</source>
        <translation>Modification du calque</translation>
    </message>
</context>
<context>
    <name>VellMemoCanvasAndLayersChange</name>
    <message>
        <source>Canvas Change</source>
        <translation>Modification de la zone de travail</translation>
    </message>
</context>
<context>
    <name>VellMemoLayerListChange</name>
    <message>
        <source>Layer List Change</source>
        <translation>Modification de la liste des calques</translation>
    </message>
</context>
<context>
    <name>VellMemory</name>
    <message>
        <source>Error</source>
        <translation>Erreur</translation>
    </message>
    <message>
        <source>Out of Memory!</source>
        <translation>Mémoire insuffisante !</translation>
    </message>
</context>
<context>
    <name>VellParamMemo</name>
    <message>
        <source>Apply Filter:</source>
        <translation>Appliquer le filtre :</translation>
    </message>
</context>
<context>
    <name>VellPictureReader</name>
    <message>
        <source>no file name</source>
        <translation>aucun nom de fichier</translation>
    </message>
    <message>
        <source>the file does not say how large its picture is</source>
        <translation>le fichier n&apos;indique pas la taille de son image</translation>
    </message>
    <message>
        <source>its picture of %1 x %2 pixels is too large to open</source>
        <translation>son image de %1 x %2 pixels est trop grande pour être ouverte</translation>
    </message>
</context>
<context>
    <name>VellPixelateTextLayerWidget</name>
    <message>
        <source>Text Pixelation</source>
        <translation>Pixellisation du texte</translation>
    </message>
    <message>
        <source>Pixelation Options</source>
        <translation>Options de pixellisation</translation>
    </message>
    <message>
        <source>Expand the text layer(in pixels)</source>
        <translation>Agrandir le calque de texte (en pixels)</translation>
    </message>
    <message>
        <source>Left:</source>
        <translation>Gauche :</translation>
    </message>
    <message>
        <source>Right:</source>
        <translation>Droite :</translation>
    </message>
    <message>
        <source>Top:</source>
        <translation>Haut :</translation>
    </message>
    <message>
        <source>Bottom:</source>
        <translation>Bas :</translation>
    </message>
    <message>
        <source>Expand to whole canvas</source>
        <translation>Étendre à toute la zone de travail</translation>
    </message>
    <message>
        <source>Confirm to pixelate</source>
        <translation>Confirmer la pixellisation</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
</context>
<context>
    <name>VellReadImageResizeWidget</name>
    <message>
        <source>Resize Image</source>
        <translation>Redimensionner l&apos;image</translation>
    </message>
    <message>
        <source>The image exceeds the  maximum size your system supports.</source>
        <translation>L&apos;image dépasse la taille maximale prise en charge par votre système.</translation>
    </message>
    <message>
        <source>Please resize it before editing. This will not affect the
original image.</source>
        <translation>Veuillez la redimensionner avant de la modifier. L&apos;image d&apos;origine
ne sera pas modifiée.</translation>
    </message>
    <message>
        <source>Resize to</source>
        <translation>Redimensionner à</translation>
    </message>
    <message>
        <source>Width:</source>
        <translation>Largeur :</translation>
    </message>
    <message>
        <source>Height:</source>
        <translation>Hauteur :</translation>
    </message>
    <message>
        <source>Pixels</source>
        <translation>Pixels</translation>
    </message>
    <message>
        <source>Ok</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Annuler</translation>
    </message>
</context>
<context>
    <name>VellSelectionMemo</name>
    <message>
        <source>Selection Operation</source>
        <translation>Opération de sélection</translation>
    </message>
</context>
<context>
    <name>VellSparseModifyMemo</name>
    <message>
        <source>Painting Operation</source>
        <translation>Opération de peinture</translation>
    </message>
</context>
<context>
    <name>VellToolBase</name>
    <message>
        <source>This tool doesn&apos;t support text layer, please choose an image layer on the layer manager.</source>
        <translation>Cet outil ne prend pas en charge les calques de texte. Veuillez choisir un calque d&apos;image dans le gestionnaire de calques.</translation>
    </message>
    <message>
        <source>Error</source>
        <translation>Erreur</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support layer mask.</source>
        <translation>Cet outil ne prend pas en charge les masques de calque.</translation>
    </message>
    <message>
        <source>This tool doesn&apos;t support selection mask.</source>
        <translation>Cet outil ne prend pas en charge les masques de sélection.</translation>
    </message>
    <message>
        <source>Apply: </source>
        <translation>Appliquer : </translation>
    </message>
    <message>
        <source>, used </source>
        <translation>, durée : </translation>
    </message>
    <message>
        <source>Set Preset Name</source>
        <translation>Nommer le paramètre prédéfini</translation>
    </message>
    <message>
        <source>Please input the name for this preset.It will override other preset, if the name is same as the other&apos;s.</source>
        <translation>Veuillez saisir le nom de ce paramètre prédéfini. S&apos;il porte le même nom qu&apos;un autre, celui-ci sera remplacé.</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>Avertissement</translation>
    </message>
    <message>
        <source>&quot;%1&quot; already exists, overwrite it?</source>
        <translation>&quot;%1&quot; existe déjà. Voulez-vous le remplacer ?</translation>
    </message>
    <message>
        <source>Default Name</source>
        <translation>Nom par défaut</translation>
    </message>
</context>
</TS>
