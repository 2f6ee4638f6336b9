# End-to-end checks of the command-line host: exit codes, messages and the
# files it writes. Run by CTest with -DVELL=... -DSOURCE_DIR=... -DWORK_DIR=...
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(ENV{XDG_DATA_HOME} ${WORK_DIR}/xdg-data)

function(run_vell expected_code)
    execute_process(COMMAND ${VELL} ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
        RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT code STREQUAL "${expected_code}")
        message(FATAL_ERROR "vell ${ARGN}: exit ${code}, expected ${expected_code}\nstdout:\n${out}\nstderr:\n${err}")
    endif()
    # Every command that gets past its arguments registers the command XML.
    if(err MATCHES "Critical Error|Parsing error")
        message(FATAL_ERROR "vell ${ARGN}: the command XML was not loaded\nstderr:\n${err}")
    endif()
    set(last_out "${out}" PARENT_SCOPE)
    set(last_err "${err}" PARENT_SCOPE)
endfunction()

function(expect_match text pattern)
    if(NOT text MATCHES "${pattern}")
        message(FATAL_ERROR "expected output matching '${pattern}', got:\n${text}")
    endif()
endfunction()

function(expect_same_file a b)
    file(SHA256 ${a} ha)
    file(SHA256 ${b} hb)
    if(NOT ha STREQUAL hb)
        message(FATAL_ERROR "${a} and ${b} differ")
    endif()
endfunction()

# Usage and help.
run_vell(0 --help)
expect_match("${last_out}" "Usage: vell COMMAND")
run_vell(2)
run_vell(2 frobnicate)
expect_match("${last_err}" "unknown command 'frobnicate'")
run_vell(2 info extra)
run_vell(2 cipher encrypt only-two)
run_vell(2 cipher shuffle k in out)
expect_match("${last_err}" "unknown cipher mode 'shuffle'")

# info prints folders and settings; without a display it has no GL context.
# Every other command runs with no display at all.
set(display "$ENV{DISPLAY}")
unset(ENV{DISPLAY})
run_vell(0 info)
expect_match("${last_out}" "application data: +.*/Vellorix")
expect_match("${last_out}" "image size limit: +7200 x 7200 pixels, 40 Mpixels")
expect_match("${last_out}" "no GL context")

# With a display it asks the driver. Not in sanitizer builds: the leak checker
# would report the GL driver's own allocations.
if(display AND NOT SANITIZE)
    set(ENV{DISPLAY} "${display}")
    run_vell(0 info)
    unset(ENV{DISPLAY})
    expect_match("${last_out}" "renderer: +[^\n]+")
    expect_match("${last_out}" "GL version: +[^\n]+ \\([1-9][.0-9]*\\)")
    expect_match("${last_out}" "max texture size: +[1-9][0-9]+ x [1-9][0-9]+")
    expect_match("${last_out}" "video memory: +free ")
    expect_match("${last_out}" "shader objects true, framebuffer objects true, OpenGL 1.5 true")
endif()

# The cipher round-trips any bytes; a missing key file is a failure.
file(WRITE ${WORK_DIR}/key.txt "a secret key")
file(WRITE ${WORK_DIR}/plain.txt "uniform sampler2D image;\nvoid main() {}\n")
run_vell(0 cipher encrypt ${WORK_DIR}/key.txt ${WORK_DIR}/plain.txt ${WORK_DIR}/cipher.bin)
file(SIZE ${WORK_DIR}/cipher.bin cipher_size)
if(NOT cipher_size EQUAL 48)
    message(FATAL_ERROR "41 bytes should encipher to 48, got ${cipher_size}")
endif()
run_vell(0 cipher decrypt ${WORK_DIR}/key.txt ${WORK_DIR}/cipher.bin ${WORK_DIR}/back.txt)
expect_same_file(${WORK_DIR}/plain.txt ${WORK_DIR}/back.txt)
run_vell(1 cipher encrypt ${WORK_DIR}/no-such-key ${WORK_DIR}/plain.txt ${WORK_DIR}/x.bin)
expect_match("${last_err}" "cannot read '.*no-such-key'")

