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
