#version 110
// Gaussian blur from the blur cascade: the two levels around the radius,
// mixed by distToBlurImage0; a negative weight (radii below the first
// level's 3 working pixels) mixes level 0 back towards the picture itself.
// Colour channels follow the document's channel mask and the selection;
// alpha is blurred wherever the pixel is selected.

uniform sampler2D image;        // unit 0, at gl_TexCoord[0]
uniform sampler2D selection;    // unit 1, coverage in .r, at gl_TexCoord[1]
uniform sampler2D blurImage0;   // unit 2, the lower level
uniform sampler2D blurImage1;   // unit 3, the higher level
uniform float distToBlurImage0;
uniform vec4 channelMask;

void main()
{
    vec2 at = gl_TexCoord[0].st;
    vec4 colour = texture2D(image, at);
    vec4 lower = texture2D(blurImage0, at);
    vec4 blurred = distToBlurImage0 >= 0.0
        ? mix(lower, texture2D(blurImage1, at), distToBlurImage0)
        : mix(lower, colour, min(-distToBlurImage0, 1.0));
    float selected = texture2D(selection, gl_TexCoord[1].st).r;
    gl_FragColor = vec4(mix(colour.rgb, blurred.rgb, channelMask.rgb * selected),
                        mix(colour.a, blurred.a, selected));
}
