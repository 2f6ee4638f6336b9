#version 110
// Invert: every colour channel the document lets tools write becomes its
// complement, as far as the pixel is selected. Alpha is kept.
//
// What the tool base hands every filter shader:
//   image        unit 0, the picture, at gl_TexCoord[0]
//   selection    unit 1, the selection's coverage in .r (1.0 selected), at
//                gl_TexCoord[1]
//   channelMask  1.0 for each of red, green and blue that may change

uniform sampler2D image;
uniform sampler2D selection;
uniform vec4 channelMask;

void main()
{
    vec4 colour = texture2D(image, gl_TexCoord[0].st);
    float selected = texture2D(selection, gl_TexCoord[1].st).r;
    vec3 inverted = vec3(1.0) - colour.rgb;
    gl_FragColor = vec4(mix(colour.rgb, inverted, channelMask.rgb * selected), colour.a);
}