# The command XML is compiled in: one lying in the working folder changes
# nothing.
file(WRITE ${WORK_DIR}/data/commands.xml "<Commands><Action name=\"Save\"")
run_vell(0 cipher encrypt ${WORK_DIR}/key.txt ${WORK_DIR}/plain.txt ${WORK_DIR}/x.bin)
file(REMOVE_RECURSE ${WORK_DIR}/data)

# pack / unpack: image -> host stream -> image -> the same host stream.
set(sample ${SOURCE_DIR}/data/samples/sample.png)
run_vell(0 pack ${sample} ${WORK_DIR}/sample.vph)
expect_match("${last_out}" "640 x 400, 1 bands")
expect_match("${last_out}" "colour space: sRGB\n")
file(SIZE ${WORK_DIR}/sample.vph vph_size)
math(EXPR expected_size "12 + 640 * 400 * 4")
if(NOT vph_size EQUAL expected_size)
    message(FATAL_ERROR "host stream of ${vph_size} bytes, expected ${expected_size}")
endif()
run_vell(0 unpack ${WORK_DIR}/sample.vph ${WORK_DIR}/sample-back.png)
run_vell(0 pack ${WORK_DIR}/sample-back.png ${WORK_DIR}/sample-again.vph)
expect_same_file(${WORK_DIR}/sample.vph ${WORK_DIR}/sample-again.vph)

# Colour: the sample's metadata says "ICC profile: Adobe RGB (1998)". The
# working folder has no data/iccprofiles, so vell finds the profiles beside
# its binary.
set(adobe ${SOURCE_DIR}/data/samples/adobergb.jpg)
run_vell(0 icc ${adobe} ${WORK_DIR}/adobe-srgb.png)
expect_match("${last_out}" "colour space: Adobe RGB \\(converted to sRGB\\)")
run_vell(0 pack ${adobe} ${WORK_DIR}/adobe.vph)
expect_match("${last_out}" "colour space: Adobe RGB \\(converted to sRGB\\)")
run_vell(0 pack ${adobe} ${WORK_DIR}/adobe-raw.vph --no-colour)
if(last_out MATCHES "colour space")
    message(FATAL_ERROR "--no-colour still converted:\n${last_out}")
endif()
# icc and pack convert alike; --from overrides the metadata.
run_vell(0 pack ${WORK_DIR}/adobe-srgb.png ${WORK_DIR}/icc.vph --no-colour)
expect_same_file(${WORK_DIR}/adobe.vph ${WORK_DIR}/icc.vph)
run_vell(0 icc ${adobe} ${WORK_DIR}/adobe-as-is.png --from SRGB)
expect_match("${last_out}" "colour space: sRGB\n")
run_vell(2 icc ${adobe} ${WORK_DIR}/x.png --from Adobe98)
expect_match("${last_err}" "unknown colour space 'Adobe98'")

# Bad input fails cleanly.
run_vell(1 pack ${WORK_DIR}/plain.txt ${WORK_DIR}/bad.vph)
expect_match("${last_err}" "cannot read image")
file(WRITE ${WORK_DIR}/truncated.vph "garbage")
run_vell(1 unpack ${WORK_DIR}/truncated.vph ${WORK_DIR}/t.png)
expect_match("${last_err}" "not a valid picture host stream")
run_vell(1 unpack ${WORK_DIR}/missing.vph ${WORK_DIR}/t.png)

# compose. No display here, so it composites on the CPU and says so; the GL
# test tst_vellcompose checks the GPU path against the same compositor.
set(cs ${SOURCE_DIR}/data/samples/compose)
set(bg ${cs}/background.png)
run_vell(0 compose --help)
expect_match("${last_out}" "Usage: vell compose -o OUT.png \\[--size WxH\\] \\[--save DOC\\] \\[--cpu\\|--gpu\\] LAYER")
run_vell(0 --help)
expect_match("${last_out}" "compose -o OUT.png")

