#version 110
// Unsharp mask against the tool's single blurred image: for each colour
// channel, with d = original - blurred counted in 8-bit levels,
//   out = original + amount * d   where |d| >= threshold, else original,
// clamped by the target. d is rounded to whole levels first: both textures
// hold 8-bit values, so the threshold test cannot flip on a rounding error.
// Channels follow the document's channel mask and the selection; alpha is
// kept.

uniform sampler2D image;         // unit 0, at gl_TexCoord[0]
uniform sampler2D selection;     // unit 1, coverage in .r, at gl_TexCoord[1]
uniform sampler2D bluredImage;   // unit 2, same coordinates as the image
uniform vec4 channelMask;
uniform float amount;            // 0 .. 5 (0 .. 500 %)
uniform float threshold;         // 0 .. 255 levels

void main()
{
    vec2 at = gl_TexCoord[0].st;
    vec4 colour = texture2D(image, at);
    vec3 blurred = texture2D(bluredImage, at).rgb;
    vec3 levels = floor((colour.rgb - blurred) * 255.0 + 0.5);
    vec3 over = step(vec3(threshold - 0.5), abs(levels));
    vec3 sharp = clamp(colour.rgb + amount * levels / 255.0 * over, 0.0, 1.0);
    float selected = texture2D(selection, gl_TexCoord[1].st).r;
    gl_FragColor = vec4(mix(colour.rgb, sharp, channelMask.rgb * selected), colour.a);
}
