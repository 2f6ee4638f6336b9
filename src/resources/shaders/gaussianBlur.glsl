#version 110
// One pass of the blur cascade: a Gaussian-weighted average of the source
// around each pixel, with the sampling step (stepX, stepY, in normalised
// texture coordinates) given by the caller.
//
// Samples lie every half step, 9 x 9 of them (up to two steps each side),
// weighted by exp(-d^2 / (2 Q^2)) with d counted in half steps. Sampling a
// source that is already blurred by a third of the step at half-step
// spacing leaves no visible ripple; a whole-step spacing would ghost the
// picture. The variances of the passes add: the truncated kernel adds
// about 0.8 step^2, so a level made with step 3^k from the one made with
// 3^(k-1) has sigma close to 3^k. On the unblurred picture with step 1 the
// half-texel samples fall between texels, and with linear filtering the
// pass has a variance of about 0.92 texel^2: level 0 has sigma near 1, a
// radius of 3. Q = 1.9 gave the smallest error against a sampled Gaussian
// of sigma 3^k over levels 0 to 2 (below 1 level of 255 on average); the
// variance alone would ask for 2.05, which blurs visibly too much once the
// truncated tails pile up over the levels.
//
// Colour is averaged premultiplied by alpha, so transparent pixels lend no
// colour to their neighbours, and written back straight.

uniform sampler2D image;
uniform float stepX;
uniform float stepY;

const float Q = 1.9;

void main()
{
    vec2 centre = gl_TexCoord[0].st;
    vec2 halfStep = 0.5 * vec2(stepX, stepY);
    vec4 sum = vec4(0.0);
    float weights = 0.0;
    for (int j = -4; j <= 4; ++j) {
        float y = float(j);
        float wy = exp(-y * y / (2.0 * Q * Q));
        for (int i = -4; i <= 4; ++i) {
            float x = float(i);
            float w = wy * exp(-x * x / (2.0 * Q * Q));
            vec4 texel = texture2D(image, centre + vec2(x, y) * halfStep);
            sum += w * vec4(texel.rgb * texel.a, texel.a);
            weights += w;
        }
    }
    float alpha = sum.a / weights;
    vec3 colour = sum.a > 0.0 ? sum.rgb / sum.a : vec3(0.0);
    gl_FragColor = vec4(colour, alpha);
}
