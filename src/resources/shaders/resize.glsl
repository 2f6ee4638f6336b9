#version 110
// Resamples the source texture at the texture coordinate of unit 0, which may
// be projective (s, t, 0, q): the position is (s, t) / q, so a free
// transform's quadrilateral maps without a seam along its diagonal.
//
// filter: 0 nearest, 1 bilinear (tent), 2 bicubic (Catmull-Rom),
// 3 Lanczos-3; any other code samples nearest. When a destination pixel
// covers more than one source texel along an axis, the kernel is widened by
// that factor (source texels per destination pixel, measured from the
// coordinate's screen derivatives, so it also holds for warps and for
// rectangles smaller than their textures) and every texel under it is
// weighted: shrinking integrates the footprint instead of skipping texels.
// At most MAX_TAPS texels are read along an axis; a reduction needing more
// keeps the widest kernel that fits (tent 15.5:1, Catmull-Rom 7.75:1,
// Lanczos-3 5.17:1) and from there on takes only the middle of the footprint.
//
// Colour is filtered premultiplied by alpha, so transparent texels lend no
// colour to their neighbours, and written back straight. sampleAlpha 1
// filters alpha with the same kernel; 0 takes alpha from the nearest texel,
// which keeps hard alpha edges hard.
//
// Texels are addressed at their centres and edges repeat outward, so the
// texture's own filter and wrap modes do not matter. dstwidth and dstheight
// belong to the program's interface; the footprint comes from the
// derivatives instead. Float arithmetic only (ints are converted to index
// one array), constant loop bounds and no texture-size queries, so GLSL 1.10
// drivers compile it.

uniform sampler2D image;
uniform int srcwidth;
uniform int srcheight;
uniform int dstwidth;
uniform int dstheight;
uniform int filter;
uniform int sampleAlpha;

const float MAX_TAPS = 32.0;
const float PI = 3.14159265;

// Kernel value at distance x (in kernel units) for filter codes 1 to 3; the
// code is also the kernel's radius.
float kernel(float x, float code)
{
    x = abs(x);
    if (code < 1.5)
        return max(0.0, 1.0 - x);
    if (code < 2.5) {
        if (x < 1.0)
            return (1.5 * x - 2.5) * x * x + 1.0;
        if (x < 2.0)
            return ((-0.5 * x + 2.5) * x - 4.0) * x + 2.0;
        return 0.0;
    }
    if (x < 1.0e-4)
        return 1.0;
    if (x >= 3.0)
        return 0.0;
    float px = PI * x;
    return 3.0 * sin(px) * sin(px / 3.0) / (px * px);
}

vec4 fetch(vec2 texel, vec2 size)
{
    return texture2D(image, (clamp(texel, vec2(0.0), size - 1.0) + 0.5) / size);
}

void main()
{
    vec2 size = vec2(float(srcwidth), float(srcheight));
    vec2 p = gl_TexCoord[0].xy / gl_TexCoord[0].w * size;   // in texels
    float code = float(filter);
    vec4 nearest = fetch(floor(p), size);
    if (code < 0.5 || code > 3.5) {
        gl_FragColor = nearest;
        return;
    }

    float radius = code;
    vec2 scale = vec2(length(vec2(dFdx(p.x), dFdy(p.x))), length(vec2(dFdx(p.y), dFdy(p.y))));
    scale = clamp(scale, vec2(1.0), vec2((MAX_TAPS - 1.0) / (2.0 * radius)));
    vec2 support = radius * scale;
    // Texels whose centres lie strictly inside the support.
    vec2 first = floor(p - support + 0.5);
    vec2 count = min(floor(p + support - 0.5) - first + 1.0, vec2(MAX_TAPS));

    // The column weights are the same on every row: work them out once.
    float kx[32];   // MAX_TAPS
    for (float col = 0.0; col < MAX_TAPS; col += 1.0) {
        if (col >= count.x)
            break;
        kx[int(col)] = kernel((first.x + col + 0.5 - p.x) / scale.x, code);
    }
    vec4 sum = vec4(0.0);   // premultiplied colour, alpha
    float weights = 0.0;
    for (float row = 0.0; row < MAX_TAPS; row += 1.0) {
        if (row >= count.y)
            break;
        float y = first.y + row;
        float ky = kernel((y + 0.5 - p.y) / scale.y, code);
        for (float col = 0.0; col < MAX_TAPS; col += 1.0) {
            if (col >= count.x)
                break;
            float w = ky * kx[int(col)];
            vec4 t = fetch(vec2(first.x + col, y), size);
            sum += w * vec4(t.rgb * t.a, t.a);
            weights += w;
        }
    }

    vec4 result;
    result.rgb = sum.a > 1.0e-6 ? sum.rgb / sum.a : nearest.rgb;
    result.a = float(sampleAlpha) > 0.5 ? sum.a / weights : nearest.a;
    gl_FragColor = clamp(result, 0.0, 1.0);
}
