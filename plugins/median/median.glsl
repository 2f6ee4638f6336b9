#version 110
// Median of each channel (alpha included) over the (2 radius + 1)^2 pixels
// around the pixel, radius 1 to 3; outside the picture the nearest edge
// pixel repeats. Exact to the byte: samples are read at texel centres and
// counted in whole 8-bit levels, and the median is found by bisecting the
// 256 levels (8 rounds, each counting the samples at or below the middle
// level), which costs 8 x 49 comparisons instead of sorting.
// Channels follow the document's channel mask and the selection.

uniform sampler2D image;       // unit 0, at gl_TexCoord[0]
uniform sampler2D selection;   // unit 1, coverage in .r, at gl_TexCoord[1]
uniform vec4 channelMask;
uniform float radius;          // 1, 2 or 3
uniform vec2 texel;            // one pixel of the picture, normalised

// The samples of one window row at or below the middle level. Written out
// so that every array index is a constant: an index the compiler cannot
// fold makes software renderers spill the array to memory, several times
// slower.
#define AT(n) step(samples[n], middle)
#define ROW(n) (AT(n) + AT(n + 1) + AT(n + 2) + AT(n + 3) + AT(n + 4) + AT(n + 5) + AT(n + 6))

void main()
{
    vec2 centre = (floor(gl_TexCoord[0].st / texel) + 0.5) * texel;
    vec2 first = 0.5 * texel;
    vec2 last = vec2(1.0) - 0.5 * texel;
    vec4 samples[49];
    for (int j = 0; j < 7; ++j) {
        for (int i = 0; i < 7; ++i) {
            vec2 offset = vec2(float(i - 3), float(j - 3));
            vec4 level = vec4(1000.0);   // outside the window: never counted
            if (abs(offset.x) <= radius && abs(offset.y) <= radius)
                level = floor(texture2D(image, clamp(centre + offset * texel, first, last)) * 255.0 + 0.5);
            samples[j * 7 + i] = level;
        }
    }
    float side = 2.0 * radius + 1.0;
    float rank = (side * side - 1.0) * 0.5 + 1.0;   // the median is the rank-th smallest
    vec4 low = vec4(0.0);
    vec4 high = vec4(255.0);
    for (int pass = 0; pass < 8; ++pass) {
        vec4 middle = floor((low + high) * 0.5);
        vec4 count = ROW(0) + ROW(7) + ROW(14) + ROW(21) + ROW(28) + ROW(35) + ROW(42);
        vec4 enough = step(vec4(rank), count);
        high = mix(high, middle, enough);
        low = mix(middle + 1.0, low, enough);
    }
    vec4 colour = texture2D(image, gl_TexCoord[0].st);
    float selected = texture2D(selection, gl_TexCoord[1].st).r;
    gl_FragColor = mix(colour, low / 255.0, vec4(channelMask.rgb, 1.0) * selected);
}
