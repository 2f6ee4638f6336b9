#version 110
// Brightness/Contrast on the colour channels the document lets tools write,
// as far as the pixel is selected; alpha is kept. With v a channel in 0 .. 1:
//   brightness b (-1 .. 1): v (1 + b) when b < 0, else v + (1 - v) b;
//   contrast k (-1 .. 0.99): (v - 0.5) tan((k + 1) pi / 4) + 0.5, clamped,
// so 0 changes nothing, -1 flattens to grey and values near 1 approach a
// threshold at middle grey. The tool works out the slope tan((k + 1) pi / 4)
// once ("slant"), so no fragment computes it.

uniform sampler2D image;       // unit 0, at gl_TexCoord[0]
uniform sampler2D selection;   // unit 1, coverage in .r, at gl_TexCoord[1]
uniform vec4 channelMask;      // 1.0 for each channel that may change
uniform float brightness;
uniform float slant;

void main()
{
    vec4 colour = texture2D(image, gl_TexCoord[0].st);
    float selected = texture2D(selection, gl_TexCoord[1].st).r;
    vec3 v = colour.rgb;
    v = brightness < 0.0 ? v * (1.0 + brightness) : v + (vec3(1.0) - v) * brightness;
    v = clamp((v - 0.5) * slant + 0.5, 0.0, 1.0);
    gl_FragColor = vec4(mix(colour.rgb, v, channelMask.rgb * selected), colour.a);
}
