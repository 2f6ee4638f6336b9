#version 110
// The canvas's last pass over the composited image: channel display and the
// mask overlay. Colours are straight (unpremultiplied).
//
// displayingChannel holds the channels to show as bits (VELL_CHANNEL_RED,
// _GREEN, _BLUE):
//   one channel: that channel as a grey image, as an editor's channel view
//     shows it (a grey value is easier to judge than a red one);
//   two channels: those channels in their own colours, the third zeroed;
//   none (0): black;
//   all three (VELL_CHANNEL_ALL): the mask overlay below.
// Alpha is kept in every case but the overlay. A code outside 0 ..
// VELL_CHANNEL_ALL shows the image unchanged.
//
// The overlay marks what the layer mask hides with a red rubylith: red
// (1, 0, 0) of strength 0.5 x (1 - mask) composited "over" the image, so
// fully masked parts are tinted half red, unmasked parts stay as they are,
// and masked parts of transparent areas are marked too (the result's alpha
// is k + a (1 - k) for strength k).
//
// Integer codes are decoded with float arithmetic only (GLSL 1.10).

uniform sampler2D srcTex;        // unit 0, gl_TexCoord[0]
uniform sampler2D layerMaskTex;  // unit 1, luminance in .r, gl_TexCoord[1]
uniform int displayingChannel;

const vec3 RUBYLITH = vec3(1.0, 0.0, 0.0);
const float RUBYLITH_STRENGTH = 0.5;

void main()
{
    vec4 c = texture2D(srcTex, gl_TexCoord[0].st);
    if (displayingChannel == VELL_CHANNEL_ALL) {
        float m = clamp(texture2D(layerMaskTex, gl_TexCoord[1].st).r, 0.0, 1.0);
        float k = RUBYLITH_STRENGTH * (1.0 - m);
        float ao = k + c.a * (1.0 - k);
        vec3 co = ao > 0.0 ? (k * RUBYLITH + c.a * (1.0 - k) * c.rgb) / ao : vec3(0.0);
        gl_FragColor = vec4(co, ao);
        return;
    }
    if (displayingChannel < 0 || displayingChannel > VELL_CHANNEL_ALL) {
        gl_FragColor = c;
        return;
    }
    // Whole numbers up to VELL_CHANNEL_ALL: division by a power of two and
    // floor are exact.
    float code = float(displayingChannel);
    float b = floor(code / float(VELL_CHANNEL_BLUE));
    float g = floor(code / float(VELL_CHANNEL_GREEN)) - 2.0 * b;
    float r = code - float(VELL_CHANNEL_GREEN) * floor(code / float(VELL_CHANNEL_GREEN));
    vec3 on = vec3(r, g, b);
    if (r + g + b == 1.0)
        gl_FragColor = vec4(vec3(dot(c.rgb, on)), c.a);
    else
        gl_FragColor = vec4(c.rgb * on, c.a);
}
