#version 110
// The selection's outline, drawn over a transparent framebuffer that the
// canvas lays over the composite. One fragment of the output covers `texel`
// of the coverage texture (the canvas's framebuffer scale over the image
// size); the quad's texture coordinates place the shown part of the image.
//
// Marching ants: a fragment is on the outline when it is selected (coverage
// of one half or more) and one of its four neighbours one fragment away is
// not; outside the image counts as not selected, so a selection touching the
// border, select-all included, is outlined along it. The outline is a dashed
// line of black and white dashes running diagonally, in cells of
// `fragSpacing` fragments; `colorFlag` (0 .. 7, advanced by the caller on
// every redraw) shifts the dashes one cell, so they appear to crawl and come
// back to the start after eight steps.
//
// Coverage tint: with displayMask set, what is not selected is tinted with a
// half-strength red rubylith, as the mask overlay of the layers does, so a
// feathered edge shows its gradient. The output is straight (not
// premultiplied) colour for "source alpha, one minus source alpha" blending.

uniform sampler2D selection;    // unit 1, coverage in .r
uniform int colorFlag;          // the dash phase, 0 .. 7
uniform int displayMask;        // non-zero: tint what is not selected
uniform int displayMarchingAnts;// non-zero: draw the outline
uniform vec2 texel;             // one output fragment in texture coordinates
uniform vec2 fragSpacing;       // dash cell in fragments

const vec3 RUBYLITH = vec3(1.0, 0.0, 0.0);
const float RUBYLITH_STRENGTH = 0.5;
const float DASH_PERIOD = 8.0;  // cells: four black, four white

float coverageAt(vec2 st)
{
    if (st.s < 0.0 || st.t < 0.0 || st.s > 1.0 || st.t > 1.0)
        return 0.0;
    return texture2D(selection, st).r;
}

bool selectedAt(vec2 st)
{
    return coverageAt(st) >= 0.5;
}

void main()
{
    vec2 st = gl_TexCoord[0].st;
    float coverage = coverageAt(st);
    vec4 colour = vec4(0.0);

    if (displayMask != 0)
        colour = vec4(RUBYLITH, RUBYLITH_STRENGTH * (1.0 - coverage));

    if (displayMarchingAnts != 0 && coverage >= 0.5) {
        bool edge = !selectedAt(st + vec2(texel.x, 0.0)) || !selectedAt(st - vec2(texel.x, 0.0))
                 || !selectedAt(st + vec2(0.0, texel.y)) || !selectedAt(st - vec2(0.0, texel.y));
        if (edge) {
            vec2 cell = floor(gl_FragCoord.xy / max(fragSpacing, vec2(1.0)));
            float dash = mod(cell.x + cell.y + float(colorFlag), DASH_PERIOD);
            colour = dash < DASH_PERIOD * 0.5 ? vec4(0.0, 0.0, 0.0, 1.0) : vec4(1.0);
        }
    }
    gl_FragColor = colour;
}
