<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR" sourcelanguage="en">
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
    <name>VellActionManager</name>
    <message>
        <source>Critical Error</source>
        <translation>Erreur critique</translation>
    </message>
    <message>
        <source>Cannot open file %1</source>
        <translation>Impossible d'ouvrir le fichier %1</translation>
    </message>
    <message>
        <source>Parsing error for file %1</source>
        <translation>Erreur d'analyse du fichier %1</translation>
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
    <name>VellReadImageResizeWidget</name>
    <message>
        <source>Resize Image</source>
        <translation>Redimensionner l'image</translation>
    </message>
    <message>
        <source>The image exceeds the  maximum size your system supports.</source>
        <translation>L'image dépasse la taille maximale prise en charge par votre système.</translation>
    </message>
    <message>
        <source>Please resize it before editing. This will not affect the
original image.</source>
        <translation>Veuillez la redimensionner avant de la modifier. L'image d'origine
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
</TS>
