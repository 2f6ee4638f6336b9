#version 110
// Levels on a layer mask: with v the mask value and black, white in 0 .. 1,
//   out = clamp((v - black) / (white - black), 0, 1) ^ (1 / gamma),
// so black and below hide, white and above show, and gamma above 1 lifts
// the middle. A white point at or below the black point makes a hard
// threshold at the black point.

uniform sampler2D image;   // unit 0, the mask as it was at activation
uniform float black;
uniform float white;
uniform float gamma;

void main()
{
    float v = texture2D(image, gl_TexCoord[0].st).r;
    float t = white > black ? clamp((v - black) / (white - black), 0.0, 1.0) : step(black, v);
    gl_FragColor = vec4(vec3(pow(t, 1.0 / gamma)), 1.0);
}