# Usage errors name the problem and show the usage line.
foreach(case
        "no output given;${bg}"
        "no LAYER given;-o;x.png"
        "unknown blend mode 'colour-burn'.*color-burn;-o;x.png;${bg};--mode;colour-burn"
        "bad opacity '1.5';-o;x.png;${bg};--opacity;1.5"
        "bad opacity 'half';-o;x.png;${bg};--opacity;half"
        "bad offset '3';-o;x.png;${bg};--offset;3"
        "bad size '12';-o;x.png;--size;12;${bg}"
        "unknown option '--frobnicate';-o;x.png;${bg};--frobnicate"
        "--mask needs a value;-o;x.png;${bg};--mask"
        "--mode must follow the LAYER;-o;x.png;--mode;screen;${bg}"
        "--opacity given twice;-o;x.png;${bg};--opacity;1;--opacity;0"
        "--cpu and --gpu exclude each other;-o;x.png;--cpu;--gpu;${bg}"
        "cannot tell an image format from 'x.what';-o;x.what;${bg}")
    list(POP_FRONT case pattern)
    run_vell(2 compose ${case})
    expect_match("${last_err}" "${pattern}")
    expect_match("${last_err}" "Usage: vell compose")
endforeach()

# Failures name the file.
run_vell(1 compose -o x.png ${WORK_DIR}/missing.png)
expect_match("${last_err}" "cannot read '.*missing.png'")
run_vell(1 compose -o x.png ${WORK_DIR}/plain.txt)
expect_match("${last_err}" "'.*plain.txt' is neither an image nor a vell document")
run_vell(1 compose -o x.png ${bg} ${WORK_DIR}/plain.txt)
expect_match("${last_err}" "cannot read image '.*plain.txt'")
run_vell(1 compose -o x.png ${bg} --mask ${cs}/stripes.png)
expect_match("${last_err}" "mask '.*stripes.png' is 160x120, but its layer 'background.png' is 320x240")
run_vell(1 compose -o x.png --gpu ${bg})
expect_match("${last_err}" "--gpu: no GL context")

# The sample: three layers, a mask, two modes; saved and read back, the
# document gives the same picture.
set(sample ${bg} ${cs}/shapes.png --mode multiply --opacity 0.85 --offset 60,40
    --mask ${cs}/shapes-mask.png ${cs}/stripes.png --mode hard-light --offset -40,150)
run_vell(0 compose -o ${WORK_DIR}/compose.png --save ${WORK_DIR}/compose.vdoc ${sample})
expect_match("${last_err}" "no GL context \\(no display reachable\\): compositing on the CPU")
expect_match("${last_err}" "layer 2/3: shapes.png, 200x150 at 60,40, Multiply, opacity 0.85, masked")
expect_match("${last_err}" "layer 3/3: stripes.png, 160x120 at -40,150, Hard Light")
expect_match("${last_out}" "composed 3 layers, 320x240, on the CPU in [0-9]+ ms")
run_vell(0 compose -o ${WORK_DIR}/again.png ${WORK_DIR}/compose.vdoc)
expect_same_file(${WORK_DIR}/compose.png ${WORK_DIR}/again.png)
run_vell(2 compose -o x.png ${WORK_DIR}/compose.vdoc --opacity 0.5)
expect_match("${last_err}" "--opacity cannot follow '.*compose.vdoc'")

# A hidden layer stays out of the picture.
run_vell(0 compose -o ${WORK_DIR}/hidden.png ${bg} ${cs}/stripes.png --hidden --mode screen)
expect_match("${last_err}" "layer 2/2: stripes.png, 160x120, Screen, hidden")
run_vell(0 compose -o ${WORK_DIR}/alone.png --cpu ${bg})
expect_same_file(${WORK_DIR}/hidden.png ${WORK_DIR}/alone.png)
